#pragma once

#include "LogQueue.h"

#include <QtGlobal>

#include <memory>

class Gate;

/// While it lives, what is logged also goes to a file that an operator can send, from every thread:
/// a line each with time and kind, passwords masked. A thread of its own writes; nobody who logs
/// waits for the disk, except for the last words of a program that fails. One at a time.
class LogFile
{
public:
    explicit LogFile(const QString &folder, RotatingFile::Bounds bounds = {});
    /// Waits at most kEndMs for what is not in the file yet.
    ~LogFile();
    Q_DISABLE_COPY(LogFile)

    static constexpr int kEndMs = 500;

private:
    static void handle(QtMsgType type, const QMessageLogContext &context, const QString &text);

    const std::shared_ptr<LogQueue> m_lines = std::make_shared<LogQueue>();
    std::shared_ptr<Gate> m_isWritten;
};
