#pragma once

#include <QStringList>

/// Collects what is logged while it lives, from every thread, and passes it on. May be nested.
class LogCatcher
{
public:
    LogCatcher();
    ~LogCatcher();
    LogCatcher(const LogCatcher &) = delete;
    LogCatcher &operator=(const LogCatcher &) = delete;

    bool contains(const QString &text) const { return count(text) > 0; }
    qsizetype count(const QString &text) const { return lines().filter(text).size(); }
    QStringList lines() const;

private:
    QStringList m_lines;
};
