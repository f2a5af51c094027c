#include "LogFile.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QRegularExpression>
#include <QSysInfo>

#include <mutex>

using namespace Qt::StringLiterals;

namespace {

std::mutex s_mutex; // guards the next two
LogFile *s_current = nullptr;
QtMessageHandler s_previous = nullptr;
thread_local bool t_isWriting = false; // what fails while writing is not written

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

LogFile::LogFile(const QString &folder, RotatingFile::Bounds bounds)
    : m_file(folder, bounds)
{
    if (path().isEmpty()) {
        qWarning() << "no log file can be written in" << folder;
        return;
    }
    const std::lock_guard lock(s_mutex);
    s_current = this;
    s_previous = qInstallMessageHandler(handle);
    write(QtInfoMsg, u"podconsole starts; Qt %1, %2, %3"_s.arg(
                         QLatin1StringView(qVersion()), QSysInfo::prettyProductName(),
                         QDateTime::currentDateTime().timeZoneAbbreviation()));
}

LogFile::~LogFile()
{
    if (path().isEmpty())
        return;
    qInstallMessageHandler(s_previous);
    const std::lock_guard lock(s_mutex);
    s_current = nullptr;
}

void LogFile::handle(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    std::unique_lock lock(s_mutex, std::defer_lock);
    if (!t_isWriting) {
        lock.lock();
        t_isWriting = true;
        if (s_current != nullptr)
            s_current->write(type, text);
        t_isWriting = false;
    }
    const QtMessageHandler previous = s_previous;
    if (lock.owns_lock())
        lock.unlock();
    previous(type, context, text);
}

void LogFile::write(QtMsgType type, const QString &text)
{
    const QString time = QDateTime::currentDateTime().toString(u"yyyy-MM-dd hh:mm:ss.zzz"_s);
    m_file.write((time + u' ' + letterOf(type) + u' ' + maskedLine(text)).toUtf8());
}
