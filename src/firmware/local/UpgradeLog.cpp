#include "UpgradeLog.h"

#include <QDebug>
#include <QLoggingCategory>
#include <QTime>

namespace upgrade_log {
namespace {

// A line costs more to put together than most steps of an upgrade take.
bool isHeard() { return QLoggingCategory::defaultCategory()->isDebugEnabled(); }

} // namespace

void logLine(const QString &text)
{
    if (!isHeard())
        return;
    const QString now = QTime::currentTime().toString(QStringLiteral("hh:mm:ss.zzz"));
    qDebug().noquote().nospace() << '[' << now << "] " << text;
}

void logBytes(QByteArrayView bytes)
{
    if (isHeard())
        logLine(renderBytes(bytes));
}

QString renderBytes(QByteArrayView bytes)
{
    constexpr char kFirstPrintable = 0x20;
    constexpr char kLastPrintable = 0x7E;
    QString text;
    text.reserve(bytes.size());
    for (const char byte : bytes) {
        if (byte >= kFirstPrintable && byte <= kLastPrintable)
            text += QLatin1Char(byte);
        else
            text += QStringLiteral("[0x%1]").arg(quint8(byte), 2, 16, QLatin1Char('0'));
    }
    return text;
}

} // namespace upgrade_log
