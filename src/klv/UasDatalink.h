#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <optional>

/// The geometry beside a picture as most tools of the field read it: MISB ST 0601, the UAS Datalink
/// Local Set.
namespace klv {

/// What is known at one moment; what is not is left out of the set.
struct UasDatalinkSet
{
    quint64 timeUs = 0; ///< since 1970, UTC
    QString platform;   ///< as all texts at most 127 bytes of UTF-8, the rest is cut off
    QString sensor;
    std::optional<double> platformHeading; ///< degrees, as all angles
    std::optional<double> sensorLatitude;
    std::optional<double> sensorLongitude;
    std::optional<double> sensorAltitude; ///< metres, as all heights and distances
    std::optional<double> horizontalView;
    std::optional<double> verticalView;
    std::optional<double> relativeAzimuth; ///< any number of turns
    std::optional<double> relativeElevation;
    std::optional<double> relativeRoll; ///< any number of turns
    std::optional<double> slantRange;
    std::optional<double> centreLatitude;
    std::optional<double> centreLongitude;
    std::optional<double> centreElevation;
    std::optional<double> targetLatitude;
    std::optional<double> targetLongitude;
    std::optional<double> targetElevation;
};

/// A value beyond the range of its item is left out.
QByteArray encode(const UasDatalinkSet &set);

/// The set that `bytes` begin with; nothing where they do not, or where its checksum is wrong.
/// Items that are not known are passed over.
std::optional<UasDatalinkSet> decodeUasDatalink(QByteArrayView bytes);

} // namespace klv
