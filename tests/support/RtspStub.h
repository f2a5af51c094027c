#pragma once

#include <QString>

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
    void serve();
    void converse(int client);
    QByteArray answerTo(const QByteArray &request) const;

    Manner m_manner;
    int m_listener = -1;
    quint16 m_port = 0;
    std::atomic<bool> m_quit = false;
    std::atomic<bool> m_tornDown = false;
    std::thread m_thread;
};
