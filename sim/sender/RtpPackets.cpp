#include "RtpPackets.h"

#include "TransportMux.h"

#include <QtEndian>

#include <algorithm>
#include <utility>

using namespace unit_stream;

namespace {

constexpr int kClockHz = 90000;
constexpr quint32 kSliceStep = 90;  // 1 ms
constexpr qsizetype kPerPacket = 7; // transport packets: what fits into an Ethernet frame

struct Format
{
    qsizetype headerBytes;
    QByteArray filler;
};

const Format &formatOf(Codec codec)
{
    static const Format h264{1, QByteArray("\x0c\xff\xff\x80")};
    static const Format h265{2, QByteArray("\x4c\x01\xff\xff\x80")};
    return codec == Codec::H264 ? h264 : h265;
}

/// The header of a packet that joins units.
QByteArray joinHeader(Codec codec)
{
    return codec == Codec::H264 ? QByteArray::fromHex("78") : QByteArray::fromHex("6001");
}

/// What replaces the header of a unit in each of its pieces.
QByteArray pieceHeader(Codec codec, const QByteArray &unit, bool isFirst, bool isLast)
{
    const auto head = quint8(unit[0]);
    const auto place = quint8((isFirst ? 0x80U : 0U) | (isLast ? 0x40U : 0U));
    if (codec == Codec::H264)
        return QByteArray(1, char((head & 0xE0U) | 28U)) + char(place | (head & 0x1FU));
    return QByteArray(1, char((head & 0x81U) | (49U << 1U))) + unit[1]
           + char(place | ((head >> 1U) & 0x3FU));
}

template<typename Number>
void put(QByteArray &bytes, Number number)
{
    std::array<char, sizeof(Number)> big{};
    qToBigEndian(number, big.data());
    bytes.append(big.data(), qsizetype(big.size()));
}

} // namespace

RtpPackets::RtpPackets(const SenderManner &manner)
    : m_manner(manner)
{
}

QList<QByteArrayList> RtpPackets::of(const QByteArray &stream, Codec codec)
{
    m_codec = codec;
    TransportMux mux(codec, m_manner.pesBytes);
    const QList<Picture> pictures = picturesOf(stream, codec);
    for (const Picture &picture : pictures.mid(m_manner.skippedPictures)) {
        if (m_manner.pesBytes > 0)
            addTransportPackets(mux.picture(picture, m_time));
        else
            addPicture(picture);
        finishPicture();
    }
    return std::exchange(m_packets, {});
}

void RtpPackets::addTransportPackets(const QByteArray &packets)
{
    constexpr qsizetype kStep = kPerPacket * TransportMux::kPacketBytes;
    for (qsizetype at = 0; at < packets.size(); at += kStep)
        addPayload(packets.mid(at, kStep));
}

void RtpPackets::addPicture(const Picture &picture)
{
    QByteArrayList sets;
    int slices = 0;
    for (const Unit &unit : picture) {
        if (unit.kind == Unit::Kind::ParameterSet) {
            sets.append(unit.bytes);
            continue;
        }
        if (!sets.isEmpty())
            m_parameterSets = sets;
        const bool isLaterKeySlice = unit.isKey && slices > 0;
        addParameterSets(m_manner.setsAtSlices && isLaterKeySlice ? m_parameterSets
                                                                  : std::exchange(sets, {}));
        if (unit.kind == Unit::Kind::Slice && slices++ > 0
            && m_manner.times == SenderManner::Times::Slice)
            m_time += kSliceStep;
        addUnit(unit.bytes);
    }
    if (m_manner.filler)
        addUnit(formatOf(m_codec).filler);
}

void RtpPackets::addParameterSets(const QByteArrayList &sets)
{
    if (!m_manner.joined || sets.isEmpty()) {
        for (const QByteArray &set : sets)
            addUnit(set);
        return;
    }
    QByteArray payload = joinHeader(m_codec);
    for (const QByteArray &set : sets) {
        put(payload, quint16(set.size()));
        payload += set;
    }
    addPayload(payload);
}

qsizetype RtpPackets::pieceBytes(qsizetype unitBytes) const
{
    const qsizetype most = m_manner.payloadBytes - formatOf(m_codec).headerBytes - 1;
    if (!m_manner.evenPieces)
        return most;
    const qsizetype pieces = (unitBytes + most - 1) / most;
    return (unitBytes + pieces - 1) / pieces;
}

void RtpPackets::addUnit(const QByteArray &unit)
{
    if (unit.size() <= m_manner.payloadBytes) {
        addPayload(unit);
        return;
    }
    const QByteArray content = unit.mid(formatOf(m_codec).headerBytes);
    const qsizetype step = pieceBytes(content.size());
    for (qsizetype at = 0; at < content.size(); at += step)
        addPayload(pieceHeader(m_codec, unit, at == 0, at + step >= content.size())
                   + content.mid(at, step));
}

void RtpPackets::addPayload(const QByteArray &payload)
{
    m_payloads.append(payload);
    m_times.append(m_time);
    if (m_manner.times == SenderManner::Times::Packet)
        ++m_time;
}

void RtpPackets::finishPicture()
{
    const int type = m_manner.pesBytes > 0 ? kTransportStreamType : kUnitsType;
    using Markers = SenderManner::Markers;
    const quint32 begin = m_times.constFirst();
    QByteArrayList packets;
    for (qsizetype i = 0; i < m_payloads.size(); ++i) {
        const bool isLast = i + 1 == m_payloads.size();
        const bool marked =
            m_manner.markers == Markers::Always || (m_manner.markers == Markers::Last && isLast);
        QByteArray packet("\x80");
        packet.append(char(type | (marked ? 0x80 : 0)));
        put(packet, m_sequence++);
        put(packet, m_times[i]);
        put(packet, quint32(0x706F6473)); // who sends: a constant
        if (!isLost())
            packets.append(packet + m_payloads[i]);
    }
    m_packets.append(packets);
    m_payloads.clear();
    m_times.clear();
    m_time = begin + quint32(kClockHz / m_manner.fps);
}

bool RtpPackets::isLost()
{
    constexpr quint32 kFactor = 1664525;
    constexpr quint32 kSummand = 1013904223;
    m_luck = m_luck * kFactor + kSummand; // the same ones each time
    return !m_packets.isEmpty() && int((m_luck >> 16U) % 100) < m_manner.lostPercent;
}
