#pragma once

#include <QByteArray>
#include <QByteArrayView>

#include <cstdint>
#include <optional>

/// H.264 and H.265 as a row of units, each behind a start code. A `header` is a unit from behind
/// its start code on, and holds a byte at least.
namespace annexb {

enum class Codec : std::uint8_t { H264, H265 };

inline constexpr qsizetype kMinStartCode = 3;
inline constexpr qsizetype kMinSliceHeader = 3; ///< as much of a slice as is looked at

namespace h264 {
enum UnitType : std::uint8_t {
    Slice = 1,
    PartitionB = 3,
    PartitionC = 4,
    KeySlice = 5,
    Sei = 6,
    SequenceParameters = 7,
    Delimiter = 9,
};
}

namespace h265 {
enum UnitType : std::uint8_t {
    FirstKeySlice = 16,
    LastKeySlice = 21,
    LastSlice = 31,
    ParameterSets = 32,
    SequenceParameters = 33,
    Delimiter = 35,
    PrefixSei = 39,
};
}

/// 0 where `bytes` do not begin with one.
int startCodeLength(QByteArrayView bytes);

/// Where the next unit's start code begins, from `from` on; the size when there is none.
qsizetype findStartCode(QByteArrayView bytes, qsizetype from);

int unitType(QByteArrayView header, Codec codec);
bool isSlice(QByteArrayView header, Codec codec);

/// Whether a decoder can begin with this picture.
bool isKeyPicture(QByteArrayView picture, Codec codec);

/// H.264 only: whether later pictures may refer to this one.
bool isReference(QByteArrayView picture);

/// H.265 only: after how many further pictures one that decoding begins with here is whole; nothing
/// where the picture is no recovery point.
std::optional<int> recoveryPictures(QByteArrayView picture);

/// The sequence parameter sets that stand ahead of the picture's first slice, each once, however
/// often it is sent; they tell the picture's size.
QByteArray sequenceParameters(QByteArrayView picture, Codec codec);

} // namespace annexb
