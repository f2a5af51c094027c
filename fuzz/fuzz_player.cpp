// What a stream may carry, as a file. Input: the stream.

#include "PlayerRun.h"

/// Changes packets of a transport stream, and pieces of their length of a bare one.
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t *data, std::size_t size,
                                               std::size_t maxSize, unsigned seed)
{
    constexpr qsizetype kPacketLength = 188;
    QByteArrayList units;
    fuzz::Input input(QByteArrayView(data, qsizetype(size)));
    for (const QByteArrayView unit : input.reads(kPacketLength))
        units.append(unit.toByteArray());
    fuzz::mutateUnits(units, seed);
    return fuzz::takeOver(units.join(), data, maxSize);
}

void fuzz::run(Input input) { play(writeFile(QStringLiteral("stream"), input.rest()), {}); }
