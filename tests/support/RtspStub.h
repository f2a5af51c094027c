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
    };

    explicit RtspStub(Manner manner);
    ~RtspStub();

    QString url() const;
    /// True once a client sent TEARDOWN.
    bool wasTornDown() const { return m_tornDown; }

private:
    void converse(int client);
    QByteArray answerTo(const QByteArray &request) const;

    Manner m_manner;
    QTcpServer m_server;
    std::atomic<bool> m_quit = false;
    std::atomic<bool> m_tornDown = false;
    std::thread m_thread;
};
