#pragma once

#include <QString>
#include <QStringList>

class Simulator;

/// The lines that the fault port understands. Each is a few words; the answer begins with "ok" or
/// "error".
namespace faults {

QString execute(Simulator &simulator, const QString &line);

} // namespace faults
