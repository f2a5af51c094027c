#include "YModemBlocks.h"

#include "Crc16.h"

#include <algorithm>

namespace ymodem {
namespace {

// The first bytes of a UTF-8 text, at most `limit`, without half a character at the end.
QByteArrayView cutUtf8(QByteArrayView text, qsizetype limit)
{
    if (text.size() <= limit)
        return text;
    const auto continuesCharacter = [](char byte) { return (quint8(byte) & 0xC0U) == 0x80U; };
    qsizetype length = limit;
    while (length > 0 && continuesCharacter(text[length]))
        --length;
    return text.first(length);
}

QByteArray frame(qsizetype number, QByteArrayView content, qsizetype payloadSize, char filler)
{
    const auto low = static_cast<quint8>(number);
    QByteArray block(payloadSize + kOverhead, filler);
    char *const bytes = block.data();
    bytes[0] = payloadSize == kShortPayload ? kSoh : kStx;
    bytes[1] = static_cast<char>(low);
    bytes[2] = static_cast<char>(~low);
    std::copy(content.begin(), content.end(), bytes + kPrefix);
    const quint16 crc = crc16(QByteArrayView(bytes + kPrefix, payloadSize));
    bytes[kPrefix + payloadSize] = static_cast<char>(crc >> 8);
    bytes[kPrefix + payloadSize + 1] = static_cast<char>(crc);
    return block;
}

} // namespace

qsizetype dataBlockCount(qsizetype fileSize, qsizetype payloadSize)
{
    return (fileSize + payloadSize - 1) / payloadSize;
}

QByteArray headerBlock(const QString &fileName, qsizetype fileSize)
{
    const QByteArray size = QByteArray::number(fileSize);
    const QByteArray name = fileName.toUtf8();
    QByteArray content = cutUtf8(name, kShortPayload - size.size() - 2).toByteArray();
    content += '\0';
    content += size;
    return frame(0, content, kShortPayload, '\0');
}

QByteArray dataBlock(QByteArrayView file, qsizetype number, qsizetype payloadSize)
{
    const qsizetype start = std::min((number - 1) * payloadSize, file.size());
    const qsizetype length = std::min(payloadSize, file.size() - start);
    return frame(number, file.sliced(start, length), payloadSize, kPadding);
}

QByteArray nullHeaderBlock() { return frame(0, {}, kShortPayload, '\0'); }

} // namespace ymodem
