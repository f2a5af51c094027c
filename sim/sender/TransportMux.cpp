#include "TransportMux.h"

#include <algorithm>

namespace {

constexpr char kSyncByte = 0x47;
constexpr int kMapPid = 0x1000;
constexpr int kVideoPid = 0x100;
constexpr qsizetype kHeaderBytes = 4;

quint32 checksum(const QByteArray &section)
{
    constexpr quint32 kPolynomial = 0x04C11DB7;
    quint32 value = 0xFFFFFFFF;
    for (const char byte : section) {
        value ^= quint32(quint8(byte)) << 24U;
        for (int bit = 0; bit < 8; ++bit)
            value = (value << 1U) ^ ((value & 0x80000000U) != 0 ? kPolynomial : 0);
    }
    return value;
}

QByteArray bigEndian(quint64 value, int bytes)
{
    QByteArray text;
    for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8)
        text.append(char(value >> unsigned(shift)));
    return text;
}

/// A table of the programme information, its pointer field ahead of it.
QByteArray table(quint8 id, const QByteArray &content)
{
    QByteArray section = bigEndian(id, 1) + bigEndian(0xB000U | quint64(content.size() + 9), 2)
                         + QByteArray::fromHex("0001c10000") + content;
    section += bigEndian(checksum(section), 4);
    return QByteArray(1, '\0') + section;
}

/// The 33 bits of a time with the marker bits between them.
QByteArray presentationTime(quint64 time)
{
    return bigEndian(0x21U | ((time >> 29U) & 0x0EU), 1)
           + bigEndian(((time >> 14U) & 0xFFFEU) | 1U, 2)
           + bigEndian(((time << 1U) & 0xFFFEU) | 1U, 2);
}

} // namespace

TransportMux::TransportMux(unit_stream::Codec codec, int pesBytes)
    : m_streamType(codec == unit_stream::Codec::H264 ? 0x1B : 0x24)
    , m_pesBytes(pesBytes)
{
}

QByteArray TransportMux::picture(const unit_stream::Picture &units, quint32 time)
{
    QByteArray bytes;
    for (const unit_stream::Unit &unit : units)
        bytes += QByteArray("\0\0\0\1", 4) + unit.bytes;
    QByteArray stream = tables();
    for (qsizetype at = 0; at < bytes.size(); at += m_pesBytes) {
        const QByteArray header = at == 0 ? QByteArray("\x80\x80\x05", 3) + presentationTime(time)
                                          : QByteArray("\x80\0\0", 3);
        addPes(stream, QByteArray("\0\0\1\xe0\0\0", 6) + header + bytes.mid(at, m_pesBytes));
    }
    return stream;
}

QByteArray TransportMux::tables()
{
    const QByteArray map = bigEndian(0xE000U | kVideoPid, 2) + QByteArray::fromHex("f000")
                           + bigEndian(m_streamType, 1) + bigEndian(0xE000U | kVideoPid, 2)
                           + QByteArray::fromHex("f000");
    return packet(0, true, table(0, bigEndian(1, 2) + bigEndian(0xE000U | kMapPid, 2)))
           + packet(kMapPid, true, table(2, map));
}

void TransportMux::addPes(QByteArray &stream, const QByteArray &content)
{
    constexpr qsizetype kRoom = kPacketBytes - kHeaderBytes;
    for (qsizetype at = 0; at < content.size(); at += kRoom)
        stream += packet(kVideoPid, at == 0, content.mid(at, kRoom));
}

QByteArray TransportMux::packet(int pid, bool begins, const QByteArray &payload)
{
    // Tables are filled up behind, video by an adaptation field ahead of it.
    const qsizetype room = kPacketBytes - kHeaderBytes - payload.size();
    const bool pads = pid == kVideoPid && room > 0;
    QByteArray padding;
    if (pads)
        padding = bigEndian(quint64(room - 1), 1)
                  + (room > 1 ? QByteArray(1, '\0') + QByteArray(room - 2, '\xff') : QByteArray());
    const quint64 counter = quint64(m_counters[pid]++) & 0x0FU;
    const QByteArray packet = QByteArray(1, kSyncByte)
                              + bigEndian((begins ? 0x4000U : 0U) | quint64(pid), 2)
                              + bigEndian((pads ? 0x30U : 0x10U) | counter, 1) + padding + payload;
    return packet.leftJustified(kPacketBytes, '\xff');
}
