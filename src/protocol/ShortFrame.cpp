#include "ShortFrame.h"

namespace protocol {

quint8 shortChecksum(QByteArrayView frame)
{
    quint32 sum = 0;
    for (qsizetype i = short_offset::Address; i < short_offset::Checksum; ++i)
        sum += static_cast<quint8>(frame[i]);
    return static_cast<quint8>(sum & 0xFFU);
}

QByteArray buildShortFrame(quint8 command1, quint8 command2, quint8 data1, quint8 data2)
{
    QByteArray frame(kShortFrameLength, Qt::Uninitialized);
    char *bytes = frame.data();
    bytes[short_offset::Sync] = static_cast<char>(kShortSync);
    bytes[short_offset::Address] = static_cast<char>(kPodAddress);
    bytes[short_offset::Command1] = static_cast<char>(command1);
    bytes[short_offset::Command2] = static_cast<char>(command2);
    bytes[short_offset::Data1] = static_cast<char>(data1);
    bytes[short_offset::Data2] = static_cast<char>(data2);
    bytes[short_offset::Checksum] = static_cast<char>(shortChecksum(frame));
    return frame;
}

} // namespace protocol
