#pragma once

#include <QTcpServer>

#include <atomic>
#include <thread>

/// A half-dead RTSP server on a loopback port, on a thread of its own, since the player's open
/// blocks the test's. Serves one client after the other.
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

    QString url() const;
    /// Where a relaying stub takes RTP packets; -1 for any other.
    int mediaPort() const;
    /// True once a client waits for them.
    bool isPlaying() const { return m_playing; }
    /// From now on every `n`-th packet is lost; none with 0.
    void dropEvery(int n) { m_dropEvery = n; }
    /// True once a client sent TEARDOWN.
    bool wasTornDown() const { return m_tornDown; }

private:
    void converse(int client);
    void relayMedia();
    QByteArray answerTo(const QByteArray &request);

    Manner m_manner;
    QByteArray m_encoding;
    int m_media = -1; // the socket of mediaPort()
    int m_clientPort = 0;
    int m_relayed = 0;
    std::atomic<int> m_dropEvery = 0;
    std::atomic<bool> m_playing = false;
    QTcpServer m_server;
    std::atomic<bool> m_quit = false;
    std::atomic<bool> m_tornDown = false;
    std::thread m_thread;
};
