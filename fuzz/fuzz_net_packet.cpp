// What an upgrade server may send: found in the stream, and handed to the upgrade.
// Input: the length of a read (0: all in one), then the stream.

#include "ExchangeChecks.h"
#include "firmware/online/NetPacket.h"

namespace {

constexpr qsizetype kImageAt = 84; // in the server's answer

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
    const quint8 readLength = input.byte();
    const QByteArray stream = Input(input).rest().toByteArray();
    qsizetype end = 0; // of the last packet in the stream
    for (const QByteArrayView piece : input.reads(readLength)) {
        assembler.append(piece.toByteArray());
        NetPacketAssembler::Step step;
        while (!std::holds_alternative<NetPacketAssembler::NeedsMore>(step = assembler.next())) {
            const auto *packet = std::get_if<NetPacket>(&step);
            if (!packet)
                continue;
            const QByteArray bytes = packet->toBytes();
            const qsizetype start = stream.indexOf(bytes, end);
            FUZZ_REQUIRE(start >= 0); // it was sent, and behind the one before
            end = start + bytes.size();
            upgradeWith(packet->payload);
        }
    }
}
