#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

/// The blocks of a YModem transfer. Each is a start byte, the block number modulo 256, its
/// complement, the payload and the payload's CRC-16, high byte first.
namespace ymodem {

inline constexpr char kSoh = 0x01; ///< starts a block of kShortPayload bytes
inline constexpr char kStx = 0x02; ///< starts a block of kLongPayload bytes
inline constexpr char kEot = 0x04;
inline constexpr char kAck = 0x06;
inline constexpr char kNak = 0x15;
inline constexpr char kCrcRequest = 'C';
inline constexpr char kPadding = 0x1A; ///< behind the file's end in the last data block

inline constexpr qsizetype kShortPayload = 128;
inline constexpr qsizetype kLongPayload = 1024;
inline constexpr qsizetype kPrefix = 3;   ///< start byte, number, complement
inline constexpr qsizetype kOverhead = 5; ///< the prefix and the CRC

/// How many data blocks of `payloadSize` bytes a file takes.
qsizetype dataBlockCount(qsizetype fileSize, qsizetype payloadSize);

/// Block 0: the name in UTF-8, a zero, the size in decimal digits, a zero, zeros to the end. A name
/// that would push the size out of the block loses its end, by whole characters.
QByteArray headerBlock(const QString &fileName, qsizetype fileSize);

/// Data block `number`, from 1, with `payloadSize` kShortPayload or kLongPayload. The payload is
/// taken straight out of `file`, the whole of the firmware.
QByteArray dataBlock(QByteArrayView file, qsizetype number, qsizetype payloadSize);

/// The header without a name that closes the session.
QByteArray nullHeaderBlock();

} // namespace ymodem
