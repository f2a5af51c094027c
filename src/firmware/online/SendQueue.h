#pragma once

#include <QByteArray>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>

/// The frames on their way to the bootloader, and the watch over the answer to the last of them.
/// The GUI thread appends; the upgrade's worker thread takes, one frame a pass, which clears the
/// frame's line for writing; the GUI thread writes the cleared lines. Every operation may be called
/// from any thread and no foreign code runs under the lock.
class SendQueue
{
public:
    using Clock = std::chrono::steady_clock;

    struct Item
    {
        QByteArray line;
        int answerTimeoutMs = 0; ///< 0 when no answer is expected
        Clock::time_point enqueuedAt;
    };

    SendQueue() = default;
    /// Lets whoever is just leaving an operation get out.
    ~SendQueue();
    SendQueue(const SendQueue &) = delete;
    SendQueue &operator=(const SendQueue &) = delete;

    void append(const QByteArray &line, int answerTimeoutMs);
    /// The oldest item; from here on its answer is waited for and its line is to be written. With
    /// an empty queue it waits until something is appended, the queue is stopped or an answer falls
    /// due, and returns nothing.
    std::optional<Item> takeOrWait();

    /// The oldest line that was cleared for writing, if any.
    std::optional<QByteArray> takeClearedLine();

    void answerArrived();
    /// True once for every answer that did not arrive within its time.
    bool takeOverdueAnswer();

    /// Wakes whoever waits; nothing is taken in or handed out any more.
    void stop();
    bool isStopped() const;

private:
    mutable std::mutex m_mutex; // guards everything below
    std::condition_variable m_wake;
    std::deque<Item> m_items;
    std::deque<QByteArray> m_clearedLines;
    bool m_stopped = false;
    std::optional<Clock::time_point> m_answerDue;
};
