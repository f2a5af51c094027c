#pragma once

#include "video/FFmpegPointers.h"

#include <cstdint>

#include <vector>

/// The times of one file: from zero on and ever rising, with times of decoding where the stream
/// tells only those of showing. All in kTimeBase.
class PacketTimes
{
public:
    static constexpr AVRational kTimeBase = {1, 90000};
    /// A step this much forward, or kBackMax backward, is no step but another stream's time.
    static constexpr std::int64_t kForwardMax = std::int64_t{10} * 90000;
    static constexpr std::int64_t kBackMax = 90000;

    /// `reorder`: by how many pictures the decoder's order differs from that of showing.
    explicit PacketTimes(int reorder)
        : m_reorder(reorder)
    {
    }

    /// Sets the times of a packet of the video; false at a leap, after which it cannot go on.
    bool setVideo(AVPacket &packet);
    /// Sets the times of what accompanies the video.
    void setCompanion(AVPacket &packet);

private:
    std::int64_t unknownTime() const;
    std::int64_t decodingTime(std::int64_t shown);

    int m_reorder;
    std::vector<std::int64_t> m_shown; // times that are not given away yet, rising
    bool m_hasBegun = false;
    std::int64_t m_origin = 0;
    std::int64_t m_last = 0;
    std::int64_t m_lastCompanion = 0;
};
