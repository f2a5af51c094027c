#pragma once

#include "FFmpegPointers.h"

#include <QtGlobal>

#include <optional>

/// Keeps the pictures of an H.265 stream that was joined between two key pictures from being shown
/// before the first whole one, which FFmpeg's decoder does of H.264 by itself: until then they are
/// grey, with what moves on them. Decoding begins with a key picture or a recovery point, which may
/// be so many pictures long. A stream that brings neither for kPatienceUs is shown as it is.
class KeyGate
{
public:
    enum class Pass : quint8 { Drop, Decode, Show };
    static constexpr qint64 kPatienceUs = 10'000'000;

    explicit KeyGate(AVCodecID codec)
        : m_isOpen(codec != AV_CODEC_ID_HEVC)
    {
    }

    /// What to do with a picture that came at `nowUs`, of a clock that never steps.
    Pass admit(const AVPacket &packet, qint64 nowUs);

private:
    bool m_isOpen;
    std::optional<qint64> m_sinceUs;
    std::optional<int> m_left; // pictures of the recovery point that is under way
};
