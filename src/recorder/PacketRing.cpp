#include "PacketRing.h"

#include <utility>

void PacketRing::add(MediaItem item)
{
    if (item.isKey())
        m_keys.push_back(m_first + m_items.size());
    if (m_keys.empty())
        return;
    const qint64 nowUs = item.arrivedUs;
    m_bytes += item.bytes();
    m_items.push_back(std::move(item));
    while (!m_keys.empty() && (m_bytes > m_bytesMax || isSecondGroupEnough(nowUs)))
        dropGroup();
}

void PacketRing::clear()
{
    while (!m_keys.empty())
        dropGroup();
}

bool PacketRing::isSecondGroupEnough(qint64 nowUs) const
{
    return m_keys.size() > 1 && m_items[size_t(m_keys[1] - m_first)].arrivedUs <= nowUs - m_spanUs;
}

void PacketRing::dropGroup()
{
    m_keys.pop_front();
    const quint64 end = m_keys.empty() ? m_first + m_items.size() : m_keys.front();
    for (; m_first < end; ++m_first) {
        m_bytes -= m_items.front().bytes();
        m_items.pop_front();
    }
}
