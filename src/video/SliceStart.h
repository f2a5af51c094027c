#pragma once

#include "AnnexB.h"

/// What the beginning of a slice tells of its place in the stream.
struct SliceStart
{
    bool isFirst = false;         ///< of its picture
    bool isKey = false;           ///< of a picture that refers to no other
    bool mayRestart = false;      ///< decoding can begin with its picture
    std::uint32_t macroblock = 0; ///< H.264 only: the slice's first; rises within a picture
};

/// `header` is a slice by annexb::isSlice, and none of H.264's partitions B and C. What is cut off
/// counts as zero.
SliceStart readSliceStart(QByteArrayView header, annexb::Codec codec);
