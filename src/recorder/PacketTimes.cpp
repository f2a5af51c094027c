#include "PacketTimes.h"

#include <algorithm>

namespace {

constexpr std::int64_t kUnknownStep = 3600; // between pictures of a stream that tells no times

} // namespace

bool PacketTimes::setVideo(AVPacket &packet)
{
    if (packet.pts == AV_NOPTS_VALUE)
        packet.pts = packet.dts != AV_NOPTS_VALUE ? packet.dts : unknownTime();
    std::int64_t decoded = packet.dts != AV_NOPTS_VALUE ? packet.dts : decodingTime(packet.pts);
    if (!m_hasBegun) {
        m_hasBegun = true;
        m_origin = decoded;
        m_last = decoded - 1;
    }
    if (decoded - m_last > kForwardMax || m_last - decoded > kBackMax)
        return false;
    decoded = std::max(decoded, m_last + 1);
    m_last = decoded;
    packet.dts = decoded - m_origin;
    packet.pts = std::max(packet.pts, decoded) - m_origin;
    return true;
}

void PacketTimes::setCompanion(AVPacket &packet)
{
    m_lastCompanion = std::max(packet.pts - m_origin, m_lastCompanion);
    packet.pts = m_lastCompanion;
    packet.dts = m_lastCompanion;
}

/// Of FFmpeg's RTSP streams the first picture tells no time, and the others count from it.
std::int64_t PacketTimes::unknownTime() const { return m_hasBegun ? m_last + kUnknownStep : 0; }

std::int64_t PacketTimes::decodingTime(std::int64_t shown)
{
    if (m_shown.empty())
        for (int i = m_reorder; i > 0; --i)
            m_shown.push_back(shown - i * kUnknownStep);
    m_shown.insert(std::ranges::upper_bound(m_shown, shown), shown);
    const std::int64_t first = m_shown.front();
    m_shown.erase(m_shown.begin());
    return first;
}
