#include "LogCatcher.h"

#include <QtGlobal>

#include <mutex>

namespace {

std::mutex s_mutex;
QStringList s_lines;
QtMessageHandler s_previous = nullptr;

void collect(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    {
        const std::lock_guard lock(s_mutex);
        s_lines.append(text);
    }
    if (s_previous)
        s_previous(type, context, text);
}

} // namespace

LogCatcher::LogCatcher() { s_previous = qInstallMessageHandler(collect); }

LogCatcher::~LogCatcher()
{
    qInstallMessageHandler(s_previous);
    const std::lock_guard lock(s_mutex);
    s_lines.clear();
}

qsizetype LogCatcher::count(const QString &text) const
{
    const std::lock_guard lock(s_mutex);
    return s_lines.filter(text).size();
}

QStringList LogCatcher::lines() const
{
    const std::lock_guard lock(s_mutex);
    return s_lines;
}
