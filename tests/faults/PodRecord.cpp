#include "PodRecord.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

// In the order of m_running; a motion begins with one of the words and ends with the stop.
struct Motion
{
    QLatin1StringView starts;
    QLatin1StringView stop;
};

constexpr std::array<Motion, 3> kMotions = {{
    {"moveLeft moveRight moveUp moveDown moveLeftUp moveLeftDown moveRightUp moveRightDown"_L1,
     "stopMove"_L1},
    {"zoomIn zoomOut"_L1, "zoomStop"_L1},
    {"manualFocusNear manualFocusFar"_L1, "manualFocusStop"_L1},
}};

} // namespace

PodRecord::PodRecord(const QString &logPath)
    : m_log(logPath)
{
    if (!m_log.open(QIODevice::ReadOnly))
        qFatal("PodRecord: no log %s", qPrintable(logPath));
}

void PodRecord::update()
{
    m_rest += m_log.readAll();
    const qsizetype end = m_rest.lastIndexOf('\n') + 1;
    const QStringList lines = QString::fromUtf8(m_rest.first(end)).split(u'\n');
    m_rest.remove(0, end);
    for (const QString &line : lines) {
        const QString event = line.section(u' ', 1); // after the time
        if (event == "console connected"_L1)
            m_owing = isMoving();
        else if (event.startsWith("received "_L1))
            take(event.section(u": "_s, 1).section(u'(', 0, 0));
        else if (event.startsWith("rejected "_L1))
            m_faults.append(event);
    }
}

void PodRecord::take(const QString &command)
{
    ++m_frames;
    for (std::size_t i = 0; i < kMotions.size(); ++i) {
        if (command == kMotions[i].stop) {
            m_running[i] = false;
            m_owing = m_owing && isMoving();
            return;
        }
    }
    if (m_owing)
        m_faults.append(command + u" before the stop that was owed"_s);
    m_owing = false;
    for (std::size_t i = 0; i < kMotions.size(); ++i) {
        if (QString(kMotions[i].starts).split(u' ').contains(command)) {
            m_running[i] = true;
            ++m_motions;
        }
    }
}

bool PodRecord::isMoving() const { return std::ranges::find(m_running, true) != m_running.end(); }
