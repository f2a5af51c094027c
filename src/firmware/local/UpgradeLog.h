#pragma once

#include <QByteArrayView>
#include <QString>

/// The lines that an upgrade leaves in the debug log, each with the local time of day in front:
/// "[hh:mm:ss.zzz] text".
namespace upgrade_log {

void logLine(const QString &text);

/// Printable ASCII as it is, every other byte as "[0x1a]".
void logBytes(QByteArrayView bytes);

/// What logBytes() writes, without the time.
QString renderBytes(QByteArrayView bytes);

} // namespace upgrade_log
