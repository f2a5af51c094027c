#include "UnitStream.h"

#include <array>

namespace unit_stream {
namespace {

constexpr std::array<char, 3> kStartCode = {0, 0, 1};

Unit h264Unit(const QByteArray &bytes)
{
    const int type = bytes[0] & 0x1F;
    const bool slice = type == 1 || type == 5;
    // A first macroblock of 0 is a single set bit.
    const bool first = slice && (quint8(bytes[1]) & 0x80U) != 0;
    const auto kind = slice                    ? Unit::Kind::Slice
                      : type == 7 || type == 8 ? Unit::Kind::ParameterSet
                                               : Unit::Kind::Other;
    return {bytes, kind, first || (type >= 6 && type <= 9), type == 5};
}

Unit h265Unit(const QByteArray &bytes)
{
    const int type = (quint8(bytes[0]) >> 1U) & 0x3F;
    const bool slice = type < 32;
    const bool first = slice && (quint8(bytes[2]) & 0x80U) != 0;
    const auto kind = slice       ? Unit::Kind::Slice
                      : type < 35 ? Unit::Kind::ParameterSet
                                  : Unit::Kind::Other;
    return {bytes, kind, first || (!slice && type <= 35) || type == 39, type >= 16 && type <= 21};
}

} // namespace

QList<Picture> picturesOf(const QByteArray &stream, Codec codec)
{
    QList<Picture> pictures;
    bool hasSlice = true; // so that the first unit begins a picture
    const QByteArrayView startCode(kStartCode.data(), qsizetype(kStartCode.size()));
    for (qsizetype at = stream.indexOf(startCode); at >= 0;) {
        const qsizetype begin = at + startCode.size();
        at = stream.indexOf(startCode, begin);
        QByteArray bytes = stream.mid(begin, at < 0 ? -1 : at - begin);
        while (bytes.endsWith('\0')) // of the next start code
            bytes.chop(1);
        if (bytes.size() < 3)
            continue;
        const Unit unit = codec == Codec::H264 ? h264Unit(bytes) : h265Unit(bytes);
        if (hasSlice && (unit.beginsPicture || pictures.isEmpty())) {
            pictures.append(Picture());
            hasSlice = false;
        }
        hasSlice = hasSlice || unit.kind == Unit::Kind::Slice;
        pictures.last().append(unit);
    }
    return pictures;
}

} // namespace unit_stream
