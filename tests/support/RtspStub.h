#pragma once

#include <QEventLoop>
#include <QNetworkDatagram>
#include <QSemaphore>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>
#include <QUdpSocket>

#include <atomic>
#include <memory>

/// A half-dead RTSP server on a loopback port, on a thread of its own, since the player's open
/// blocks the test's.
class RtspStub
{
public:
    enum class Manner {
        Silent,       ///< takes the connection and never says a word
        SilentStatus, ///< answers OPTIONS, then nothing more
        NoMedia,      ///< answers every request and sends no media
        Relay,        ///< sends the client what comes on mediaPort()
    };

    /// `encoding` as in the description: "H264" or "H265".
    explicit RtspStub(Manner manner, const QByteArray &encoding = "H264")
        : m_manner(manner)
        , m_encoding(encoding)
        , m_thread(QThread::create([this] { serve(); }))
    {
        m_thread->start();
        m_ready.acquire();
    }
    ~RtspStub()
    {
        m_thread->quit();
        m_thread->wait();
    }

    QString url() const { return QStringLiteral("rtsp://127.0.0.1:%1/live0").arg(m_port); }
    /// Where a relaying stub takes RTP packets.
    int mediaPort() const { return m_mediaPort; }
    /// From now on every `n`-th packet is lost; none with 0.
    void dropEvery(int n) { m_dropEvery = n; }
    /// True once a client sent TEARDOWN.
    bool wasTornDown() const { return m_tornDown; }

private:
    static constexpr int kMediaBufferBytes = 4 * 1024 * 1024;

    void serve()
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

    QByteArray answerTo(const QByteArray &request)
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

    const Manner m_manner;
    const QByteArray m_encoding;
    QSemaphore m_ready; // the ports are known
    quint16 m_port = 0;
    quint16 m_mediaPort = 0;
    quint16 m_clientPort = 0; // of a client that waits for media
    bool m_isPlaying = false;
    std::atomic<int> m_dropEvery = 0;
    std::atomic<bool> m_tornDown = false;
    std::unique_ptr<QThread> m_thread;
};
