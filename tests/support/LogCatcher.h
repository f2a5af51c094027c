#pragma once

#include <QStringList>

#include <mutex>
#include <vector>

/// Collects what is logged while it lives, from every thread, and passes it on. May be nested.
class LogCatcher
{
public:
    LogCatcher()
    {
        const std::lock_guard lock(s_mutex);
        if (s_catchers.empty())
            s_previous = qInstallMessageHandler(collect);
        s_catchers.push_back(&m_lines);
    }
    ~LogCatcher()
    {
        const std::lock_guard lock(s_mutex);
        std::erase(s_catchers, &m_lines);
        if (s_catchers.empty())
            qInstallMessageHandler(s_previous);
    }
    Q_DISABLE_COPY(LogCatcher)

    bool contains(const QString &text) const { return count(text) > 0; }
    qsizetype count(const QString &text) const { return lines().filter(text).size(); }
    QStringList lines() const
    {
        const std::lock_guard lock(s_mutex);
        return m_lines;
    }

private:
    static void collect(QtMsgType type, const QMessageLogContext &context, const QString &text)
    {
        {
            const std::lock_guard lock(s_mutex);
            for (QStringList *lines : s_catchers)
                lines->append(text);
        }
        s_previous(type, context, text);
    }

    static inline std::mutex s_mutex;
    static inline std::vector<QStringList *> s_catchers; // of everyone who listens
    static inline QtMessageHandler s_previous = nullptr;
    QStringList m_lines;
};
