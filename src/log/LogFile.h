#pragma once

#include "RotatingFile.h"

#include <QtGlobal>

/// While it lives, what is logged also goes to a file that an operator can send, from every thread:
/// a line each with time and kind, passwords masked. One at a time.
class LogFile
{
public:
    explicit LogFile(const QString &folder, RotatingFile::Bounds bounds = {});
    ~LogFile();
    Q_DISABLE_COPY(LogFile)

    /// Empty where there is none.
    QString path() const { return m_file.path(); }

private:
    static void handle(QtMsgType type, const QMessageLogContext &context, const QString &text);
    void write(QtMsgType type, const QString &text);

    RotatingFile m_file;
};

/// The line with "***" for the password of each address in it.
QString maskedLine(QString line);
