#pragma once

#include "MediaItem.h"

#include <deque>

/// The last seconds of a stream, from a key picture on, so that what led to the press of the button
/// is in the file. Whole groups of pictures are let go of: as long as the bytes allow, it reaches
/// back at least as far as asked for.
class PacketRing
{
public:
    /// Room for ten seconds at 50 Mbit/s.
    static constexpr qint64 kBytesMax = qint64(64) * 1024 * 1024;

    explicit PacketRing(qint64 bytesMax = kBytesMax)
        : m_bytesMax(bytesMax)
    {
    }

    /// How far back it reaches, in microseconds.
    void setSpan(qint64 us) { m_spanUs = us; }

    /// What comes before the first key picture is not kept.
    void add(MediaItem item);
    void clear();

    const std::deque<MediaItem> &items() const { return m_items; }

private:
    void dropGroup();
    bool isSecondGroupEnough(qint64 nowUs) const;

    qint64 m_bytesMax;
    qint64 m_spanUs = 10'000'000;
    std::deque<MediaItem> m_items;
    std::deque<quint64> m_keys; // their numbers, counted from the first item ever
    quint64 m_first = 0;        // the number of the first in m_items
    qint64 m_bytes = 0;
};
