// What a bootloader may write on the serial line during a server-assisted upgrade: cut into frames,
// decoded, parsed and answered.
// Input: the length of a read (0: all in one), how long an image the server sent in multiples of 16
// bytes (0: no answer yet), then the line's bytes.

#include "ExchangeChecks.h"
#include "firmware/online/ResponseFrameObject.h"

namespace {

constexpr qsizetype kHeadLength = 84; // code, UUID and signature of the server's answer
constexpr qsizetype kImageStep = 16;

void takeCommand(UpgradeExchange &exchange, const QByteArray &raw)
{
    CommandFrameObject command;
    if (!command.fromBytes(raw))
        return;
    // Written again it is the same but for the checksum and the reading of the two values.
    const QByteArray written = command.toBytes();
    FUZZ_REQUIRE(written.size() == raw.size() && written.first(2) == raw.first(2));
    FUZZ_REQUIRE(written.mid(6, command.data.size() + 1) == raw.mid(6, command.data.size() + 1));
    for (const bool connected : {false, true}) {
        const auto [accepted, actions] = exchange.judge(command, connected);
        fuzz::requireSound(actions);
        FUZZ_REQUIRE(accepted || !connected || !UpgradeExchange::needsServer(command));
        if (accepted && connected)
            fuzz::requireSound(exchange.carryOut(command));
    }
}

void takeFrame(UpgradeExchange &exchange, const QByteArray &line)
{
    FUZZ_REQUIRE(line.size() % 2 == 0 && line.size() <= LineFrameAssembler::kFrameMax);
    FUZZ_REQUIRE(line.front() == upgrade::kCommandStart || line.front() == upgrade::kResponseStart);
    FUZZ_REQUIRE(line.indexOf(upgrade::kFrameEnd) == line.size() - 1);
    const auto raw = upgrade::decodeLine(line);
    if (!raw)
        return;
    FUZZ_REQUIRE(upgrade::encodeLine(*raw) == line);
    ResponseFrameObject response;
    if (line.front() == upgrade::kCommandStart) {
        takeCommand(exchange, *raw);
    } else if (response.fromBytes(*raw)) {
        const QByteArray written = response.toBytes();
        FUZZ_REQUIRE(written.size() == raw->size() && written[2] == (*raw)[2]);
        fuzz::requireSound(exchange.handleResponse(response.status));
    }
}

} // namespace

void fuzz::run(Input input)
{
    const quint8 readLength = input.byte();
    const qsizetype imageLength = input.byte() * kImageStep;
    UpgradeExchange exchange(QStringLiteral("port"));
    requireSound(exchange.begin());
    const QByteArray answer("\x01\x40\x00\x00", 4);
    if (imageLength > 0)
        requireSound(exchange.handleServerPacket(
            NetPacket::of(answer.leftJustified(kHeadLength + imageLength, 'x'))));

    LineFrameAssembler assembler;
    QByteArrayList frames;
    const QByteArrayList whole = LineFrameAssembler().push(Input(input).rest());
    for (const QByteArrayView piece : input.reads(readLength))
        frames += assembler.push(piece);
    FUZZ_REQUIRE(frames == whole); // however it is cut into reads
    for (const QByteArray &frame : std::as_const(frames))
        takeFrame(exchange, frame);
}
