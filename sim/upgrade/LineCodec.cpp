#include "LineCodec.h"

#include <algorithm>

namespace line_codec {
namespace {

// Positions in the text of a command frame.
constexpr qsizetype kTypeAt = 1;
constexpr qsizetype kDataAt = 13;
constexpr qsizetype kTailLength = 5; // four digits of checksum, carriage return

bool isUpperHex(char c) { return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F'); }

bool isHexBetweenEnds(const QByteArray &line)
{
    return line.size() % 2 == 0
           && std::all_of(line.cbegin() + kTypeAt, line.cend() - 1, isUpperHex);
}

quint16 checksum(const QByteArray &text)
{
    quint16 sum = 0;
    for (const char c : text)
        sum = quint16(sum + quint8(c));
    return quint16(~sum + 1);
}

QByteArray hex(uint value, int digits)
{
    return QByteArray::number(value, 16).toUpper().rightJustified(digits, '0');
}

} // namespace

bool parse(const QByteArray &line, Command &command, QString &error)
{
    if (line.size() < kDataAt + 2 + kTailLength || !isHexBetweenEnds(line)) {
        error = QStringLiteral("not a command frame");
        return false;
    }
    const auto field = [&line](qsizetype at, int digits) {
        return line.mid(at, digits).toUInt(nullptr, 16);
    };
    const qsizetype dataDigits = 2 * (qsizetype(field(11, 2)) + 1);
    if (line.size() != kDataAt + dataDigits + kTailLength) {
        error = QStringLiteral("length byte does not fit");
        return false;
    }
    const QByteArray summed = line.mid(kTypeAt, line.size() - kTypeAt - kTailLength);
    if (checksum(summed) != field(line.size() - kTailLength, 4)) {
        error = QStringLiteral("checksum");
        return false;
    }
    command.type = quint8(field(1, 2));
    command.first = quint16(field(3, 4));
    command.second = quint16(field(7, 4));
    command.data = QByteArray::fromHex(line.mid(kDataAt, dataDigits));
    return true;
}

bool parse(const QByteArray &line, Response &response, QString &error)
{
    if (line.size() != 8 || !isHexBetweenEnds(line)) {
        error = QStringLiteral("not a response frame");
        return false;
    }
    response.index = quint16(line.mid(1, 4).toUInt(nullptr, 16));
    response.status = quint8(line.mid(5, 2).toUInt(nullptr, 16));
    return true;
}

QByteArray build(const Command &command)
{
    const QByteArray text = hex(command.type, 2) + hex(command.first, 4) + hex(command.second, 4)
                            + hex(uint(command.data.size() - 1), 2)
                            + command.data.toHex().toUpper();
    return '~' + text + hex(checksum(text), 4) + '\r';
}

QByteArray build(const Response &response)
{
    return '#' + hex(response.index, 4) + hex(response.status, 2) + '\r';
}

} // namespace line_codec
