// What an upgrade server may send: found in the stream, and handed to the upgrade.
// Input: the length of a read (0: all in one), then the stream.

#include "ExchangeChecks.h"
#include "firmware/online/NetPacket.h"

#include <QtEndian>

namespace {

/// The packets of a stream that comes in these reads, found the plain way.
class PlainReader
{
public:
    QList<QByteArray> read(QByteArrayView bytes)
    {
        QList<QByteArray> payloads;
        m_pending.append(bytes);
        while (m_pending.size() >= NetPacket::kHeaderLength) {
            const auto magic = qFromLittleEndian<quint32>(m_pending.constData());
            const auto length = qFromLittleEndian<quint32>(m_pending.constData() + 4);
            if (magic != NetPacket::kMagic || length > NetPacket::kPayloadMax) {
                m_pending.clear();
                break;
            }
            if (m_pending.size() < NetPacket::kHeaderLength + qsizetype(length))
                break;
            payloads.append(m_pending.mid(NetPacket::kHeaderLength, length));
            m_pending.remove(0, NetPacket::kHeaderLength + length);
        }
        return payloads;
    }

private:
    QByteArray m_pending;
};

QList<QByteArray> payloadsOf(NetPacketAssembler &assembler, QByteArrayView bytes)
{
    QList<QByteArray> payloads;
    assembler.append(bytes.toByteArray());
    while (true) {
        const NetPacketAssembler::Step step = assembler.next();
        if (std::holds_alternative<NetPacketAssembler::NeedsMore>(step))
            return payloads;
        if (const auto *packet = std::get_if<NetPacket>(&step)) {
            FUZZ_REQUIRE(packet->header == NetPacket::kMagic);
            FUZZ_REQUIRE(packet->length == quint32(packet->payload.size()));
            payloads.append(packet->payload);
        }
    }
}

/// An upgrade that got this packet, with a bootloader that takes all it is sent.
void upgradeWith(const QByteArray &payload)
{
    constexpr qsizetype kImageAt = 84;
    UpgradeExchange exchange(QStringLiteral("port"));
    exchange.begin();
    fuzz::requireSound(exchange.handleServerPacket(NetPacket::of(payload)));

    CommandFrameObject wantsFirmware;
    wantsFirmware.type = 0x13;
    QByteArray image;
    auto sent = fuzz::requireSound(exchange.carryOut(wantsFirmware));
    while (sent) {
        FUZZ_REQUIRE(sent->secondValue <= sent->firstValue);
        image += sent->data;
        sent = fuzz::requireSound(
            exchange.handleResponse(ResponseFrameObject::ResponseStatus::Accepted));
    }
    FUZZ_REQUIRE(image.isEmpty() || image == payload.mid(kImageAt));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    fuzz::prepare(size);
    fuzz::Input input(data, size);
    const quint8 readLength = input.byte();

    NetPacketAssembler assembler;
    PlainReader plain;
    for (const QByteArrayView piece : fuzz::pieces(input.rest(), readLength)) {
        const QList<QByteArray> payloads = payloadsOf(assembler, piece);
        FUZZ_REQUIRE(payloads == plain.read(piece));
        for (const QByteArray &payload : payloads)
            upgradeWith(payload);
    }
    return 0;
}
