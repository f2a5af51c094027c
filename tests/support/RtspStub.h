#pragma once

#include <QEventLoop>
#include <QSemaphore>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>

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
        HangsUp,      ///< answers whatever is asked by closing the connection
        IsNone,       ///< answers as a server of another kind would
    };

    /// `refusal`, as "404 Not Found", is what it answers DESCRIBE with, or SETUP where it is of
    /// that.
    explicit RtspStub(Manner manner, const QByteArray &refusal = {})
        : m_manner(manner)
        , m_refusal(refusal)
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
    /// True once a client sent TEARDOWN.
    bool wasTornDown() const { return m_tornDown; }

private:
    void serve()
    {
        QTcpServer server;
        if (!server.listen(QHostAddress::LocalHost))
            qFatal("RtspStub: no port");
        m_port = server.serverPort();
        m_ready.release();
        QObject::connect(&server, &QTcpServer::newConnection, &server, [&] {
            QTcpSocket *client = server.nextPendingConnection();
            QObject::connect(client, &QTcpSocket::readyRead, client, [=, this] {
                client->write(answerTo(client->readAll()));
                if (m_manner == Manner::HangsUp || m_manner == Manner::IsNone)
                    client->close();
            });
        });
        QEventLoop().exec();
    }

    QByteArray answerTo(const QByteArray &request)
    {
        const QByteArray method = request.left(request.indexOf(' '));
        m_tornDown = m_tornDown || method == "TEARDOWN";
        if (m_manner == Manner::IsNone)
            return "HTTP/1.0 400 Bad Request\r\n\r\n";
        if (m_manner == Manner::HangsUp || m_manner == Manner::Silent
            || (m_manner == Manner::SilentStatus && method != "OPTIONS"))
            return {};
        const auto line = [&](const QByteArray &name) { // without its end
            const qsizetype start = request.indexOf(name + ':');
            return request.mid(start, request.indexOf('\r', start) - start);
        };
        if (!m_refusal.isEmpty() && method == (m_refusal.startsWith("461") ? "SETUP" : "DESCRIBE"))
            return "RTSP/1.0 " + m_refusal + "\r\n" + line("CSeq") + "\r\n\r\n";
        const QByteArray head = "RTSP/1.0 200 OK\r\n" + line("CSeq") + "\r\nSession: 1\r\n";
        if (method == "SETUP")
            return head + line("Transport") + ";server_port=50000-50001\r\n\r\n";
        if (method != "DESCRIBE")
            return head + "\r\n";
        const QByteArray sdp = "v=0\r\no=- 0 0 IN IP4 127.0.0.1\r\ns=stub\r\n"
                               "c=IN IP4 127.0.0.1\r\nt=0 0\r\nm=video 0 RTP/AVP 96\r\n"
                               "a=rtpmap:96 H264/90000\r\na=control:track1\r\n";
        return head + "Content-Type: application/sdp\r\nContent-Length: "
               + QByteArray::number(sdp.size()) + "\r\n\r\n" + sdp;
    }

    const Manner m_manner;
    const QByteArray m_refusal;
    QSemaphore m_ready; // the port is known
    quint16 m_port = 0;
    std::atomic<bool> m_tornDown = false;
    std::unique_ptr<QThread> m_thread;
};
