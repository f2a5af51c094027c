#include "SliceStart.h"

#include "BitReader.h"

using namespace annexb;

SliceStart readSliceStart(QByteArrayView header, Codec codec)
{
    const int type = unitType(header, codec);
    if (codec == Codec::H265) {
        const bool isKey = type >= h265::FirstKeySlice && type <= h265::LastKeySlice;
        return {(static_cast<unsigned char>(header[2]) & 0x80U) != 0, isKey, isKey, 0};
    }
    constexpr std::uint32_t kIntraSlice = 2;
    constexpr std::uint32_t kSliceTypes = 5; // each twice: of this slice, of all of the picture
    BitReader bits(header.sliced(1));
    const std::uint32_t macroblock = bits.number();
    const bool isIntra = bits.number() % kSliceTypes == kIntraSlice;
    return {macroblock == 0, isIntra || type == h264::KeySlice, type == h264::KeySlice, macroblock};
}
