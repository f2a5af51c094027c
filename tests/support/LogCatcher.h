#pragma once

#include <QStringList>

#include <mutex>

/// Collects what is logged while it lives, from every thread, and passes it on. One at a time.
class LogCatcher
{
public:
    LogCatcher()
    {
        const std::lock_guard lock(s_mutex); // others may log at once
        s_lines.clear();
        s_previous = qInstallMessageHandler(collect);
    }
    ~LogCatcher() { qInstallMessageHandler(s_previous); }
    Q_DISABLE_COPY(LogCatcher)

    bool contains(const QString &text) const { return count(text) > 0; }
    qsizetype count(const QString &text) const { return lines().filter(text).size(); }
    QStringList lines() const
    {
        const std::lock_guard lock(s_mutex);
        return s_lines;
    }

private:
    static void collect(QtMsgType type, const QMessageLogContext &context, const QString &text)
    {
        {
            const std::lock_guard lock(s_mutex);
            s_lines.append(text);
        }
        s_previous(type, context, text);
    }

    static inline std::mutex s_mutex;
    static inline QStringList s_lines;
    static inline QtMessageHandler s_previous = nullptr;
};
