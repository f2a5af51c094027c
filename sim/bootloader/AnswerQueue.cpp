#include "AnswerQueue.h"

#include "control/PtyControlLink.h"

#include <algorithm>
#include <thread>

namespace {

constexpr std::chrono::milliseconds kPoll(1);
constexpr int kBitsPerByte = 10; // with start and stop bit

} // namespace

AnswerQueue::AnswerQueue(PtyControlLink &link, QObject *parent)
    : QObject(parent)
    , m_link(link)
{
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &AnswerQueue::sendDue);
}

void AnswerQueue::noteReceived(qsizetype count)
{
    m_lineFreeAt = std::max(m_lineFreeAt, Clock::now()) + lineTime(count);
}

void AnswerQueue::put(const QByteArray &bytes, int delayMs)
{
    m_answers.enqueue({bytes, Clock::now() + std::chrono::milliseconds(delayMs)});
    sendDue();
}

void AnswerQueue::clear()
{
    m_answers.clear();
    m_timer.stop();
}

AnswerQueue::Clock::duration AnswerQueue::lineTime(qsizetype count) const
{
    if (m_baud == 0)
        return {};
    return std::chrono::nanoseconds(std::chrono::seconds(1)) * kBitsPerByte * count / m_baud;
}

void AnswerQueue::sendDue()
{
    while (!m_answers.isEmpty() && m_link.isFetched()) {
        const Answer &answer = m_answers.head();
        const auto due = std::max(answer.notBefore, m_lineFreeAt + lineTime(answer.bytes.size()));
        const auto left = due - Clock::now();
        if (left >= kPoll) {
            m_timer.start(std::chrono::floor<std::chrono::milliseconds>(left));
            return;
        }
        // A timer knows whole milliseconds only, a hundredth of a block's time on the usual line.
        std::this_thread::sleep_until(due);
        m_link.send(answer.bytes);
        m_answers.dequeue();
    }
    if (!m_answers.isEmpty())
        m_timer.start(kPoll);
}
