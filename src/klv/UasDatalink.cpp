#include "UasDatalink.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace klv {

namespace {

const QByteArrayView kKey("\x06\x0E\x2B\x34\x02\x0B\x01\x01\x0E\x01\x03\x01\x01\x00\x00\x00", 16);

constexpr quint8 kChecksumTag = 1;
constexpr quint8 kTimeTag = 2;
constexpr quint8 kVersionTag = 65;
constexpr char kVersion = 17;

constexpr qsizetype kTextMax = 127;
constexpr qsizetype kTimeBytes = 8;
constexpr qsizetype kChecksumBytes = 2;
constexpr qsizetype kChecksumItemBytes = kChecksumBytes + 2;
constexpr unsigned kLongForm = 0x80; // of a length or of a tag

struct TextItem
{
    quint8 tag;
    QString UasDatalinkSet::*text;
};

constexpr std::array<TextItem, 2> kTexts = {{
    {10, &UasDatalinkSet::platform},
    {11, &UasDatalinkSet::sensor},
}};

enum class Scale : quint8 {
    Range,    ///< from least to most over all values
    Turn,     ///< the same, of an angle that starts again at most
    Balanced, ///< from -most to most; the lowest value means that it is not known
};

struct NumberItem
{
    quint8 tag;
    std::optional<double> UasDatalinkSet::*value;
    int bytes;
    Scale scale;
    double least;
    double most;
};

// In the order in which they are written.
constexpr std::array<NumberItem, 16> kNumbers = {{
    {5, &UasDatalinkSet::platformHeading, 2, Scale::Turn, 0, 360},
    {13, &UasDatalinkSet::sensorLatitude, 4, Scale::Balanced, -90, 90},
    {14, &UasDatalinkSet::sensorLongitude, 4, Scale::Balanced, -180, 180},
    {15, &UasDatalinkSet::sensorAltitude, 2, Scale::Range, -900, 19000},
    {16, &UasDatalinkSet::horizontalView, 2, Scale::Range, 0, 180},
    {17, &UasDatalinkSet::verticalView, 2, Scale::Range, 0, 180},
    {18, &UasDatalinkSet::relativeAzimuth, 4, Scale::Turn, 0, 360},
    {19, &UasDatalinkSet::relativeElevation, 4, Scale::Balanced, -180, 180},
    {20, &UasDatalinkSet::relativeRoll, 4, Scale::Turn, 0, 360},
    {21, &UasDatalinkSet::slantRange, 4, Scale::Range, 0, 5'000'000},
    {23, &UasDatalinkSet::centreLatitude, 4, Scale::Balanced, -90, 90},
    {24, &UasDatalinkSet::centreLongitude, 4, Scale::Balanced, -180, 180},
    {25, &UasDatalinkSet::centreElevation, 2, Scale::Range, -900, 19000},
    {40, &UasDatalinkSet::targetLatitude, 4, Scale::Balanced, -90, 90},
    {41, &UasDatalinkSet::targetLongitude, 4, Scale::Balanced, -180, 180},
    {42, &UasDatalinkSet::targetElevation, 2, Scale::Range, -900, 19000},
}};

qint64 largest(const NumberItem &item)
{
    return (qint64(1) << (8 * item.bytes - (item.scale == Scale::Balanced ? 1 : 0))) - 1;
}

double turned(double angle, double turn)
{
    const double rest = std::fmod(angle, turn);
    return rest < 0 ? rest + turn : rest;
}

std::optional<qint64> toRaw(const NumberItem &item, double value)
{
    if (item.scale == Scale::Turn)
        value = turned(value, item.most);
    if (!(value >= item.least && value <= item.most)) // nor what is no number
        return std::nullopt;
    if (item.scale == Scale::Balanced)
        return std::llround(value / item.most * double(largest(item)));
    return std::llround((value - item.least) / (item.most - item.least) * double(largest(item)));
}

std::optional<double> fromRaw(const NumberItem &item, quint64 raw)
{
    if (item.scale != Scale::Balanced)
        return item.least + double(raw) / double(largest(item)) * (item.most - item.least);
    const quint64 sign = quint64(1) << (8 * item.bytes - 1);
    if (raw == sign)
        return std::nullopt;
    const qint64 number = raw < sign ? qint64(raw) : qint64(raw) - qint64(2 * sign);
    return double(number) / double(largest(item)) * item.most;
}

void appendNumber(QByteArray &bytes, quint64 number, int count)
{
    for (int shift = 8 * (count - 1); shift >= 0; shift -= 8)
        bytes.append(char(number >> shift));
}

quint64 numberIn(QByteArrayView bytes)
{
    quint64 number = 0;
    for (const char byte : bytes)
        number = number << 8 | quint8(byte);
    return number;
}

void appendItem(QByteArray &items, quint8 tag, const QByteArray &value)
{
    items.append(char(tag));
    items.append(char(value.size()));
    items.append(value);
}

/// Cut where a character ends.
QByteArray shortened(const QString &text)
{
    QString kept = text;
    while (kept.toUtf8().size() > kTextMax)
        kept.chop(kept.back().isLowSurrogate() ? 2 : 1);
    return kept.toUtf8();
}

QByteArray lengthOf(qsizetype size)
{
    QByteArray length;
    if (size < qsizetype(kLongForm)) {
        length.append(char(size));
    } else {
        const int count = size < 0x100 ? 1 : 2;
        length.append(char(kLongForm | unsigned(count)));
        appendNumber(length, quint64(size), count);
    }
    return length;
}

/// Over everything up to the checksum itself.
quint16 checksum(QByteArrayView bytes)
{
    quint16 sum = 0;
    for (qsizetype i = 0; i < bytes.size(); ++i)
        sum = quint16(sum + (quint8(bytes[i]) << (i % 2 == 0 ? 8 : 0)));
    return sum;
}

/// Reads from the front of what is left.
class Reader
{
public:
    explicit Reader(QByteArrayView bytes)
        : m_rest(bytes)
    {
    }

    bool isAtEnd() const { return m_rest.isEmpty(); }
    qsizetype left() const { return m_rest.size(); }

    std::optional<QByteArrayView> bytes(quint64 count)
    {
        if (count > quint64(m_rest.size()))
            return std::nullopt;
        const QByteArrayView taken = m_rest.first(qsizetype(count));
        m_rest = m_rest.sliced(qsizetype(count));
        return taken;
    }

    std::optional<quint64> length()
    {
        constexpr unsigned kLengthBytesMax = 4;
        const auto first = bytes(1);
        if (!first)
            return std::nullopt;
        const auto count = unsigned(numberIn(*first));
        if (count < kLongForm)
            return count;
        const auto rest = bytes(count - kLongForm);
        if (!rest || count - kLongForm > kLengthBytesMax)
            return std::nullopt;
        return numberIn(*rest);
    }

    /// Of more than one byte where the first says so.
    std::optional<quint64> tag()
    {
        quint64 tag = 0;
        for (int count = 0; count < 4; ++count) {
            const auto next = bytes(1);
            if (!next)
                break;
            tag = tag << 7 | (numberIn(*next) & (kLongForm - 1));
            if (numberIn(*next) < kLongForm)
                return tag;
        }
        return std::nullopt;
    }

private:
    QByteArrayView m_rest;
};

void take(UasDatalinkSet &set, quint64 tag, QByteArrayView value)
{
    if (tag == kTimeTag && value.size() == kTimeBytes)
        set.timeUs = numberIn(value);
    for (const TextItem &item : kTexts)
        if (item.tag == tag)
            set.*item.text = QString::fromUtf8(value);
    for (const NumberItem &item : kNumbers)
        if (item.tag == tag && item.bytes == value.size())
            set.*item.value = fromRaw(item, numberIn(value));
}

} // namespace

QByteArray encode(const UasDatalinkSet &set)
{
    QByteArray items;
    QByteArray time;
    appendNumber(time, set.timeUs, kTimeBytes);
    appendItem(items, kTimeTag, time);
    for (const TextItem &item : kTexts)
        if (!(set.*item.text).isEmpty())
            appendItem(items, item.tag, shortened(set.*item.text));
    for (const NumberItem &item : kNumbers) {
        const std::optional<double> &value = set.*item.value;
        const auto raw = value ? toRaw(item, *value) : std::nullopt;
        if (!raw)
            continue;
        QByteArray bytes;
        appendNumber(bytes, quint64(*raw), item.bytes);
        appendItem(items, item.tag, bytes);
    }
    appendItem(items, kVersionTag, QByteArray(1, kVersion));

    QByteArray bytes = kKey.toByteArray() + lengthOf(items.size() + kChecksumItemBytes) + items;
    bytes.append(char(kChecksumTag));
    bytes.append(char(kChecksumBytes));
    appendNumber(bytes, checksum(bytes), kChecksumBytes);
    return bytes;
}

std::optional<UasDatalinkSet> decodeUasDatalink(QByteArrayView bytes)
{
    if (!bytes.startsWith(kKey))
        return std::nullopt;
    Reader set(bytes.sliced(kKey.size()));
    const auto length = set.length();
    const auto content = length ? set.bytes(*length) : std::nullopt;
    if (!content || content->size() < kChecksumItemBytes)
        return std::nullopt;
    const QByteArrayView whole = bytes.first(bytes.size() - set.left());
    if (checksum(whole.chopped(kChecksumBytes)) != numberIn(whole.last(kChecksumBytes)))
        return std::nullopt;
    UasDatalinkSet found;
    for (Reader items(*content); !items.isAtEnd();) {
        const auto tag = items.tag();
        const auto size = items.length();
        const auto value = tag && size ? items.bytes(*size) : std::nullopt;
        if (!value)
            return std::nullopt;
        take(found, *tag, *value);
    }
    return found;
}

} // namespace klv
