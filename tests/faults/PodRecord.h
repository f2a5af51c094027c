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
        m_rest += m_log.readAll();
        const qsizetype end = m_rest.lastIndexOf('\n') + 1;
        const QStringList lines = QString::fromUtf8(m_rest.first(end)).split(u'\n');
        m_rest.remove(0, end);
        for (const QString &line : lines) {
            const QString event = line.section(u' ', 1); // after the time
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
    qint64 motions() const { return m_motions; }
    bool isMoving() const { return std::ranges::find(m_running, true) != m_running.end(); }
    /// What was found wrong so far; a frame that the pod could not read is too.
    QStringList faults() const { return m_faults; }

private:
    /// What begins a motion and what ends it.
    static inline const std::array<std::pair<QRegularExpression, QLatin1StringView>, 3> kMotions = {
        {
            {QRegularExpression(u"^move(Left|Right|Up|Down)+$"_s), "stopMove"_L1},
            {QRegularExpression(u"^zoom(In|Out)$"_s), "zoomStop"_L1},
            {QRegularExpression(u"^manualFocus(Near|Far)$"_s), "manualFocusStop"_L1},
        }};

    void take(const QString &command)
    {
        ++m_frames;
        bool isStop = false;
        for (std::size_t i = 0; i < kMotions.size(); ++i) {
            const bool starts = kMotions[i].first.match(command).hasMatch();
            const bool stops = command == kMotions[i].second;
            m_running[i] = starts || (m_running[i] && !stops);
            m_motions += starts ? 1 : 0;
            isStop = isStop || stops;
        }
        if (m_isOwed && !isStop)
            m_faults.append(command + u" before the stop that was owed"_s);
        m_isOwed = m_isOwed && isStop && isMoving();
    }

    QFile m_log;
    QByteArray m_rest; // of a line not written to its end
    qint64 m_frames = 0;
    qint64 m_motions = 0;
    std::array<bool, kMotions.size()> m_running{};
    bool m_isOwed = false; // a console came while something ran
    QStringList m_faults;
};
