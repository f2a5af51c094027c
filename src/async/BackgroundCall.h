#pragma once

#include <QtGlobal>

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

class QEventLoop;

/// Tells one waiting thread that another is done. Both own it, so neither needs the other alive.
class Gate
{
public:
    /// Any thread.
    void open();
    bool isOpen() const;

    enum class Result : quint8 { Opened, TimedOut, Quit };
    static constexpr int kForever = -1;

    /// Waits at most `ms`, serving the calling thread's events meanwhile: whatever they do may have
    /// overtaken or destroyed the caller when this returns. Quit: the application was told to end,
    /// after which no wait serves events any more.
    Result waitServingEvents(int ms);

    /// Waits at most `ms` and serves nothing: for destructors.
    Result waitBlocking(int ms);

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_opened;
    bool m_isOpen = false;
    QEventLoop *m_waiter = nullptr;
};

/// Runs blocking work on a thread of its own, which nobody has to wait for; the gate opens when
/// the work and what it captured are gone. Work must end soon after it is told to: the application
/// waits at most kExitGraceMs for it when it ends.
std::shared_ptr<Gate> runInBackground(std::function<void()> work);

inline constexpr int kExitGraceMs = 500;
