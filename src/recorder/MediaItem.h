#pragma once

#include "video/FFmpegPointers.h"

#include <QtGlobal>

#include <memory>

/// What the packets of one stream have in common. A new one, be it of the same contents, means that
/// something is missing between its packets and those before.
struct RecordedStream
{
    ffmpeg::ParametersPtr parameters;
    AVRational timeBase{};
};

/// A packet on its way to the file: of the video, or of what accompanies it in time.
struct MediaItem
{
    std::shared_ptr<const RecordedStream> stream;
    std::shared_ptr<const AVPacket> packet;
    qint64 arrivedUs = 0; ///< by PlaybackState::nowUs()
    bool isVideo = true;

    bool isKey() const { return isVideo && (packet->flags & AV_PKT_FLAG_KEY) != 0; }

    qint64 bytes() const { return packet->size; }
};
