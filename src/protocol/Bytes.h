#pragma once

#include <QByteArrayView>

namespace protocol {

/// The byte at an offset that lies within the bytes, 0 to 255.
inline quint8 byteAt(QByteArrayView bytes, qsizetype offset)
{
    return static_cast<quint8>(bytes[offset]);
}

} // namespace protocol
