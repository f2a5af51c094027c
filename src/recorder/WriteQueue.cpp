#include "WriteQueue.h"

#include <chrono>
#include <utility>

void WriteQueue::add(const MediaItem &item)
{
    const std::lock_guard lock(m_mutex);
    if (m_hasEnded)
        return;
    if (m_stream != item.stream) {
        m_stream = item.stream;
        m_needsKey = true;
    }
    if (m_needsKey && !item.isKey()) {
        m_dropped += m_hasGap && item.isVideo ? 1 : 0;
        return;
    }
    m_needsKey = false;
    m_bytes += item.bytes();
    m_items.push_back(item);
    if (m_bytes > m_bytesMax) {
        dropAll();
        m_needsKey = true;
        m_hasGap = true;
    }
    m_changed.notify_one();
}

void WriteQueue::addLine(const QByteArray &line)
{
    const std::lock_guard lock(m_mutex);
    if (!m_hasEnded && m_lines.size() + line.size() < kLinesBytesMax)
        m_lines += line + '\n';
}

QByteArray WriteQueue::takeLines()
{
    const std::lock_guard lock(m_mutex);
    return std::exchange(m_lines, {});
}

void WriteQueue::dropAll()
{
    for (const MediaItem &item : m_items)
        m_dropped += item.isVideo ? 1 : 0;
    m_items.clear();
    m_bytes = 0;
}

void WriteQueue::end()
{
    const std::lock_guard lock(m_mutex);
    m_hasEnded = true;
    m_changed.notify_one();
}

void WriteQueue::discard()
{
    const std::lock_guard lock(m_mutex);
    dropAll();
    m_hasEnded = true;
    m_changed.notify_one();
}

WriteQueue::Next WriteQueue::take(MediaItem &item, bool &afterGap, int ms)
{
    std::unique_lock lock(m_mutex);
    m_changed.wait_for(lock, std::chrono::milliseconds(ms),
                       [this] { return m_hasEnded || !m_items.empty(); });
    if (m_items.empty())
        return m_hasEnded ? Next::Ended : Next::Nothing;
    item = std::move(m_items.front());
    m_items.pop_front();
    m_bytes -= item.bytes();
    afterGap = std::exchange(m_hasGap, false);
    return Next::Item;
}

bool WriteQueue::isEmpty() const
{
    const std::lock_guard lock(m_mutex);
    return m_items.empty();
}

quint64 WriteQueue::dropped() const
{
    const std::lock_guard lock(m_mutex);
    return m_dropped;
}
