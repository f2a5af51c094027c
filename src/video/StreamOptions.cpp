#include "StreamOptions.h"

#include <QRegularExpression>

namespace stream_options {
namespace {

constexpr unsigned kFormatMajorOfRtspTimeoutRename = 59;

// Large socket buffers and a patient probe: a unicast transport stream has no handshake that would
// tell what it carries.
QList<Option> udpOptions()
{
    return {
        {"buffer_size", "8192000"}, {"rcvbuf", "16777216"},
        {"timeout", "10000000"},    {"reuse", "1"},
        {"probesize", "10000000"},  {"analyzeduration", "5000000"},
    };
}

// Latency before smoothness.
QList<Option> rtspOptions(const Settings &settings, unsigned formatMajor)
{
    const QByteArray timeout = QByteArray::number(settings.timeoutUs);
    QList<Option> options = {
        {"rtsp_transport", settings.rtspTransport.toUtf8()},
        {"stimeout", timeout},
        {"buffer_size", QByteArray::number(settings.bufferSizeBytes)},
        {"max_delay", QByteArray::number(settings.maxDelayUs)},
        {"fflags", "nobuffer"},
        {"flags", "low_delay"},
        {"avioflags", "direct"},
        {"probesize", "5000000"},
        {"analyzeduration", "500000"},
        {"framedrop", "1"},
    };
    if (formatMajor >= kFormatMajorOfRtspTimeoutRename)
        options.append({"timeout", timeout});
    return options;
}

/// Whether "timeout" would make FFmpeg wait for a caller instead of calling.
bool timeoutMeansListening(const QString &url, unsigned formatMajor)
{
    return url.startsWith(QLatin1String("rtmp"))
           || (url.startsWith(QLatin1String("rtsps:"))
               && formatMajor < kFormatMajorOfRtspTimeoutRename);
}

} // namespace

bool isUdpUrl(const QString &url) { return url.startsWith(QLatin1String("udp://")); }

bool isRtspUrl(const QString &url) { return url.startsWith(QLatin1String("rtsp://")); }

QString maskedUrl(const QString &url)
{
    // The password ends at the last "@" before the path, or, where it holds a slash, at the last of
    // all; a port is no password.
    static const QRegularExpression userinfo(
        QStringLiteral(R"(^(\s*\w+://[^:/?#@]*:)(?:[^/?#]*@|(?!\d+[/?#]).*@))"));
    static const QRegularExpression query(QStringLiteral("((?:password|passwd|pass|pwd)=)[^&]*"),
                                          QRegularExpression::CaseInsensitiveOption);
    const QString mask = QStringLiteral("\\1***");
    return QString(url).replace(userinfo, mask + u'@').replace(query, mask);
}

QList<Option> optionsFor(const QString &url, const Settings &settings, unsigned formatMajor)
{
    if (isUdpUrl(url))
        return udpOptions();
    if (isRtspUrl(url))
        return rtspOptions(settings, formatMajor);
    const QByteArray timeout = timeoutMeansListening(url, formatMajor) ? "rw_timeout" : "timeout";
    return {{"buffer_size", QByteArray::number(settings.bufferSizeBytes)},
            {timeout, QByteArray::number(settings.timeoutUs)}};
}

} // namespace stream_options
