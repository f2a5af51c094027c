#pragma once

#include <QSemaphore>
#include <QThread>
#include <QTimer>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <vector>

class QWindow;

/// The instruments that watch control while something else goes on: who waits for a processor, the
/// pod's end of the wire, hands at the keyboard, and a clock that sees the GUI thread stand still.
namespace bench {

using Clock = std::chrono::steady_clock;

double milliseconds(Clock::duration duration);

/// How long one thread has stood ready without a processor, which no code of ours can help. Made
/// on the thread that it tells about, read on any. Always 0 where the kernel does not tell.
class ProcessorWait
{
public:
    ProcessorWait();
    ~ProcessorWait();
    ProcessorWait(const ProcessorWait &) = delete;
    ProcessorWait &operator=(const ProcessorWait &) = delete;

    Clock::duration total() const;

private:
    int m_file;
};

/// The pod: takes one TCP client on a thread of its own, sends it status frames as a pod does and
/// stamps each command when the read that brought it returns.
class PodEnd : public QThread
{
public:
    struct Arrival
    {
        Clock::time_point time;
        Clock::duration processorWait; ///< of GUI thread and this one, summed up to then
        bool isStop = false;
    };

    explicit PodEnd(const ProcessorWait &guiWait);
    ~PodEnd() override;

    quint16 port() const { return m_port; }

    /// As in Arrival, up to now.
    Clock::duration processorWait() const;

    /// Any thread; waits for the next command, nothing when none comes.
    std::optional<Arrival> nextCommand();

protected:
    void run() override;

private:
    void take(const QByteArray &command);

    const ProcessorWait &m_guiWait;
    std::atomic<const ProcessorWait *> m_ownWait = nullptr;
    quint16 m_port = 0;
    QSemaphore m_listening;
    std::atomic<bool> m_quit = false;
    std::mutex m_mutex;
    std::condition_variable m_came;
    std::deque<Arrival> m_arrivals;
};

struct Latencies
{
    std::vector<double> all; ///< milliseconds from key event to command at the pod
    std::vector<double> net; ///< the same without the waits for a processor in between
};

/// Presses and releases W `holds` times, on any thread but the GUI's, for a few milliseconds each.
/// Events enter where a platform's keyboard enters, and wait there for the GUI thread. Ends the
/// program when a press or a stop does not arrive, or arrives out of turn.
Latencies holdKeys(QWindow &window, PodEnd &pod, int holds);

/// Watches, on the GUI thread, the time from one turn of its event loop to the next.
class TurnMeter
{
public:
    explicit TurnMeter(const ProcessorWait &guiWait);

    void start();
    void stop() { m_timer.stop(); }

    double longestGapMs() const { return milliseconds(m_longest); }

    /// The longest without the wait for a processor in it; may be another gap.
    double longestNetGapMs() const { return milliseconds(m_longestNet); }

private:
    void tick();

    const ProcessorWait &m_guiWait;
    QTimer m_timer;
    Clock::time_point m_last;
    Clock::duration m_lastWait{};
    Clock::duration m_longest{};
    Clock::duration m_longestNet{};
};

[[noreturn]] void fail(const char *problem);

} // namespace bench
