#include "UpgradeLog.h"

#include <QDebug>
#include <QTime>

namespace upgrade_log {

void logLine(const QString &text)
{
    const QString now = QTime::currentTime().toString(QStringLiteral("hh:mm:ss.zzz"));
    qDebug().noquote().nospace() << '[' << now << "] " << text;
}

void logBytes(QByteArrayView bytes) { logLine(renderBytes(bytes)); }

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
