#pragma once

#include <QtGlobal>

/// How a stream's media come. Of an RTSP stream opened with a choice of transports, Other.
enum class VideoTransport : quint8 { None, Udp, RtspOverUdp, RtspOverTcp, Other };

/// What has become of a stream's pictures since the player was made, stage by stage, and how long
/// the newest one took through them.
struct VideoStatistics
{
    VideoTransport transport = VideoTransport::None; ///< of the open stream

    quint64 received = 0; ///< given to the decoder
    quint64 decoded = 0;
    quint64 converted = 0;
    quint64 dropped = 0;   ///< replaced by a newer one before the item got them
    quint64 presented = 0; ///< painted, however often

    double decodeMs = 0;
    double convertMs = 0;
    double paintMs = 0; ///< painting alone, not what the scene graph makes of it
    double ageMs = 0;   ///< from the arrival of its last packet to the end of its first painting
};
