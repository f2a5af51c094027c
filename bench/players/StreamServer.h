#pragma once

#include "PreparedStream.h"
#include "video/RtspServer.h"
#include "video/VideoFeed.h"

#include <atomic>
#include <list>
#include <mutex>
#include <thread>
#include <vector>

namespace bench {

/// Sends a prepared loop over RTSP, in time, as a pod would whose encoder takes no time, and notes
/// when each picture left. It goes on at the loop's next key picture when a client comes, as an
/// encoder does that is asked for one, so that no client's start depends on when it comes.
class StreamServer : public VideoFeed
{
public:
    explicit StreamServer(PreparedStream stream);
    ~StreamServer() override;
    StreamServer(const StreamServer &) = delete;
    StreamServer &operator=(const StreamServer &) = delete;

    QString url() const { return m_server->url(); }

    VideoFormat format() const override { return m_stream.format; }

    /// Cuts every client off, and serves them again.
    void kill() { m_server->kill(); }

    void restart() { m_server->start(0); }

    /// When picture `index` was last sent, by nowUs(); 0 when it was not yet, or there is none: a
    /// damaged picture tells any number.
    qint64 sentUs(qint64 index) const
    {
        return index >= 0 && index < m_stream.pictures.size() ? m_sentUs[std::size_t(index)].load()
                                                              : 0;
    }

    /// Microseconds by a steady clock.
    static qint64 nowUs();

    QString streamLine() const override;
    void addSink(GstAppSrc *source) override;
    void removeSink(GstAppSrc *source) override;

private:
    struct Sink
    {
        GstAppSrc *source = nullptr;
        bool hasBegun = false; ///< with a key picture
    };

    void run(const std::stop_token &stop);
    /// Sends picture `index`, or the next key picture where a client begins; tells which.
    int send(int index);

    PreparedStream m_stream;
    std::vector<std::atomic<qint64>> m_sentUs;
    std::mutex m_mutex;
    std::list<Sink> m_sinks;
    std::unique_ptr<RtspServer> m_server;
    std::jthread m_thread;
};

} // namespace bench
