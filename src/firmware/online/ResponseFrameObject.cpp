#include "ResponseFrameObject.h"

#include <array>

namespace {

constexpr qsizetype kLength = 5;

ResponseFrameObject::ResponseStatus statusOf(char byte)
{
    using enum ResponseFrameObject::ResponseStatus;
    for (const auto known : {Accepted, Refused, SendAgain}) {
        if (static_cast<quint8>(byte) == static_cast<quint8>(known))
            return known;
    }
    return Other;
}

} // namespace

QByteArray ResponseFrameObject::toBytes() const
{
    const std::array<char, kLength> raw = {upgrade::kResponseStart, static_cast<char>(index >> 8U),
                                           static_cast<char>(index & 0xFFU),
                                           static_cast<char>(status), upgrade::kFrameEnd};
    return {raw.data(), kLength};
}

bool ResponseFrameObject::fromBytes(const QByteArray &raw)
{
    if (raw.size() != kLength || !raw.startsWith(upgrade::kResponseStart)
        || !raw.endsWith(upgrade::kFrameEnd))
        return false;
    index = upgrade::readSignedLowField(raw[1], raw[2]);
    status = statusOf(raw[3]);
    return true;
}
