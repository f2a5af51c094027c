#include "Recording.h"

#include "Flight.h"

#include <QFileInfo>

#include <algorithm>
#include <cmath>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

using klv::UasDatalinkSet;

constexpr qint64 kLastPictureUs = 40'000; // how long it is shown
constexpr qint64 kGapMaxUs = 10'000'000;  // of what is missing between two files, or two sets
constexpr double kRangeMax = 6553.5;      // metres, of a status frame

struct TimedSet
{
    qint64 us;
    UasDatalinkSet set;
};

struct PartContent
{
    AVCodecID codec = AV_CODEC_ID_NONE;
    QList<PartReader::Key> keys;
    QList<TimedSet> sets;
    qint64 endUs = 0;
};

/// Sets that share their packets' time are told apart by their own: while no picture comes, a
/// recording has no other.
void addSet(QList<TimedSet> &sets, qint64 us, const UasDatalinkSet &set)
{
    if (!sets.isEmpty()) {
        const TimedSet &last = sets.last();
        const auto step = qint64(set.timeUs - last.set.timeUs);
        if (us <= last.us)
            us = last.us + (step > 0 && step < kGapMaxUs ? step : 0);
    }
    sets.append({us, set});
}

void readPackets(PartReader &reader, PartContent &content)
{
    // A picture is complete when the next begins: sets beside the first come ahead of it.
    QList<std::pair<std::optional<qint64>, UasDatalinkSet>> early;
    for (auto kind = reader.next(); kind != PartReader::Kind::End; kind = reader.next()) {
        const bool isPicture = kind == PartReader::Kind::Picture;
        for (const UasDatalinkSet &set : isPicture ? QList<UasDatalinkSet>() : reader.sets()) {
            if (reader.hasBegun())
                addSet(content.sets, reader.us(), set);
            else
                early.append({reader.fileTime(), set});
        }
        if (!isPicture)
            continue;
        for (const auto &[fileUs, set] : std::exchange(early, {}))
            addSet(content.sets, reader.usOf(fileUs), set);
        content.endUs = reader.us() + kLastPictureUs;
        if (const auto key = reader.key())
            content.keys.append(*key);
    }
}

bool readPart(const QString &file, PartContent &content, QString &error)
{
    PartReader reader;
    if (!reader.open(file, error))
        return false;
    if (!reader.file().isTransportStream()) {
        error = u"%1: not an MPEG transport stream"_s.arg(file);
        return false;
    }
    readPackets(reader, content);
    if (!content.keys.isEmpty())
        content.codec = reader.codec();
    else
        error = u"%1: no video of H.264 or H.265, but %2"_s.arg(file, reader.file().codecNames());
    if (!content.sets.isEmpty())
        content.endUs = std::max(content.endUs, content.sets.last().us);
    return true;
}

/// The angles have no value that says that they are not known: they stay as told last.
void takeSet(protocol::StatusFrame &status, const UasDatalinkSet &set)
{
    constexpr double kFullCircle = 360;
    if (set.relativeAzimuth)
        status.yaw = std::remainder(*set.relativeAzimuth, kFullCircle);
    if (set.relativeElevation)
        status.pitch = *set.relativeElevation;
    if (set.relativeRoll)
        status.roll = std::remainder(*set.relativeRoll, kFullCircle);
    const double range = set.slantRange.value_or(0);
    status.laserDistance = range > kRangeMax ? 0 : range;
    const bool hasTarget = set.targetLatitude && set.targetLongitude;
    const auto latitude = hasTarget ? set.targetLatitude : set.centreLatitude;
    const auto longitude = hasTarget ? set.targetLongitude : set.centreLongitude;
    const auto altitude = hasTarget ? set.targetElevation : set.centreElevation;
    const bool hasPlace = latitude && longitude;
    status.targetLatitude = hasPlace ? *latitude : 0;
    status.targetLongitude = hasPlace ? *longitude : 0;
    status.targetAltitude = hasPlace ? int(std::lround(altitude.value_or(0))) : 0;
}

/// What the sets have no items for, as the log tells it.
void takeLog(protocol::StatusFrame &status, const protocol::StatusFrame &logged)
{
    status.zoomStep = logged.zoomStep;
    status.tracking = logged.tracking;
    status.camera = logged.camera;
}

bool tellsOfStatus(const UasDatalinkSet &set)
{
    return set.relativeAzimuth || set.relativeElevation || set.relativeRoll || set.slantRange
           || set.targetLatitude || set.centreLatitude;
}

/// Follows the sets, and the log by their times.
class StatusTrack
{
public:
    explicit StatusTrack(const QList<Flight::Status> &log)
        : m_log(log)
    {
    }

    void add(qint64 us, const UasDatalinkSet &set, Recording &recording)
    {
        if (recording.version.isEmpty())
            recording.version = set.platform;
        if (!tellsOfStatus(set))
            return;
        for (; m_next < m_log.size() && m_log[m_next].timeMs <= qint64(set.timeUs / 1000); ++m_next)
            takeLog(m_status, m_log[m_next].status);
        takeSet(m_status, set);
        recording.moments.append({us, m_status});
    }

private:
    const QList<Flight::Status> &m_log;
    qsizetype m_next = 0;
    protocol::StatusFrame m_status;
};

/// What is missing before a part takes its time, as far as the sets tell of it.
qint64 gapBefore(const PartContent &part, const TimedSet *last, qint64 endUs)
{
    if (!last || part.sets.isEmpty())
        return 0;
    const TimedSet &first = part.sets.first();
    const qint64 begin = last->us + qint64(first.set.timeUs - last->set.timeUs) - first.us;
    return std::clamp(begin - endUs, qint64(0), kGapMaxUs);
}

QString lacksOf(const Recording &recording, const QString &error)
{
    if (recording.keys.isEmpty())
        return error + u": the telemetry alone"_s;
    return recording.moments.isEmpty() ? u"no telemetry in it: the video alone"_s : QString();
}

} // namespace

std::optional<Recording> readRecording(const QString &file, QString &error)
{
    Recording recording;
    Flight log;
    readLogOf(file, log);
    StatusTrack track(log.statuses);
    std::optional<TimedSet> last;
    for (const QString &path : filesOfRecording(file)) {
        PartContent content;
        if (!readPart(path, content, error))
            return std::nullopt;
        const qint64 begin = recording.durationUs
                             + gapBefore(content, last ? &*last : nullptr, recording.durationUs);
        for (const PartReader::Key &key : content.keys)
            recording.keys.append({recording.parts.size(), key, begin + key.us});
        for (const TimedSet &set : content.sets) {
            track.add(begin + set.us, set.set, recording);
            last = {begin + set.us, set.set};
        }
        recording.parts.append({path, content.codec, begin});
        recording.durationUs = begin + content.endUs;
    }
    if (recording.keys.isEmpty() && recording.moments.isEmpty()) {
        error += u", and no telemetry"_s;
        return std::nullopt;
    }
    recording.lacks = lacksOf(recording, error);
    return recording;
}
