#pragma once

#include <QLoggingCategory>

/// The category of qDebug(), for lines on hot paths: qCDebug(defaultLog) writes the same, and
/// neither computes nor formats anything while debug output is off.
inline const QLoggingCategory &defaultLog() { return *QLoggingCategory::defaultCategory(); }
