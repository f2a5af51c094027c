#pragma once

#include <QByteArray>
#include <QByteArrayView>

/// The 7-byte command envelope: sync, address, two command bytes, two data bytes, checksum.
/// Movement and zoom follow the Pelco-D motion bits; everything else is the pod's own set.
namespace protocol {

inline constexpr quint8 kShortSync = 0xFF;
inline constexpr quint8 kPodAddress = 0x01;
inline constexpr qsizetype kShortFrameLength = 7;

namespace short_offset {
inline constexpr qsizetype Sync = 0;
inline constexpr qsizetype Address = 1;
inline constexpr qsizetype Command1 = 2;
inline constexpr qsizetype Command2 = 3;
inline constexpr qsizetype Data1 = 4;
inline constexpr qsizetype Data2 = 5;
inline constexpr qsizetype Checksum = 6;
} // namespace short_offset

/// Sum of bytes 1 to 5 modulo 256; unlike the long frame, the sync byte is not summed.
/// `frame` holds at least the first six bytes.
quint8 shortChecksum(QByteArrayView frame);

QByteArray buildShortFrame(quint8 command1, quint8 command2, quint8 data1, quint8 data2);

} // namespace protocol
