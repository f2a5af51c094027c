#pragma once

#include <QString>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

class FFmpegPlayer;
class VideoRenderer;

/// Set when a running attempt is stopped, and never cleared: from then on every attempt of the
/// item ends silently.
using ReconnectCancelled = std::atomic<int>;

/// One attempt to re-open the stream, run on a reconnect thread while the player stays on the GUI
/// thread. Item and thread own it together. Whatever the thread wants of the GUI thread it posts
/// and waits for; abandon() ends that wait at once and turns what is still queued into nothing, so
/// that neither side ever waits for, or touches, the other after it has gone.
class ReconnectAttempt : public std::enable_shared_from_this<ReconnectAttempt>
{
public:
    ReconnectAttempt(VideoRenderer *item, FFmpegPlayer *player,
                     std::shared_ptr<ReconnectCancelled> cancelled, QString source, int number);

    /// GUI thread. The thread finds no item and no player from here on.
    void abandon();

    /// GUI thread. Whether it has told how it went, and its thread has only to end.
    bool hasReported() const { return m_hasReported; }

    /// Reconnect thread. True when the thread's event loop is to be left; an attempt that was
    /// cancelled early leaves it running until it is told to quit.
    bool run();

private:
    bool isCancelled() const { return m_cancelled->load() != 0; }

    void setPlayerTimeout(int us);
    /// Runs `call` on the GUI thread and waits for it; false when it failed or was abandoned.
    bool callPlayer(const std::function<bool(FFmpegPlayer &)> &call);
    void pause(int ms);
    void report(void (VideoRenderer::*slot)());

    std::mutex m_mutex; // guards the two below
    VideoRenderer *m_item;
    FFmpegPlayer *m_player;
    std::condition_variable m_wake;

    bool m_hasReported = false; // GUI thread only
    const std::shared_ptr<ReconnectCancelled> m_cancelled;
    const QString m_source;
    const int m_number;
};
