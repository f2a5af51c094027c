#pragma once

#include <QByteArray>
#include <QByteArrayView>

/// Numeric fields of long frames: little-endian, at fixed offsets from the frame's first byte.
namespace protocol {

enum class Encoding : quint8 { U8, U16, I16, I32 };

struct Field
{
    qsizetype offset = 0;
    Encoding encoding = Encoding::U8;
    double scale = 1.0; ///< physical units per raw unit
};

constexpr qsizetype widthOf(Encoding encoding)
{
    switch (encoding) {
    case Encoding::U8:
        return 1;
    case Encoding::U16:
    case Encoding::I16:
        return 2;
    case Encoding::I32:
        return 4;
    }
    return 0;
}

/// The frame must reach to the field's end.
qint64 readRaw(QByteArrayView frame, const Field &field);
double readScaled(QByteArrayView frame, const Field &field);

/// Rounds to the nearest raw unit; a value outside the encoding's range takes its nearest end.
void writeScaled(QByteArray &frame, const Field &field, double value);

} // namespace protocol
