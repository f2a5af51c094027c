#pragma once

#include "SerialFrame.h"

#include <QByteArrayView>

/// A command, from either side: '~', type, two 16-bit values (high byte first), data length minus
/// one, data, checksum, carriage return. There is always at least one data byte: empty data
/// travels as a single zero and is read back as such.
class CommandFrameObject : public SerialFrame
{
public:
    /// What the length byte can express.
    static constexpr qsizetype kDataMax = 256;

    quint8 type = 0;
    quint16 firstValue = 0;  ///< total of chunks in a firmware transfer
    quint16 secondValue = 0; ///< 1-based chunk index in a firmware transfer
    QByteArray data;

    /// Empty when the data is longer than kDataMax.
    QByteArray toBytes() const override;
    /// Reads the values with a signed low byte (readSignedLowField) and does not verify the
    /// checksum.
    bool fromBytes(const QByteArray &raw) override;

    FrameType frameType() const override { return FrameType::Command; }
};

namespace upgrade {

/// The two's complement of the sum of the upper-case hexadecimal characters that `bytes` become
/// on the line; `bytes` reach from the type to the last data byte.
quint16 commandChecksum(QByteArrayView bytes);

} // namespace upgrade
