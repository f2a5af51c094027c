#include "LogQueue.h"

#include <QRegularExpression>

#include <chrono>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

// Set on the writing thread: what fails while writing is not written.
thread_local bool t_isWriter = false;

QLatin1Char letterOf(QtMsgType type)
{
    switch (type) {
    case QtDebugMsg:
        return 'D'_L1;
    case QtInfoMsg:
        return 'I'_L1;
    case QtWarningMsg:
        return 'W'_L1;
    case QtCriticalMsg:
        return 'C'_L1;
    case QtFatalMsg:
        break;
    }
    return 'F'_L1;
}

QByteArray textOf(const LogQueue::Line &line)
{
    return (line.time.toString(u"yyyy-MM-dd hh:mm:ss.zzz"_s) + u' ' + letterOf(line.type) + u' '
            + maskedLine(line.text))
        .toUtf8();
}

} // namespace

QString maskedLine(QString line)
{
    // The password ends at the last "@" of the address as far as a quotation tells its end,
    // otherwise of the line: rather too much is hidden than too little. A port is none.
    static const QRegularExpression userinfo(QStringLiteral(
        R"(("\s*\w+://[^:/?#@"]*:)(?!\d+[/?#])(?:\\.|[^"\\])*@|(\w://[^\s:/?#@]*:)(?!\d+[/?#]).*@)"));
    static const QRegularExpression query(
        QStringLiteral(R"(((?:password|passwd|pass|pwd)=)(?:\\.|[^&\s"\\])*)"),
        QRegularExpression::CaseInsensitiveOption);
    if (line.contains("://"_L1)) // most lines have none, and come often
        line.replace(userinfo, u"\\1\\2***@"_s).replace(query, u"\\1***"_s);
    return line;
}

void LogQueue::add(QtMsgType type, const QString &text)
{
    if (t_isWriter)
        return;
    {
        const std::lock_guard lock(m_mutex);
        if (m_hasEnded)
            return;
        if (m_lines.size() < kMaxWaiting)
            m_lines.append({QDateTime::currentDateTime(), type, text});
        else
            ++m_lost;
    }
    m_changed.notify_all();
}

void LogQueue::waitUntilWritten(int ms)
{
    std::unique_lock lock(m_mutex);
    m_changed.wait_for(lock, std::chrono::milliseconds(ms),
                       [this] { return m_lines.isEmpty() && !m_isWriting; });
}

void LogQueue::end()
{
    {
        const std::lock_guard lock(m_mutex);
        m_hasEnded = true;
    }
    m_changed.notify_all();
}

bool LogQueue::take(QList<Line> &lines, qint64 &lost)
{
    std::unique_lock lock(m_mutex);
    m_isWriting = false;
    m_changed.notify_all();
    m_changed.wait(lock, [this] { return !m_lines.isEmpty() || m_hasEnded; });
    lines = std::exchange(m_lines, {});
    lost = std::exchange(m_lost, 0);
    m_isWriting = !lines.isEmpty();
    return m_isWriting;
}

void LogQueue::write(const QString &folder, RotatingFile::Bounds bounds)
{
    RotatingFile file(folder, bounds);
    if (file.path().isEmpty()) {
        qWarning() << "no log file can be written in" << folder;
        end();
        const std::lock_guard lock(m_mutex);
        m_lines.clear();
        m_isWriting = false;
        return;
    }
    t_isWriter = true;
    QList<Line> lines;
    qint64 lost = 0;
    while (take(lines, lost)) {
        for (const Line &line : std::as_const(lines))
            file.write(textOf(line));
        if (lost > 0)
            file.write(QByteArray::number(lost) + " lines are missing here");
    }
}
