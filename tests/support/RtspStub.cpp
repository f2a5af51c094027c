#include "RtspStub.h"

#include <QEventLoop>
#include <QNetworkDatagram>
#include <QTcpServer>
#include <QTcpSocket>
#include <QUdpSocket>

static constexpr int kMediaBufferBytes = 4 * 1024 * 1024;

RtspStub::RtspStub(Manner manner, const QByteArray &encoding)
    : m_manner(manner)
    , m_encoding(encoding)
    , m_thread(QThread::create([this] { serve(); }))
{
    m_thread->start();
    m_ready.acquire();
}

RtspStub::~RtspStub()
{
    m_thread->quit();
    m_thread->wait();
}

void RtspStub::serve()
{
    const QHostAddress local(QHostAddress::LocalHost);
    QUdpSocket media;
    QTcpServer server;
    if (!media.bind(local) || !server.listen(local))
        qFatal("RtspStub: no ports");
    media.setSocketOption(QAbstractSocket::ReceiveBufferSizeSocketOption, kMediaBufferBytes);
    m_mediaPort = media.localPort();
    m_port = server.serverPort();
    m_ready.release();

    int relayed = 0;
    const auto relay = [&] {
        while (m_isPlaying && media.hasPendingDatagrams()) {
            const QByteArray packet = media.receiveDatagram().data();
            const int drop = m_dropEvery;
            if (drop == 0 || ++relayed % drop != 0)
                media.writeDatagram(packet, local, m_clientPort);
        }
    };
    QObject::connect(&media, &QUdpSocket::readyRead, &media, relay);
    QObject::connect(&server, &QTcpServer::newConnection, &server, [&] {
        QTcpSocket *client = server.nextPendingConnection();
        QObject::connect(client, &QTcpSocket::readyRead, client, [&, client] {
            client->write(answerTo(client->readAll()));
            relay(); // also what came before there was a player
        });
    });
    QEventLoop().exec();
}

/// The line of a request that begins with `name`, from there to its end.
static QByteArray header(const QByteArray &request, const QByteArray &name)
{
    const qsizetype start = request.indexOf("\r\n" + name + ':') + 2;
    return request.mid(start, request.indexOf('\r', start) - start);
}

QByteArray RtspStub::answerTo(const QByteArray &request)
{
    const QByteArray method = request.left(request.indexOf(' '));
    m_tornDown = m_tornDown || method == "TEARDOWN";
    if (m_manner == Manner::Silent || (m_manner == Manner::SilentStatus && method != "OPTIONS"))
        return {};
    QByteArray lines = "RTSP/1.0 200 OK\r\n" + header(request, "CSeq") + "\r\n";
    if (method == "OPTIONS")
        return lines + "Public: OPTIONS, DESCRIBE, SETUP, PLAY, TEARDOWN\r\n\r\n";
    if (method == "DESCRIBE") {
        const QByteArray sdp =
            "v=0\r\no=- 0 0 IN IP4 127.0.0.1\r\ns=stub\r\nc=IN IP4 127.0.0.1\r\nt=0 0\r\n"
            "m=video 0 RTP/AVP 96\r\na=rtpmap:96 "
            + m_encoding + "/90000\r\na=fmtp:96 packetization-mode=1\r\na=control:track1\r\n";
        return lines + "Content-Type: application/sdp\r\nContent-Length: "
               + QByteArray::number(sdp.size()) + "\r\n\r\n" + sdp;
    }
    lines += "Session: 1\r\n";
    if (method == "SETUP") {
        const QByteArray transport = header(request, "Transport");
        const qsizetype port = transport.indexOf("client_port=") + 12;
        m_clientPort = transport.mid(port, transport.indexOf('-', port) - port).toUShort();
        lines += transport + ";server_port=50000-50001\r\n";
    }
    m_isPlaying = m_isPlaying || method == "PLAY";
    return lines + "\r\n";
}
