#pragma once

#include <QByteArray>
#include <QObject>
#include <QQueue>
#include <QTimer>

#include <chrono>

/// What the pod has to say, on its way to the links: one write for each frame, and a few
/// milliseconds between two, since a console reads only the first frame of a delivery. The faults
/// of a bad line happen here.
class Outbox : public QObject
{
    Q_OBJECT

public:
    struct Faults
    {
        int delayMs = 0;
        int corruptNext = 0; ///< this many frames get a flipped byte
        bool split = false;  ///< each frame in two writes
        bool join = false;   ///< two frames in one write
    };

    explicit Outbox(QObject *parent = nullptr);

    void put(const QByteArray &frame);
    /// Time between two writes; 0 for as fast as they come.
    void setGap(int ms) { m_gapMs = ms; }

    Faults faults;

Q_SIGNALS:
    void write(QByteArray bytes);

private:
    using Clock = std::chrono::steady_clock;

    struct Entry
    {
        QByteArray bytes;
        Clock::time_point due;
    };

    void enqueue(const QByteArray &bytes, int afterMs);
    void release();

    QQueue<Entry> m_queue;
    QByteArray m_held; // the first of two frames to be joined
    QTimer m_timer;
    int m_gapMs = 0;
    Clock::time_point m_lastWrite{};
};
