#include "LineCoding.h"

#include "SerialFrame.h"

namespace upgrade {
namespace {

constexpr qsizetype kEnds = 2;   // the first and the last byte stand outside the coding
constexpr qsizetype kDigits = 2; // for every byte between them

bool hasProperEnds(QByteArrayView frame)
{
    return frame.size() >= kEnds
           && (frame.front() == kCommandStart || frame.front() == kResponseStart)
           && frame.back() != kResponseStart;
}

int nibble(char character)
{
    if (character >= '0' && character <= '9')
        return character - '0';
    if (character >= 'A' && character <= 'F')
        return character - 'A' + 10;
    return -1;
}

} // namespace

std::optional<QByteArray> encodeLine(QByteArrayView raw)
{
    if (!hasProperEnds(raw))
        return std::nullopt;
    const QByteArrayView inner = raw.sliced(1, raw.size() - kEnds);
    QByteArray line(kDigits * inner.size() + kEnds, Qt::Uninitialized);
    char *at = line.data();
    *at++ = raw.front();
    for (const char byte : inner) {
        const auto value = static_cast<quint8>(byte);
        *at++ = kHexDigits[value >> 4U];
        *at++ = kHexDigits[value & 0xFU];
    }
    *at = raw.back();
    return line;
}

std::optional<QByteArray> decodeLine(QByteArrayView line)
{
    if (line.size() % 2 != 0 || !hasProperEnds(line))
        return std::nullopt;
    QByteArray raw(line.size() / 2 + 1, Qt::Uninitialized);
    char *at = raw.data();
    *at++ = line.front();
    for (qsizetype i = 1; i < line.size() - 1; i += kDigits) {
        const int high = nibble(line[i]);
        const int low = nibble(line[i + 1]);
        if (high < 0 || low < 0)
            return std::nullopt;
        *at++ = static_cast<char>(high * 16 + low);
    }
    *at = line.back();
    return raw;
}

} // namespace upgrade
