#pragma once

#include <QStringList>

namespace bench {

/// Puts tables of the medians, and plots, into performance.md and images/ of the folder `docs`.
/// Files whose names end in ".trace" hold the time and latency of every picture of one run, all
/// others the lines of compare_players. False when one cannot be read or written.
bool writeReport(const QStringList &files, const QString &docs);

} // namespace bench
