#pragma once

#include <QFile>
#include <QStringList>

#include <array>

/// What the simulated pod received, read from its log as it grows, and whether every motion got its
/// stop: none may be left open, and a console that comes back must begin with the stops that the
/// pod is still owed.
class PodRecord
{
public:
    explicit PodRecord(const QString &logPath);

    /// Takes in what was logged since.
    void update();

    qint64 frames() const { return m_frames; }
    qint64 motions() const { return m_motions; }
    bool isMoving() const;
    /// What was found wrong so far; a frame that the pod could not read is too.
    QStringList faults() const { return m_faults; }

private:
    void take(const QString &command);

    QFile m_log;
    QByteArray m_rest; // of a line not written to its end
    qint64 m_frames = 0;
    qint64 m_motions = 0;
    std::array<bool, 3> m_running{}; // turning, zooming, focusing
    bool m_owing = false;            // a console came while something ran
    QStringList m_faults;
};
