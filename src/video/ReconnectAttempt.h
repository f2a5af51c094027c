#pragma once

#include <QString>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

class FFmpegPlayer;

/// Set when a running attempt is stopped, and never cleared: from then on every attempt of the
/// item ends silently.
using ReconnectCancelled = std::atomic<int>;

/// One attempt to re-open the stream, run on a reconnect thread while the player stays on the GUI
/// thread. Whoever began it and its thread own it together. Whatever the thread wants of the GUI
/// thread it posts and waits for; abandon() ends that wait at once and turns what is still queued
/// into nothing, so that neither side ever waits for, or touches, the other after it has gone.
class ReconnectAttempt : public std::enable_shared_from_this<ReconnectAttempt>
{
public:
    /// Of the player, once the stream was opened.
    static constexpr int kStreamTimeoutUs = 3000000;

    /// Told on the GUI thread whether the stream was opened; not at all by an attempt that was
    /// cancelled or abandoned.
    using Report = std::function<void(bool opened)>;

    ReconnectAttempt(FFmpegPlayer *player, Report report,
                     std::shared_ptr<ReconnectCancelled> cancelled, QString source, int number);

    /// GUI thread. The thread finds no player and nobody to report to from here on.
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
    void report(bool opened);

    std::mutex m_mutex; // guards the two below
    FFmpegPlayer *m_player;
    Report m_report;
    std::condition_variable m_wake;

    bool m_hasReported = false; // GUI thread only
    const std::shared_ptr<ReconnectCancelled> m_cancelled;
    const QString m_source;
    const int m_number;
};
