#include "Field.h"

#include <QtEndian>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace protocol {
namespace {

template<typename T>
std::pair<double, double> limitsOf()
{
    return {std::numeric_limits<T>::min(), std::numeric_limits<T>::max()};
}

std::pair<double, double> rawRange(Encoding encoding)
{
    switch (encoding) {
    case Encoding::U8:
        return limitsOf<quint8>();
    case Encoding::U16:
        return limitsOf<quint16>();
    case Encoding::I16:
        return limitsOf<qint16>();
    case Encoding::I32:
        return limitsOf<qint32>();
    }
    Q_UNREACHABLE();
}

} // namespace

qint64 readRaw(QByteArrayView frame, const Field &field)
{
    Q_ASSERT(frame.size() >= field.offset + widthOf(field.encoding));
    const char *at = frame.data() + field.offset;
    switch (field.encoding) {
    case Encoding::U8:
        return static_cast<quint8>(*at);
    case Encoding::U16:
        return qFromLittleEndian<quint16>(at);
    case Encoding::I16:
        return qFromLittleEndian<qint16>(at);
    case Encoding::I32:
        return qFromLittleEndian<qint32>(at);
    }
    Q_UNREACHABLE();
}

double readScaled(QByteArrayView frame, const Field &field)
{
    return static_cast<double>(readRaw(frame, field)) * field.scale;
}

void writeScaled(QByteArray &frame, const Field &field, double value)
{
    Q_ASSERT(frame.size() >= field.offset + widthOf(field.encoding));
    const auto [low, high] = rawRange(field.encoding);
    auto raw = static_cast<qint64>(std::clamp(std::round(value / field.scale), low, high));
    char *at = frame.data() + field.offset;
    for (qsizetype i = 0; i < widthOf(field.encoding); ++i, raw >>= 8)
        at[i] = static_cast<char>(raw & 0xFF);
}

} // namespace protocol
