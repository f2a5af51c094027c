#include "SettingFrames.h"

#include "Bytes.h"
#include "CommandCatalogue.h"
#include "LongFrame.h"
#include "ShortFrame.h"

#include <QVarLengthArray>

namespace protocol {
namespace {

/// On the stack: the frame is to be the only allocation.
using Payload = QVarLengthArray<char, 64>;

void appendAngle(Payload &payload, int degrees)
{
    // Unsigned arithmetic wraps where the signed product could overflow.
    const quint32 tenths = static_cast<quint32>(degrees) * kAngleUnitsPerDegree;
    payload.append(static_cast<char>(tenths & 0xFFU));
    payload.append(static_cast<char>((tenths >> 8U) & 0xFFU));
}

} // namespace

std::optional<QByteArray> buildListCommand(const LongCommandSpec &spec, const QVariantList &list)
{
    if (list.size() < spec.payloadLength)
        return std::nullopt;
    Payload payload;
    for (qsizetype i = 0; i < spec.payloadLength; ++i)
        payload.append(static_cast<char>(list.at(i).toInt() & 0xFF));
    return buildLongFrame(spec.type, payload);
}

QByteArray buildSetTime(const QDateTime &local)
{
    const QDate date = local.date();
    const QTime time = local.time();
    Payload payload;
    for (const int value : {date.year() - kClockEpochYear, date.month(), date.day(), time.hour(),
                            time.minute(), time.second()})
        payload.append(static_cast<char>(value & 0xFF));
    return buildLongFrame(kSetTime.type, payload);
}

QByteArray buildSetPitchYaw(int pitchDegrees, int yawDegrees)
{
    Payload payload;
    appendAngle(payload, pitchDegrees);
    appendAngle(payload, yawDegrees);
    return buildLongFrame(kSetPitchYaw.type, payload);
}

std::string_view commandName(QByteArrayView frame)
{
    if (frame.size() == kShortFrameLength && byteAt(frame, 0) == kShortSync) {
        const CommandSpec *const spec = commandOf(frame);
        return spec ? spec->name : std::string_view();
    }
    for (const LongCommandSpec &spec : {kSetSbus, kSetTime, kSetPitchYaw, kSetB7N})
        if (frame.size() == spec.payloadLength + kLongOverhead
            && byteAt(frame, long_offset::Type) == spec.type)
            return spec.name;
    return {};
}

} // namespace protocol
