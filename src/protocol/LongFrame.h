#pragma once

#include <QByteArray>
#include <QByteArrayView>

/// The variable-length envelope of both directions: sync, type, total length, payload, checksum.
namespace protocol {

inline constexpr quint8 kLongSync = 0xEE;

namespace long_offset {
inline constexpr qsizetype Sync = 0;
inline constexpr qsizetype Type = 1;
inline constexpr qsizetype Length = 2;
inline constexpr qsizetype Payload = 3;
} // namespace long_offset

/// Bytes of a long frame that are not payload: header and checksum.
inline constexpr qsizetype kLongOverhead = long_offset::Payload + 1;

/// Sum of every byte but the last, modulo 256; unlike the short frame, the sync byte is summed.
/// `frame` is the whole frame, its last byte being the checksum's place.
quint8 longChecksum(QByteArrayView frame);

/// The payload may hold at most 251 bytes, so that the total fits the length byte.
QByteArray buildLongFrame(quint8 type, QByteArrayView payload);

} // namespace protocol
