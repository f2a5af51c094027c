#pragma once

#include <QByteArray>
#include <QStringList>

#include <optional>

#include <sys/types.h>

/// A program with pipes on its standard input and output, ended with the object. It stands in for
/// QProcess, whose way of starting shares this process's memory with the child for a moment: the
/// thread sanitizer then takes the starting thread for the child and sees nothing of it any more.
class ChildProcess
{
public:
    enum class End { InOrder, Anyhow };

    /// Looks for a program without a folder in PATH; fails this process when it cannot be started.
    ChildProcess(const QString &program, const QStringList &arguments, End end = End::InOrder);
    /// SIGTERM, and SIGKILL to what has not ended after a while. A program that is to end in
    /// order, with status 0, and does not, fails this process.
    ~ChildProcess();
    Q_DISABLE_COPY(ChildProcess)

    pid_t pid() const { return m_pid; }
    bool isRunning() { return !hasEnded(0); }
    /// One line to its standard input.
    void writeLine(const QByteArray &line);
    /// The next line of its output without the line's end; nothing at the output's end or after
    /// the time-out.
    std::optional<QByteArray> readLine(int timeoutMs);
    /// Waits until the program ends by itself; true when it did, with status 0.
    bool succeeds(int timeoutMs) { return hasEnded(timeoutMs) && m_status == 0; }

private:
    bool hasEnded(int waitMs);

    QString m_program;
    End m_end;
    bool m_hasEnded = false;
    pid_t m_pid = -1;
    int m_status = 0;  // as wait tells it: 0 is an exit with 0
    int m_input = -1;  // ours to write
    int m_output = -1; // ours to read
    QByteArray m_read;
};
