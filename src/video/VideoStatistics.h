#pragma once

#include <QtGlobal>

/// What has become of a stream's pictures since the player was made, stage by stage, and how long
/// the newest one took through them.
struct VideoStatistics
{
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
