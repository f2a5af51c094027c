#include "AnnexB.h"

#include "BitReader.h"

#include <algorithm>

namespace annexb {

namespace {

constexpr int kRecoveryPoint = 6; // the message that says where decoding may begin

/// A number that goes on while its bytes have all bits set.
std::uint32_t messageNumber(BitReader &bits)
{
    std::uint32_t value = 0;
    for (std::uint32_t byte = 255; byte == 255 && !bits.atEnd(); value += byte)
        byte = bits.bits(8);
    return value;
}

/// The length of the recovery point that the messages of H.265 in `header` tell of.
std::optional<int> recoveryPicturesOf(QByteArrayView header)
{
    BitReader bits(header.sliced(std::min<qsizetype>(2, header.size())));
    while (!bits.atEnd()) {
        const std::uint32_t type = messageNumber(bits);
        const std::uint32_t bytes = messageNumber(bits);
        if (type == kRecoveryPoint) {
            const std::uint32_t number = bits.number(); // signed: the odd ones are positive
            return number % 2 == 1 ? int(number / 2 + 1) : 0;
        }
        for (std::uint32_t i = 0; i < bytes && !bits.atEnd(); ++i)
            bits.bits(8);
    }
    return std::nullopt;
}

/// Calls `visit` with every unit up to the first slice, until it returns false.
template<typename Visit>
void visitUntilSlice(QByteArrayView picture, Codec codec, Visit visit)
{
    qsizetype begin = findStartCode(picture, 0);
    while (begin < picture.size()) {
        const QByteArrayView header =
            picture.sliced(begin + startCodeLength(picture.sliced(begin)));
        if (header.isEmpty())
            return;
        const bool slice = isSlice(header, codec);
        // A slice is long and the last that is of interest: its end is not looked for.
        const qsizetype end =
            slice ? picture.size() : findStartCode(picture, begin + kMinStartCode);
        if (!visit(picture.sliced(begin, end - begin), header) || slice)
            return;
        begin = end;
    }
}

} // namespace

int startCodeLength(QByteArrayView bytes)
{
    if (bytes.startsWith(QByteArrayView("\0\0\0\1", 4)))
        return 4;
    return bytes.startsWith(QByteArrayView("\0\0\1", 3)) ? 3 : 0;
}

qsizetype findStartCode(QByteArrayView bytes, qsizetype from)
{
    const qsizetype found = bytes.indexOf(QByteArrayView("\0\0\1", kMinStartCode), from);
    if (found < 0)
        return bytes.size();
    return found > from && bytes[found - 1] == '\0' ? found - 1 : found;
}

int unitType(QByteArrayView header, Codec codec)
{
    const auto byte = static_cast<unsigned char>(header[0]);
    return codec == Codec::H264 ? byte & 0x1F : (byte >> 1) & 0x3F;
}

bool isSlice(QByteArrayView header, Codec codec)
{
    const int type = unitType(header, codec);
    if (header.size() < kMinSliceHeader)
        return false;
    return codec == Codec::H264 ? type >= h264::Slice && type <= h264::KeySlice
                                : type <= h265::LastSlice;
}

bool isKeyPicture(QByteArrayView picture, Codec codec)
{
    bool isKey = false;
    visitUntilSlice(picture, codec, [&](QByteArrayView, QByteArrayView header) {
        const int type = unitType(header, codec);
        if (codec == Codec::H265)
            isKey = type >= h265::FirstKeySlice && type <= h265::LastKeySlice;
        else
            isKey = type == h264::KeySlice
                    || (type == h264::Sei && header.size() > 1 && header[1] == kRecoveryPoint);
        return !isKey;
    });
    return isKey;
}

bool isReference(QByteArrayView picture)
{
    bool isReference = false;
    visitUntilSlice(picture, Codec::H264, [&](QByteArrayView, QByteArrayView header) {
        isReference = isSlice(header, Codec::H264) && (header[0] & 0x60) != 0;
        return true;
    });
    return isReference;
}

std::optional<int> recoveryPictures(QByteArrayView picture)
{
    std::optional<int> pictures;
    visitUntilSlice(picture, Codec::H265, [&](QByteArrayView, QByteArrayView header) {
        if (unitType(header, Codec::H265) == h265::PrefixSei)
            pictures = recoveryPicturesOf(header);
        return !pictures;
    });
    return pictures;
}

QByteArray sequenceParameters(QByteArrayView picture, Codec codec)
{
    const int wanted =
        codec == Codec::H264 ? int(h264::SequenceParameters) : int(h265::SequenceParameters);
    QByteArray sets;
    visitUntilSlice(picture, codec, [&](QByteArrayView unit, QByteArrayView header) {
        const QByteArrayView set = unit.sliced(startCodeLength(unit));
        if (unitType(header, codec) == wanted && !sets.contains(set))
            sets.append(set);
        return true;
    });
    return sets;
}

} // namespace annexb
