#include "LogCatcher.h"

#include <mutex>
#include <vector>

namespace {

std::mutex s_mutex;
std::vector<QStringList *> s_catchers; // of everyone who listens
QtMessageHandler s_previous = nullptr;

void collect(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    {
        const std::lock_guard lock(s_mutex);
        for (QStringList *lines : s_catchers)
            lines->append(text);
    }
    if (s_previous)
        s_previous(type, context, text);
}

} // namespace

LogCatcher::LogCatcher()
{
    const std::lock_guard lock(s_mutex);
    if (s_catchers.empty())
        s_previous = qInstallMessageHandler(collect);
    s_catchers.push_back(&m_lines);
}

LogCatcher::~LogCatcher()
{
    const std::lock_guard lock(s_mutex);
    std::erase(s_catchers, &m_lines);
    if (s_catchers.empty())
        qInstallMessageHandler(s_previous);
}

QStringList LogCatcher::lines() const
{
    const std::lock_guard lock(s_mutex);
    return m_lines;
}
