#include "FlightEvents.h"

#include "protocol/SettingFrames.h"

#include <QDateTime>
#include <QJsonDocument>

#include <utility>

namespace recording {

klv::UasDatalinkSet geometryOf(const protocol::StatusFrame &status, const QString &version,
                               qint64 timeMs)
{
    klv::UasDatalinkSet set;
    set.timeUs = quint64(timeMs) * 1000;
    set.platform = version;
    set.sensor = version.section(u'-', 1, 1);
    set.relativeAzimuth = status.yaw;
    set.relativeElevation = status.pitch;
    set.relativeRoll = status.roll;
    if (status.laserDistance > 0)
        set.slantRange = status.laserDistance;
    if (status.targetLatitude != 0 || status.targetLongitude != 0) {
        set.targetLatitude = status.targetLatitude;
        set.targetLongitude = status.targetLongitude;
        set.targetElevation = status.targetAltitude;
    }
    return set;
}

QByteArray eventLine(qint64 timeMs, const QString &event, QJsonObject particulars)
{
    particulars[QStringLiteral("time")] =
        QDateTime::fromMSecsSinceEpoch(timeMs).toUTC().toString(Qt::ISODateWithMs);
    particulars[QStringLiteral("event")] = event;
    return QJsonDocument(particulars).toJson(QJsonDocument::Compact);
}

QJsonObject particularsOf(const QByteArray &frame)
{
    const std::string_view name = protocol::commandName(frame);
    return {{QStringLiteral("name"), QString::fromLatin1(name.data(), qsizetype(name.size()))},
            {QStringLiteral("bytes"), QString::fromLatin1(frame.toHex(' '))}};
}

QJsonObject particularsOf(const protocol::StatusFrame &status)
{
    QJsonObject particulars{
        {QStringLiteral("yaw"), status.yaw},
        {QStringLiteral("pitch"), status.pitch},
        {QStringLiteral("roll"), status.roll},
        {QStringLiteral("range"), status.laserDistance},
        {QStringLiteral("latitude"), status.targetLatitude},
        {QStringLiteral("longitude"), status.targetLongitude},
        {QStringLiteral("altitude"), status.targetAltitude},
        {QStringLiteral("tracking"), status.tracking},
        {QStringLiteral("zoomStep"), status.zoomStep},
    };
    if (status.camera) {
        particulars[QStringLiteral("zoom")] = status.camera->zoomRatio;
        particulars[QStringLiteral("podRecording")] = status.camera->recording;
        particulars[QStringLiteral("mode")] = status.camera->workMode;
    }
    return particulars;
}

} // namespace recording
