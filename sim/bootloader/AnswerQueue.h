#pragma once

#include <QByteArray>
#include <QObject>
#include <QQueue>
#include <QTimer>

#include <chrono>

class PtyControlLink;

/// The bootloader's way onto the line. Answers leave one at a time, each only when the console has
/// read the one before it, so that two answers never meet in one read unless that is asked for. On
/// a line of limited rate each waits until the bytes so far would have passed it.
class AnswerQueue : public QObject
{
    Q_OBJECT

public:
    using Clock = std::chrono::steady_clock;

    explicit AnswerQueue(PtyControlLink &link, QObject *parent = nullptr);

    void setLineBaud(int baud) { m_baud = baud; }

    /// Tells that the console's bytes came, which take their time on the line.
    void noteReceived(qsizetype count);
    void put(const QByteArray &bytes, int delayMs = 0);
    void clear();

private:
    struct Answer
    {
        QByteArray bytes;
        Clock::time_point notBefore;
    };

    /// How long the line is busy with that many bytes.
    Clock::duration lineTime(qsizetype count) const;
    void sendDue();

    PtyControlLink &m_link;
    QQueue<Answer> m_answers;
    QTimer m_timer;
    int m_baud = 0;
    Clock::time_point m_lineFreeAt;
};
