// What an RTSP server may send as RTP: taken out of its packets, put together, decoded and shown.
// podsim's server sends it. Input: a byte that tells what the packets hold, and the packets, each
// behind its length in two bytes; or, as seeds are, a bare stream that is still to be cut into
// packets.

#include "PlayerRun.h"
#include "sender/PacketFile.h"
#include "sender/RtpPackets.h"
#include "sender/SenderThread.h"

#include <QFileInfo>

namespace {

constexpr quint8 kIsH265 = 1;
constexpr quint8 kIsTransportStream = 2;
constexpr quint8 kIsCut = 4;

QByteArrayList packetsOf(fuzz::Input &input, quint8 kind)
{
    const QByteArray rest = input.rest().toByteArray();
    if ((kind & kIsCut) != 0)
        return packet_file::read(rest);
    SenderManner manner;
    manner.payloadBytes = 100;
    manner.pesBytes = (kind & kIsTransportStream) != 0 ? 150 : 0;
    const auto codec = (kind & kIsH265) != 0 ? unit_stream::Codec::H265 : unit_stream::Codec::H264;
    QByteArrayList packets;
    for (const QByteArrayList &picture : RtpPackets(manner).of(rest, codec))
        packets += picture;
    return packets;
}

} // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t *data, std::size_t size,
                                               std::size_t maxSize, unsigned seed)
{
    fuzz::Input input(QByteArrayView(data, qsizetype(size)));
    const quint8 kind = input.byte();
    QByteArrayList packets = packetsOf(input, kind);
    fuzz::mutateUnits(packets, seed);
    return fuzz::takeOver(char(kind | kIsCut) + packet_file::write(packets), data, maxSize);
}

void fuzz::run(Input input)
{
    const quint8 kind = input.byte();
    const QString name = QStringLiteral("stream.h26%1.rtp").arg((kind & kIsH265) != 0 ? 5 : 4);
    const QString path =
        fuzz::writeFile(name, QByteArrayView(packet_file::write(packetsOf(input, kind))));
    static const SenderThread sender(QFileInfo(path).path());
    const bool isTransportStream = (kind & kIsTransportStream) != 0;
    play(sender.url() + name + QLatin1String(isTransportStream ? "?pes=1" : ""),
         {.rtspTransport = QStringLiteral("tcp")});
}
