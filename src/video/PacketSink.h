#pragma once

#include "FFmpegPointers.h"

#include <QtGlobal>

/// Is handed every packet of the video as it came, whole pictures of a stream whose packets are
/// pieces of them. Called by the threads that read, of which an old one may outlive its stream for
/// a moment; a sink must not make them wait.
class PacketSink
{
public:
    virtual ~PacketSink() = default;

    /// A stream begins; its number tells its packets from those of the one before.
    virtual quint64 beginStream(const AVCodecParameters &parameters, AVRational timeBase) = 0;

    /// `packet` is reference-counted. `arrivedUs` is by PlaybackState::nowUs().
    virtual void takePacket(quint64 stream, const AVPacket &packet, qint64 arrivedUs) = 0;
};
