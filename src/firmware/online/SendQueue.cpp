#include "SendQueue.h"

#include <utility>

SendQueue::~SendQueue() { const std::lock_guard lock(m_mutex); }

void SendQueue::append(const QByteArray &line, int answerTimeoutMs)
{
    const std::lock_guard lock(m_mutex);
    if (m_stopped)
        return;
    m_items.push_back({line, answerTimeoutMs, Clock::now()});
    m_wake.notify_one();
}

std::optional<SendQueue::Item> SendQueue::takeOrWait()
{
    std::unique_lock lock(m_mutex);
    if (m_stopped)
        return std::nullopt;
    if (m_items.empty()) {
        if (m_answerDue)
            m_wake.wait_until(lock, *m_answerDue);
        else
            m_wake.wait(lock);
        return std::nullopt;
    }
    Item item = std::move(m_items.front());
    m_items.pop_front();
    m_clearedLines.push_back(item.line);
    // Set before the item is handed out: the answer may arrive before the taker runs again.
    if (item.answerTimeoutMs > 0)
        m_answerDue = Clock::now() + std::chrono::milliseconds(item.answerTimeoutMs);
    return item;
}

std::optional<QByteArray> SendQueue::takeClearedLine()
{
    const std::lock_guard lock(m_mutex);
    if (m_clearedLines.empty())
        return std::nullopt;
    QByteArray line = std::move(m_clearedLines.front());
    m_clearedLines.pop_front();
    return line;
}

void SendQueue::answerArrived()
{
    const std::lock_guard lock(m_mutex);
    m_answerDue.reset();
}

bool SendQueue::takeOverdueAnswer()
{
    const std::lock_guard lock(m_mutex);
    if (!m_answerDue || Clock::now() <= *m_answerDue)
        return false;
    m_answerDue.reset();
    return true;
}

void SendQueue::stop()
{
    const std::lock_guard lock(m_mutex);
    m_stopped = true;
    m_items.clear();
    m_clearedLines.clear();
    m_wake.notify_all();
}

bool SendQueue::isStopped() const
{
    const std::lock_guard lock(m_mutex);
    return m_stopped;
}
