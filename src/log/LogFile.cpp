#include "LogFile.h"

#include "async/BackgroundCall.h"

#include <QDateTime>
#include <QSysInfo>

#include <mutex>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

std::mutex s_mutex; // guards the next two
std::shared_ptr<LogQueue> s_lines;
QtMessageHandler s_previous = nullptr;

} // namespace

LogFile::LogFile(const QString &folder, RotatingFile::Bounds bounds)
    : m_isWritten(
        runInBackground([lines = m_lines, folder, bounds] { lines->write(folder, bounds); }))
{
    m_lines->add(QtInfoMsg, u"podconsole starts; Qt %1, %2, %3"_s.arg(
                                QLatin1StringView(qVersion()), QSysInfo::prettyProductName(),
                                QDateTime::currentDateTime().timeZoneAbbreviation()));
    const std::lock_guard lock(s_mutex);
    s_lines = m_lines;
    s_previous = qInstallMessageHandler(handle);
}

LogFile::~LogFile()
{
    qInstallMessageHandler(s_previous);
    {
        const std::lock_guard lock(s_mutex);
        s_lines.reset();
    }
    m_lines->end();
    m_isWritten->waitBlocking(kEndMs);
}

void LogFile::handle(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    const auto [lines, previous] = [] {
        const std::lock_guard lock(s_mutex);
        return std::pair(s_lines, s_previous);
    }();
    if (lines) {
        lines->add(type, text);
        if (type == QtFatalMsg)
            lines->waitUntilWritten(kEndMs);
    }
    previous(type, context, text);
}
