#include "Outbox.h"

#include <algorithm>
#include <utility>

namespace {

constexpr qsizetype kQueueMax = 256; // older frames of a faster source are lost, as on a real line
constexpr int kSplitGapMs = 15;

} // namespace

Outbox::Outbox(QObject *parent)
    : QObject(parent)
{
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &Outbox::release);
}

void Outbox::put(const QByteArray &frame)
{
    QByteArray bytes = frame;
    if (faults.corruptNext > 0) {
        --faults.corruptNext;
        bytes[0] = static_cast<char>(bytes.at(0) ^ 0x55);
    }
    if (faults.join) {
        m_held += bytes;
        if (m_held.size() == bytes.size())
            return;
        bytes = std::exchange(m_held, {});
    }
    if (faults.split) {
        const qsizetype half = bytes.size() / 2;
        enqueue(bytes.left(half), 0);
        enqueue(bytes.mid(half), kSplitGapMs);
    } else {
        enqueue(bytes, 0);
    }
    release();
}

void Outbox::enqueue(const QByteArray &bytes, int afterMs)
{
    if (m_queue.size() >= kQueueMax)
        m_queue.dequeue();
    m_queue.enqueue({bytes, Clock::now() + std::chrono::milliseconds(faults.delayMs + afterMs)});
}

void Outbox::release()
{
    while (!m_queue.isEmpty()) {
        const auto now = Clock::now();
        const auto due =
            std::max(m_queue.head().due, m_lastWrite + std::chrono::milliseconds(m_gapMs));
        if (due > now) {
            m_timer.start(std::chrono::ceil<std::chrono::milliseconds>(due - now));
            return;
        }
        m_lastWrite = now;
        Q_EMIT write(m_queue.dequeue().bytes);
    }
}
