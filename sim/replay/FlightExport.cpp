#include "FlightExport.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

#include <algorithm>
#include <array>
#include <optional>
#include <variant>

using namespace Qt::StringLiterals;

namespace flight_export {

namespace {

using Set = klv::UasDatalinkSet;
using Command = Flight::Command;

struct Column
{
    const char *name;
    std::optional<double> Set::*value;
    int digits;
};

constexpr auto kColumns = std::to_array<Column>({
    {"relative_azimuth", &Set::relativeAzimuth, 3},
    {"relative_elevation", &Set::relativeElevation, 3},
    {"relative_roll", &Set::relativeRoll, 3},
    {"slant_range", &Set::slantRange, 2},
    {"target_latitude", &Set::targetLatitude, 7},
    {"target_longitude", &Set::targetLongitude, 7},
    {"target_elevation", &Set::targetElevation, 1},
});

struct Moment
{
    qint64 us;
    std::variant<const Set *, const Command *> what;
};

QList<Moment> momentsOf(const Flight &flight)
{
    QList<Moment> moments;
    for (const Set &set : flight.sets)
        moments.append({qint64(set.timeUs), &set});
    for (const Command &command : flight.commands)
        moments.append({command.timeMs * 1000, &command});
    std::ranges::stable_sort(moments, {}, &Moment::us);
    return moments;
}

QString timeText(qint64 us)
{
    return QDateTime::fromMSecsSinceEpoch(us / 1000).toUTC().toString(Qt::ISODateWithMs);
}

bool hasTarget(const Set &set) { return set.targetLatitude && set.targetLongitude; }

QJsonArray positionOf(const Set &set)
{
    QJsonArray position{*set.targetLongitude, *set.targetLatitude};
    if (set.targetElevation)
        position.append(*set.targetElevation);
    return position;
}

QJsonObject feature(const QJsonValue &geometry, const QJsonObject &properties)
{
    return {{u"type"_s, u"Feature"_s}, {u"geometry"_s, geometry}, {u"properties"_s, properties}};
}

/// A line needs two positions.
void endTrack(QJsonArray &track, QJsonArray &times, QJsonArray &features)
{
    if (!track.isEmpty()) {
        const bool isLine = track.size() > 1;
        const QJsonObject geometry{{u"type"_s, isLine ? u"LineString"_s : u"Point"_s},
                                   {u"coordinates"_s, isLine ? track : track[0].toArray()}};
        features.append(feature(geometry, {{u"kind"_s, u"target"_s}, {u"times"_s, times}}));
    }
    track = {};
    times = {};
}

bool write(const QString &path, const QByteArray &bytes, QString &error)
{
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.commit())
        return true;
    error = u"%1: %2"_s.arg(path, file.errorString());
    return false;
}

} // namespace

QByteArray csvOf(const Flight &flight)
{
    QByteArray text = "time";
    for (const Column &column : kColumns)
        text.append(',').append(column.name);
    text += ",command,bytes\n";
    for (const auto &[us, what] : momentsOf(flight)) {
        const auto *const set = std::get_if<const Set *>(&what);
        text += timeText(us).toUtf8();
        for (const Column &column : kColumns) {
            text += ',';
            if (set && (*set)->*column.value)
                text += QByteArray::number(*((*set)->*column.value), 'f', column.digits);
        }
        const auto *const command = std::get_if<const Command *>(&what);
        text +=
            ',' + (command ? (*command)->name.toUtf8() + ',' + (*command)->bytes.toUtf8() : ",");
        text += '\n';
    }
    return text;
}

QByteArray geoJsonOf(const Flight &flight)
{
    QJsonArray features;
    QJsonArray track;
    QJsonArray times;
    QJsonValue place;
    for (const auto &[us, what] : momentsOf(flight)) {
        if (const auto *const command = std::get_if<const Command *>(&what)) {
            features.append(feature(place, {{u"kind"_s, u"command"_s},
                                            {u"time"_s, timeText(us)},
                                            {u"name"_s, (*command)->name}}));
            continue;
        }
        const Set &set = *std::get<const Set *>(what);
        if (!hasTarget(set)) {
            endTrack(track, times, features);
            continue;
        }
        track.append(positionOf(set));
        times.append(timeText(us));
        place = QJsonObject{{u"type"_s, u"Point"_s}, {u"coordinates"_s, positionOf(set)}};
    }
    endTrack(track, times, features);
    return QJsonDocument(
               QJsonObject{{u"type"_s, u"FeatureCollection"_s}, {u"features"_s, features}})
        .toJson();
}

QStringList writeBeside(const QString &file, QString &error)
{
    const std::optional<Flight> flight = readFlight(file, error);
    if (!flight)
        return {};
    const QString name = nameOfRecording(file);
    QStringList paths{name + u".geojson"_s, name + u".csv"_s};
    if (!write(paths[0], geoJsonOf(*flight), error) || !write(paths[1], csvOf(*flight), error))
        return {};
    return paths;
}

} // namespace flight_export
