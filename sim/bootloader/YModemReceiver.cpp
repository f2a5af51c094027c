#include "YModemReceiver.h"

#include "firmware/local/Crc16.h"
#include "firmware/local/YModemBlocks.h"
#include "protocol/Bytes.h"

#include <algorithm>

using namespace ymodem;
using protocol::byteAt;

namespace {

constexpr qsizetype kSizeMax = qsizetype(64) * 1024 * 1024; // bytes of flash

bool isAll(QByteArrayView bytes, char value)
{
    return std::ranges::all_of(bytes, [value](char byte) { return byte == value; });
}

} // namespace

YModemReceiver::YModemReceiver(Header header)
    : m_manner(header)
{
}

QList<YModemReceiver::Reply> YModemReceiver::feed(QByteArrayView bytes)
{
    QList<Reply> replies;
    m_pending.append(bytes);
    while (!m_pending.isEmpty()) {
        const qsizetype length = unitLength();
        if (length == 0) {
            reject(QStringLiteral("0x%1 starts no block")
                       .arg(byteAt(m_pending, 0), 2, 16, QLatin1Char('0')),
                   replies);
            break;
        }
        if (m_pending.size() < length)
            break;
        const QByteArray unit = m_pending.first(length);
        m_pending.remove(0, length);
        takeUnit(unit, replies);
    }
    return replies;
}

qsizetype YModemReceiver::unitLength() const
{
    switch (m_pending.front()) {
    case kSoh:
        return kShortPayload + kOverhead;
    case kStx:
        return kLongPayload + kOverhead;
    case kEot:
        return 1;
    default:
        return 0;
    }
}

void YModemReceiver::takeUnit(QByteArrayView unit, QList<Reply> &replies)
{
    if (unit.front() == kEot)
        takeEot(replies);
    else
        takeBlock(unit, replies);
}

void YModemReceiver::takeEot(QList<Reply> &replies)
{
    if (m_stage == Stage::Data && m_image.size() >= m_size) {
        m_stage = Stage::SecondEot;
        replies.append({BootMoment::FirstEot, kNak});
    } else if (m_stage == Stage::SecondEot) {
        m_stage = Stage::NullHeader;
        replies.append({BootMoment::SecondEot, kAck});
        replies.append({BootMoment::FinalRequest, kCrcRequest});
    } else {
        reject(QStringLiteral("EOT before the end"), replies);
    }
}

void YModemReceiver::takeBlock(QByteArrayView block, QList<Reply> &replies)
{
    const quint8 low = byteAt(block, 1);
    const QByteArrayView payload = block.sliced(kPrefix, block.size() - kOverhead);
    const int crc = byteAt(block, block.size() - 2) << 8 | byteAt(block, block.size() - 1);
    if (low + byteAt(block, 2) != 0xFF)
        return reject(QStringLiteral("block number and complement differ"), replies);
    if (crc != crc16(payload))
        return reject(QStringLiteral("CRC of block %1").arg(low), replies);

    switch (m_stage) {
    case Stage::Header:
        return low == 0
                   ? takeHeader(payload, replies)
                   : reject(QStringLiteral("block %1 instead of the header").arg(low), replies);
    case Stage::Data:
        return takeData(payload, low, replies);
    case Stage::NullHeader:
        return takeNullHeader(payload, replies);
    default:
        return reject(QStringLiteral("block %1 after the end").arg(low), replies);
    }
}

void YModemReceiver::takeHeader(QByteArrayView payload, QList<Reply> &replies)
{
    const QString problem = readHeader(payload);
    if (!problem.isEmpty())
        return reject(problem, replies);
    m_stage = Stage::Data;
    replies.append({BootMoment::Header, kAck});
    replies.append({BootMoment::Ready, kCrcRequest});
}

QString YModemReceiver::readHeader(QByteArrayView payload)
{
    if (payload.size() != kShortPayload)
        return QStringLiteral("the header is no short block");
    const qsizetype nameEnd = payload.indexOf('\0');
    const qsizetype sizeEnd = nameEnd < 0 ? -1 : payload.indexOf('\0', nameEnd + 1);
    if (nameEnd <= 0 || sizeEnd < 0)
        return QStringLiteral("the header lacks name or size");
    m_name = QString::fromUtf8(payload.first(nameEnd));
    if (m_name.contains(QChar::ReplacementCharacter))
        return QStringLiteral("the name is not UTF-8");
    if (m_manner == Header::NameAndSize && !isAll(payload.sliced(sizeEnd), '\0'))
        return QStringLiteral("the header has more than name and size");

    QByteArrayView size = payload.sliced(nameEnd + 1, sizeEnd - nameEnd - 1);
    if (m_manner == Header::MoreFields && size.contains(' '))
        size = size.first(size.indexOf(' '));
    const auto isDigit = [](char byte) { return byte >= '0' && byte <= '9'; };
    m_size = size.toByteArray().toLongLong();
    if (!std::ranges::all_of(size, isDigit) || m_size <= 0 || m_size > kSizeMax)
        return QStringLiteral("the header's size makes no sense");
    return {};
}

void YModemReceiver::takeData(QByteArrayView payload, int low, QList<Reply> &replies)
{
    const int previous = m_nextBlock - 1;
    if (low == (previous & 0xFF)) {
        if (previous > 0) {
            replies.append({BootMoment::Block, kAck, previous});
        } else {
            replies.append({BootMoment::Header, kAck});
            replies.append({BootMoment::Ready, kCrcRequest});
        }
        return;
    }
    const qsizetype left = m_size - m_image.size();
    if (low != (m_nextBlock & 0xFF))
        return reject(QStringLiteral("block %1 instead of %2").arg(low).arg(m_nextBlock), replies);
    if (left <= 0)
        return reject(QStringLiteral("block %1 is behind the file").arg(m_nextBlock), replies);
    if (left < payload.size() && !isAll(payload.sliced(left), kPadding))
        return reject(QStringLiteral("padding"), replies);
    m_image.append(payload);
    replies.append({BootMoment::Block, kAck, m_nextBlock});
    ++m_nextBlock;
}

void YModemReceiver::takeNullHeader(QByteArrayView payload, QList<Reply> &replies)
{
    const bool isEmpty = m_manner == Header::NameAndSize
                             ? payload.size() == kShortPayload && isAll(payload, '\0')
                             : payload.front() == '\0';
    if (!isEmpty)
        return reject(QStringLiteral("the closing header is not empty"), replies);
    m_stage = Stage::Complete;
    replies.append({BootMoment::NullHeader, kAck});
}

void YModemReceiver::reject(const QString &reason, QList<Reply> &replies)
{
    m_pending.clear();
    m_rejections.append(reason);
    replies.append({currentMoment(), kNak, m_nextBlock});
}

BootMoment YModemReceiver::currentMoment() const
{
    switch (m_stage) {
    case Stage::Header:
        return BootMoment::Header;
    case Stage::Data:
        return BootMoment::Block;
    case Stage::SecondEot:
        return BootMoment::SecondEot;
    default:
        return BootMoment::NullHeader;
    }
}
