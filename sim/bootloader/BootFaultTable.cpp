#include "BootFaultTable.h"

#include "Bootloader.h"
#include "faults/FaultLines.h"

#include <array>

namespace faults {
namespace {

Answer stateLine(Bootloader &b, Arguments) { return b.stateText(); }

Answer clearFaults(Bootloader &b, Arguments)
{
    b.clearFaults();
    return done();
}

Answer addFault(Bootloader &b, Arguments a) { return done(b.faults.add(a)); }

Answer garble(Bootloader &b, Arguments a)
{
    const auto offset = number(a, 0, 0, 1 << 30);
    if (offset)
        b.garble(*offset);
    return done(offset.has_value());
}

Answer makeNoise(Bootloader &b, Arguments a)
{
    const QByteArray bytes = QByteArray::fromHex(a.join(QString()).toLatin1());
    if (!bytes.isEmpty())
        b.makeNoise(bytes);
    return done(!bytes.isEmpty());
}

Answer hangUp(Bootloader &b, Arguments)
{
    b.hangUp();
    return done();
}

Answer setBaud(Bootloader &b, Arguments a)
{
    const auto baud = number(a, 0, 0, 10'000'000);
    if (baud)
        b.setLineBaud(*baud);
    return done(baud.has_value());
}

Answer help(Bootloader &, Arguments);

constexpr auto kBootRows = std::to_array<Row<Bootloader>>({
    {"help", "", "list these lines", help},
    {"state", "", "stage, images and rejections as JSON", stateLine},
    {"clear", "", "no faults any more", clearFaults},
    {"at", "MOMENT EFFECT ...", "spoil the answer at that moment", addFault},
    {"line garble", "OFFSET", "damage one byte after that many from the console", garble},
    {"line noise", "HEX", "send these bytes now", makeNoise},
    {"line die", "", "end the terminal now", hangUp},
    {"line baud", "RATE", "answer as on a line of this rate, 0 at once", setBaud},
});

Answer help(Bootloader &, Arguments)
{
    return listRows(kBootRows) + QStringLiteral("; at: ") + BootFaults::grammar();
}

} // namespace

QString execute(Bootloader &bootloader, const QString &line)
{
    return executeRows(kBootRows, bootloader, line);
}

} // namespace faults
