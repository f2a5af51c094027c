#pragma once

#include <QSemaphore>
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
        Relay,        ///< sends the client what comes on mediaPort()
    };

    /// `encoding` as in the description: "H264" or "H265".
    explicit RtspStub(Manner manner, const QByteArray &encoding = "H264");
    ~RtspStub();

    QString url() const { return QStringLiteral("rtsp://127.0.0.1:%1/live0").arg(m_port); }
    /// Where a relaying stub takes RTP packets.
    int mediaPort() const { return m_mediaPort; }
    /// From now on every `n`-th packet is lost; none with 0.
    void dropEvery(int n) { m_dropEvery = n; }
    /// True once a client sent TEARDOWN.
    bool wasTornDown() const { return m_tornDown; }

private:
    void serve();
    QByteArray answerTo(const QByteArray &request);

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
