#pragma once

#include "RotatingFile.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QtGlobal>

#include <condition_variable>
#include <mutex>

/// Log lines on their way from the threads that log to the one that writes them: a disk that stands
/// still delays nobody but that thread. Lines that come while kMaxWaiting wait are lost, and
/// counted in the file. Both ends own it together.
class LogQueue
{
public:
    struct Line
    {
        QDateTime time;
        QtMsgType type = QtDebugMsg;
        QString text;
    };

    static constexpr qsizetype kMaxWaiting = 10'000;

    /// Any thread; never waits for the disk.
    void add(QtMsgType type, const QString &text);
    /// Any thread. Waits at most `ms` until all that was added is in the file.
    void waitUntilWritten(int ms);
    /// No more lines come; write() returns once it has written what it has.
    void end();

    /// The writing thread: opens the file in `folder` and writes until end(). Without a file it
    /// warns and returns; then nothing is kept any more.
    void write(const QString &folder, RotatingFile::Bounds bounds);

private:
    bool take(QList<Line> &lines, qint64 &lost);

    std::mutex m_mutex; // guards all below
    std::condition_variable m_changed;
    QList<Line> m_lines;
    qint64 m_lost = 0;
    bool m_isWriting = true; // lines taken, but perhaps not in the file yet
    bool m_hasEnded = false;
};

/// The line with "***" for the password of each address in it.
QString maskedLine(QString line);
