// What an upgrade server may send: found in the stream, and handed to the upgrade.
// Input: the length of a read (0: all in one), then the stream.

#include "ExchangeChecks.h"
#include "firmware/online/NetPacket.h"

#include <QtEndian>

namespace {

constexpr qsizetype kImageAt = 84; // in the server's answer

/// The packets' payloads, taken from what is there the plain way; a part of one stays.
QByteArrayList plainPayloads(QByteArray &pending)
{
    QByteArrayList payloads;
    while (pending.size() >= NetPacket::kHeaderLength) {
        const auto length = qFromLittleEndian<quint32>(pending.constData() + 4);
        if (!pending.startsWith("\x33\xAA\x55\xFC") || length > NetPacket::kPayloadMax)
            pending.clear();
        if (pending.size() < NetPacket::kHeaderLength + qsizetype(length))
            break;
        payloads.append(pending.mid(NetPacket::kHeaderLength, length));
        pending.remove(0, NetPacket::kHeaderLength + length);
    }
    return payloads;
}

QByteArrayList payloadsOf(NetPacketAssembler &assembler, QByteArrayView bytes)
{
    QByteArrayList payloads;
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
    UpgradeExchange exchange(QStringLiteral("port"));
    exchange.begin();
    fuzz::requireSound(exchange.handleServerPacket(NetPacket::of(payload)));
    CommandFrameObject wantsFirmware;
    wantsFirmware.type = 0x13;
    QByteArray image;
    for (auto sent = fuzz::requireSound(exchange.carryOut(wantsFirmware)); sent;
         sent = fuzz::requireSound(
             exchange.handleResponse(ResponseFrameObject::ResponseStatus::Accepted))) {
        FUZZ_REQUIRE(sent->secondValue <= sent->firstValue);
        image += sent->data;
    }
    FUZZ_REQUIRE(image.isEmpty() || image == payload.mid(kImageAt));
}

} // namespace

void fuzz::run(Input input)
{
    NetPacketAssembler assembler;
    QByteArray pending;
    const quint8 readLength = input.byte();
    for (const QByteArrayView piece : input.reads(readLength)) {
        const QByteArrayList payloads = payloadsOf(assembler, piece);
        FUZZ_REQUIRE(payloads == plainPayloads(pending += piece));
        for (const QByteArray &payload : payloads)
            upgradeWith(payload);
    }
}
