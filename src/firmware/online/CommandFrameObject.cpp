#include "CommandFrameObject.h"

namespace {

namespace offset {
constexpr qsizetype Type = 1;
constexpr qsizetype FirstValue = 2;
constexpr qsizetype SecondValue = 4;
constexpr qsizetype Length = 6;
constexpr qsizetype Data = 7;
} // namespace offset

constexpr qsizetype kTrailer = 3; // checksum and carriage return
constexpr qsizetype kOverhead = offset::Data + kTrailer;

void appendField(QByteArray &bytes, quint16 value)
{
    bytes.append(static_cast<char>(value >> 8U));
    bytes.append(static_cast<char>(value & 0xFFU));
}

} // namespace

quint16 upgrade::commandChecksum(QByteArrayView bytes)
{
    quint32 sum = 0;
    for (const char byte : bytes) {
        const auto value = static_cast<quint8>(byte);
        sum += static_cast<quint8>(upgrade::kHexDigits[value >> 4U]);
        sum += static_cast<quint8>(upgrade::kHexDigits[value & 0xFU]);
    }
    return static_cast<quint16>(0x10000U - (sum & 0xFFFFU));
}

QByteArray CommandFrameObject::toBytes() const
{
    if (data.size() > kDataMax)
        return {};
    const QByteArray carried = data.isEmpty() ? QByteArray(1, '\0') : data;

    QByteArray raw;
    raw.reserve(kOverhead + carried.size());
    raw.append(upgrade::kCommandStart);
    raw.append(static_cast<char>(type));
    appendField(raw, firstValue);
    appendField(raw, secondValue);
    raw.append(static_cast<char>(carried.size() - 1));
    raw.append(carried);
    appendField(raw, upgrade::commandChecksum(QByteArrayView(raw).sliced(offset::Type)));
    raw.append(upgrade::kFrameEnd);
    return raw;
}

bool CommandFrameObject::fromBytes(const QByteArray &raw)
{
    if (raw.size() < kOverhead || !raw.startsWith(upgrade::kCommandStart)
        || !raw.endsWith(upgrade::kFrameEnd))
        return false;
    const qsizetype length = static_cast<quint8>(raw[offset::Length]) + 1;
    if (raw.size() != length + kOverhead)
        return false;

    type = static_cast<quint8>(raw[offset::Type]);
    firstValue = upgrade::readSignedLowField(raw[offset::FirstValue], raw[offset::FirstValue + 1]);
    secondValue =
        upgrade::readSignedLowField(raw[offset::SecondValue], raw[offset::SecondValue + 1]);
    data = raw.mid(offset::Data, length);
    return true;
}
