#pragma once

#include "MediaItem.h"

#include <QByteArray>

#include <condition_variable>
#include <deque>
#include <mutex>

/// What waits to be written, bounded. Nobody who adds to it waits for the disk: when it is full,
/// all of it is thrown away, and what comes next begins at a key picture. Any thread.
class WriteQueue
{
public:
    static constexpr qint64 kBytesMax = qint64(96) * 1024 * 1024;
    static constexpr qint64 kLinesBytesMax = qint64(8) * 1024 * 1024;

    explicit WriteQueue(qint64 bytesMax = kBytesMax)
        : m_bytesMax(bytesMax)
    {
    }

    /// Each stream's items are taken from its first key picture on.
    void add(const MediaItem &item);
    /// A line of the log; beyond kLinesBytesMax the newest are thrown away.
    void addLine(const QByteArray &line);
    /// All lines that wait, each with its end.
    QByteArray takeLines();
    /// Nothing more is taken in; what is there is still given out.
    void end();
    /// The same, and nothing is given out.
    void discard();

    enum class Next : quint8 { Item, Nothing, Ended };
    /// Waits at most `ms`. `afterGap` tells of an item that others before it were thrown away.
    Next take(MediaItem &item, bool &afterGap, int ms);

    bool isEmpty() const;
    /// How many pictures were thrown away.
    quint64 dropped() const;

private:
    void dropAll();

    const qint64 m_bytesMax;
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<MediaItem> m_items;
    QByteArray m_lines;
    qint64 m_bytes = 0;
    std::shared_ptr<const RecordedStream> m_stream; // of the newest item
    bool m_needsKey = true;
    bool m_hasGap = false; // ahead of the first in m_items
    bool m_hasEnded = false;
    quint64 m_dropped = 0;
};
