#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QDateTime>
#include <QVariantList>

#include <optional>
#include <string_view>

/// The commands that need more than two data bytes and therefore travel in long frames.
namespace protocol {

struct LongCommandSpec
{
    quint8 type;
    qsizetype payloadLength;
    std::string_view name; ///< of the backend's invokable
};

inline constexpr LongCommandSpec kSetSbus = {0x82, 24, "setSbus"};
inline constexpr LongCommandSpec kSetTime = {0x83, 6, "setTime"};
inline constexpr LongCommandSpec kSetPitchYaw = {0x84, 4, "gimbalSetToPitchYaw"};
inline constexpr LongCommandSpec kSetB7N = {0x87, 11, "setB7N"};

/// The year travels as an offset from this one.
inline constexpr int kClockEpochYear = 2000;

/// Angles travel as signed tenths of a degree.
inline constexpr int kAngleUnitsPerDegree = 10;

/// The elements' low 8 bits, in list order; elements beyond the payload are ignored. Nothing when
/// the list is too short to fill the payload.
std::optional<QByteArray> buildListCommand(const LongCommandSpec &spec, const QVariantList &list);

/// `local` is the pod clock's new wall time, to the second.
QByteArray buildSetTime(const QDateTime &local);

/// Degrees; each is multiplied by ten and cut to 16 bits, low byte first.
QByteArray buildSetPitchYaw(int pitchDegrees, int yawDegrees);

/// The name of the backend's invokable that sends such a frame, short or long; empty for no
/// command.
std::string_view commandName(QByteArrayView frame);

} // namespace protocol
