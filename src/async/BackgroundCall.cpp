#include "BackgroundCall.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>

#include <chrono>
#include <thread>
#include <utility>

void Gate::open()
{
    {
        const std::lock_guard lock(m_mutex);
        m_isOpen = true;
        // Posted under the lock: the waiter takes its loop back under the same one.
        if (m_waiter)
            QMetaObject::invokeMethod(m_waiter, &QEventLoop::quit, Qt::QueuedConnection);
    }
    m_opened.notify_all();
}

bool Gate::isOpen() const
{
    const std::lock_guard lock(m_mutex);
    return m_isOpen;
}

Gate::Result Gate::waitServingEvents(int ms)
{
    QEventLoop loop;
    // The loop of an earlier wait at this gate, still running: one of its events has called this.
    QEventLoop *outer = nullptr;
    {
        const std::lock_guard lock(m_mutex);
        if (m_isOpen)
            return Result::Opened;
        outer = std::exchange(m_waiter, &loop);
    }
    bool timedOut = false;
    if (ms != kForever) {
        QTimer::singleShot(ms, Qt::PreciseTimer, &loop, [&] {
            timedOut = true;
            loop.quit();
        });
    }
    loop.exec();
    const std::lock_guard lock(m_mutex);
    m_waiter = outer;
    if (m_isOpen && outer)
        QMetaObject::invokeMethod(outer, &QEventLoop::quit, Qt::QueuedConnection);
    if (m_isOpen)
        return Result::Opened;
    return timedOut ? Result::TimedOut : Result::Quit;
}

Gate::Result Gate::waitBlocking(int ms)
{
    std::unique_lock lock(m_mutex);
    const bool opened =
        m_opened.wait_for(lock, std::chrono::milliseconds(ms), [this] { return m_isOpen; });
    return opened ? Result::Opened : Result::TimedOut;
}

namespace {

/// How many threads of ours still run, for the end of the application to wait for.
class RunningThreads
{
public:
    void started()
    {
        const std::lock_guard lock(m_mutex);
        ++m_count;
    }

    void ended()
    {
        const std::lock_guard lock(m_mutex);
        --m_count;
        m_changed.notify_all();
    }

    void waitForAll()
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait_for(lock, std::chrono::milliseconds(kExitGraceMs),
                           [this] { return m_count == 0; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_count = 0;
};

RunningThreads &runningThreads()
{
    // Never destroyed: a thread that is stuck in the kernel may end after the statics are gone.
    static auto &threads = *new RunningThreads;
    return threads;
}

void waitForThreadsAtExit()
{
    static std::once_flag registered;
    std::call_once(registered, [] { qAddPostRoutine([] { runningThreads().waitForAll(); }); });
}

} // namespace

std::shared_ptr<Gate> runInBackground(std::function<void()> work)
{
    waitForThreadsAtExit();
    auto gate = std::make_shared<Gate>();
    runningThreads().started();
    std::thread([gate, work = std::move(work)]() mutable {
        work();
        work = nullptr;
        gate->open();
        runningThreads().ended();
    }).detach();
    return gate;
}
