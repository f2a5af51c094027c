#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

/// The option sets with which a stream is opened, chosen by the prefix of its URL.
namespace stream_options {

struct Settings
{
    int bufferSizeBytes = 1572864;
    QString rtspTransport = QStringLiteral("udp");
    int timeoutUs = 3000000;
    int maxDelayUs = 10000;
};

struct Option
{
    QByteArray key;
    QByteArray value;
};

/// Case-sensitive: "UDP://" is no UDP URL.
bool isUdpUrl(const QString &url);
bool isRtspUrl(const QString &url);

/// The URL as it may be shown and logged, "***" for a password.
QString maskedUrl(const QString &url);

/// In the order in which they are to be set. `formatMajor` is the major version of the libavformat
/// that will read them: from 59 on RTSP's socket time-out is called "timeout", which earlier
/// versions take for the wish to listen.
QList<Option> optionsFor(const QString &url, const Settings &settings, unsigned formatMajor);

} // namespace stream_options
