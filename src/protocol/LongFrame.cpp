#include "LongFrame.h"

#include <algorithm>

namespace protocol {

quint8 longChecksum(QByteArrayView frame)
{
    quint32 sum = 0;
    for (qsizetype i = 0; i < frame.size() - 1; ++i)
        sum += static_cast<quint8>(frame[i]);
    return static_cast<quint8>(sum & 0xFFU);
}

QByteArray buildLongFrame(quint8 type, QByteArrayView payload)
{
    const qsizetype length = payload.size() + kLongOverhead;
    Q_ASSERT(length <= 0xFF);
    QByteArray frame(length, Qt::Uninitialized);
    char *bytes = frame.data();
    bytes[long_offset::Sync] = static_cast<char>(kLongSync);
    bytes[long_offset::Type] = static_cast<char>(type);
    bytes[long_offset::Length] = static_cast<char>(length);
    std::copy(payload.begin(), payload.end(), bytes + long_offset::Payload);
    bytes[length - 1] = static_cast<char>(longChecksum(frame));
    return frame;
}

} // namespace protocol
