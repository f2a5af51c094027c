#pragma once

#include "FuzzHarness.h"

#include <algorithm>
#include <random>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t *data, std::size_t size, std::size_t maxSize);

/// Changes to a stream that leave most of it in order, as a bad link does: whole units - packets of
/// a transport stream, NAL units of a bare one - are lost, doubled or swapped, and bytes change in
/// one of them.
namespace fuzz {

class MediaMutator
{
public:
    explicit MediaMutator(unsigned seed)
        : m_random(seed)
    {
    }

    QByteArray mutate(const QByteArray &stream)
    {
        std::vector<QByteArray> units = unitsOf(stream);
        if (units.empty())
            return stream;
        const std::size_t at = below(units.size());
        const auto place = units.begin() + std::ptrdiff_t(at);
        switch (below(8)) {
        case 0:
            units.erase(place);
            break;
        case 1:
            units.insert(units.begin() + std::ptrdiff_t(below(units.size())), QByteArray(*place));
            break;
        case 2:
            std::swap(*place, units[below(units.size())]);
            break;
        case 3: // the stream ends within this unit
            place->truncate(qsizetype(below(std::size_t(place->size()) + 1)));
            units.erase(place + 1, units.end());
            break;
        default:
            changeBytes(*place);
        }
        QByteArray mutated;
        for (const QByteArray &unit : units)
            mutated += unit;
        return mutated;
    }

private:
    static constexpr qsizetype kPacketLength = 188;
    static constexpr char kPacketSync = 0x47;

    static std::vector<QByteArray> unitsOf(const QByteArray &stream)
    {
        static const QByteArray kStartCode("\0\0\1", 3);
        std::vector<QByteArray> units;
        const bool hasPackets = stream.startsWith(kPacketSync);
        for (qsizetype at = 0, end = 0; at < stream.size(); at = end) {
            end = hasPackets ? at + kPacketLength : stream.indexOf(kStartCode, at + 1);
            if (end < 0 || end > stream.size())
                end = stream.size();
            units.push_back(stream.mid(at, end - at));
        }
        return units;
    }

    // More often near the start, where headers are, than anywhere.
    void changeBytes(QByteArray &unit)
    {
        const auto size = std::size_t(unit.size());
        const std::size_t from =
            below(2) == 0 ? below(std::min<std::size_t>(size, 16)) : below(size);
        const std::size_t length = std::min(1 + below(8), size - from);
        LLVMFuzzerMutate(reinterpret_cast<std::uint8_t *>(unit.data()) + from, length, length);
    }

    std::size_t below(std::size_t limit) { return m_random() % std::max<std::size_t>(limit, 1); }

    std::minstd_rand m_random;
};

} // namespace fuzz
