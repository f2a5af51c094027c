#pragma once

#include <QFile>
#include <QRegularExpression>
#include <QStringList>

#include <algorithm>
#include <array>
#include <utility>

using namespace Qt::StringLiterals;

/// What the simulated pod received, read from its log as it grows, and whether every motion got its
/// stop: none may be left open, and a console that comes back must begin with the stops that the
/// pod is still owed.
class PodRecord
{
public:
    explicit PodRecord(const QString &logPath)
        : m_log(logPath)
    {
        if (!m_log.open(QIODevice::ReadOnly))
            qFatal("PodRecord: no log %s", qPrintable(logPath));
    }

    /// Takes in what was logged since.
    PodRecord &update()
    {
        while ((m_line += m_log.readLine()).endsWith('\n')) {
            const QByteArray line = std::exchange(m_line, {}).trimmed();
            const QString event = QString::fromUtf8(line).section(u' ', 1); // after the time
            if (event == "console connected"_L1)
                m_isOwed = isMoving();
            else if (event.startsWith("received "_L1))
                take(event.section(u": "_s, 1).section(u'(', 0, 0));
            else if (event.startsWith("rejected "_L1))
                m_faults.append(event);
        }
        return *this;
    }

    qint64 frames() const { return m_frames; }
    qint64 motions() const { return m_begun; }
    bool isMoving() const { return std::ranges::any_of(m_motions, &Motion::runs); }
    /// What was found wrong so far; a frame that the pod could not read is too.
    QStringList faults() const { return m_faults; }

private:
    struct Motion
    {
        QRegularExpression starts;
        QLatin1StringView stop;
        bool runs = false;
    };

    void take(const QString &command)
    {
        ++m_frames;
        bool isStop = false;
        for (Motion &motion : m_motions) {
            const bool starts = motion.starts.match(command).hasMatch();
            const bool stops = command == motion.stop;
            motion.runs = starts || (motion.runs && !stops);
            m_begun += starts ? 1 : 0;
            isStop = isStop || stops;
        }
        if (m_isOwed && !isStop)
            m_faults.append(command + u" before the stop that was owed"_s);
        m_isOwed = m_isOwed && isStop && isMoving();
    }

    QFile m_log;
    QByteArray m_line; // as far as it is written
    std::array<Motion, 3> m_motions = {{
        {QRegularExpression(u"^move(Left|Right|Up|Down)+$"_s), "stopMove"_L1},
        {QRegularExpression(u"^zoom(In|Out)$"_s), "zoomStop"_L1},
        {QRegularExpression(u"^manualFocus(Near|Far)$"_s), "manualFocusStop"_L1},
    }};
    qint64 m_frames = 0;
    qint64 m_begun = 0;
    bool m_isOwed = false; // a console came while something ran
    QStringList m_faults;
};
