#pragma once

#include "video/VideoFormat.h"

#include <QByteArrayList>

namespace bench {

/// A loop of encoded pictures, one access unit each, the first a key picture and one every second.
/// The strip of each carries its index in the loop instead of a time.
struct PreparedStream
{
    VideoFormat format;
    QByteArrayList pictures;
};

/// Encodes `seconds` of the simulated pod's view, or reads what an earlier call left in `folder`.
PreparedStream prepareStream(const VideoFormat &format, int seconds, const QString &folder);

} // namespace bench
