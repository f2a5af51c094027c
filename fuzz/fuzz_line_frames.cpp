// What a bootloader may write on the serial line during a server-assisted upgrade: cut into frames,
// decoded, parsed and answered.
// Input: the length of a read (0: all in one), how long an image the server sent in multiples of 16
// bytes (0: no answer yet), then the line's bytes.

#include "ExchangeChecks.h"
#include "firmware/online/ResponseFrameObject.h"

namespace {

constexpr qsizetype kHeadLength = 84; // code, UUID and signature of the server's answer
constexpr qsizetype kImageStep = 16;

NetPacket serverAnswer(qsizetype imageLength)
{
    QByteArray payload("\x01\x40\x00\x00", 4);
    return NetPacket::of(payload.leftJustified(kHeadLength + imageLength, 'x'));
}

void requireWellCut(QByteArrayView frame)
{
    FUZZ_REQUIRE(frame.size() % 2 == 0 && frame.size() <= LineFrameAssembler::kFrameMax);
    FUZZ_REQUIRE(frame.front() == upgrade::kCommandStart
                 || frame.front() == upgrade::kResponseStart);
    FUZZ_REQUIRE(frame.indexOf(upgrade::kFrameEnd) == frame.size() - 1);
}

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

void takeResponse(UpgradeExchange &exchange, const QByteArray &raw)
{
    ResponseFrameObject response;
    if (!response.fromBytes(raw))
        return;
    const QByteArray written = response.toBytes();
    FUZZ_REQUIRE(written.size() == raw.size() && written[2] == raw[2]);
    fuzz::requireSound(exchange.handleResponse(response.status));
}

void takeFrame(UpgradeExchange &exchange, const QByteArray &line)
{
    requireWellCut(line);
    const auto raw = upgrade::decodeLine(line);
    if (!raw)
        return;
    FUZZ_REQUIRE(upgrade::encodeLine(*raw) == line);
    if (line.startsWith(upgrade::kResponseStart))
        takeResponse(exchange, *raw);
    else
        takeCommand(exchange, *raw);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    fuzz::prepare(size);
    fuzz::Input input(data, size);
    const quint8 readLength = input.byte();
    const qsizetype imageLength = input.byte() * kImageStep;
    const QByteArrayView stream = input.rest();

    UpgradeExchange exchange(QStringLiteral("port"));
    fuzz::requireSound(exchange.begin());
    if (imageLength > 0)
        fuzz::requireSound(exchange.handleServerPacket(serverAnswer(imageLength)));

    LineFrameAssembler assembler;
    QByteArrayList frames;
    for (const QByteArrayView piece : fuzz::pieces(stream, readLength))
        frames += assembler.push(piece);
    FUZZ_REQUIRE(frames == LineFrameAssembler().push(stream)); // however it is cut into reads
    for (const QByteArray &frame : std::as_const(frames))
        takeFrame(exchange, frame);
    return 0;
}
