#pragma once

#include "Flight.h"

#include <QByteArray>

/// The track of a flight for maps and tables.
namespace flight_export {

/// A line for each set and for each command, by their times; the head names the columns. Angles and
/// coordinates in degrees, distances and heights in metres; what is not known stays empty.
QByteArray csvOf(const Flight &flight);

/// RFC 7946: the targets as lines, one for each time without a gap, and the commands as points at
/// the target before them; those before the first have no place.
QByteArray geoJsonOf(const Flight &flight);

/// Writes both beside the recording and returns their paths; none, and a text in `error`, when
/// that fails.
QStringList writeBeside(const QString &file, QString &error);

} // namespace flight_export
