#pragma once

#include "../SimMode.h"

#include <QByteArrayList>
#include <QDir>
#include <QHostAddress>
#include <QTcpServer>
#include <QUrl>

class QTcpSocket;

/// Instead of the pod: serves the streams of a folder over RTSP (over TCP alone), each cut into
/// packets in the manner that the query of its address asks for. The files hold bare units and end
/// in "h264" or "h265"; with ".rtp" behind it, they hold packets that are sent as
/// they are. At the end of a stream the sending side of its connection is closed.
class PacketSender : public SimMode
{
public:
    struct Options
    {
        QString folder; ///< empty: not wanted
        QHostAddress bindAddress;
        quint16 port = 0;
    };

    explicit PacketSender(const Options &options);

    bool start(QString &error) override;
    QStringList endpoints() const override;
    QString execute(const QString &faultLine) override;

private:
    void serve(QTcpSocket *client);
    void answer(QTcpSocket *client, const QByteArray &request);
    QByteArray describe(QTcpSocket *client, const QByteArray &address) const;
    void play(QTcpSocket *client) const;
    QList<QByteArrayList> packetsOf(const QUrl &url) const;

    Options m_options;
    QTcpServer m_server;
};
