#pragma once

#include "MediaStream.h"
#include "PacketSink.h"
#include "PlaybackState.h"

#include <memory>

/// The decode loop of one playback: reads packets, decodes and converts pictures and leaves the
/// newest in the shared state; a packet goes to the sink, if there is one, once its picture is
/// there. Runs on a thread of the global pool, owns all that it touches and ends when its
/// generation is over or its stream is aborted; a read error never ends it.
class DecodeTask
{
public:
    DecodeTask(std::shared_ptr<PlaybackState> state, std::shared_ptr<MediaStream> stream,
               quint64 generation, std::shared_ptr<PacketSink> sink);

    void run();

private:
    enum class Pass : quint8 { Continue, Leave };

    bool mayRun() const;
    Pass readOnce();
    Pass handleReadError(int code);
    void handleEndOfStream();
    void handleOtherError(int code);
    bool takePacket();
    void decodeAll(const PictureAssembler::Pictures &pictures);
    bool fillPicture(const PictureAssembler::Complete &complete);
    void decode(const AVPacket &packet);
    void receivePictures(qint64 arrivedUs, bool shown);
    void nap(int ms) const;

    std::shared_ptr<PlaybackState> m_state;
    std::shared_ptr<MediaStream> m_stream;
    quint64 m_generation;
    std::shared_ptr<PacketSink> m_sink;
    quint64 m_sinkStream = 0;
    ffmpeg::PacketPtr m_packet;
    ffmpeg::PacketPtr m_picture; // what the assembler made
    ffmpeg::FramePtr m_frame;
    int m_consecutiveErrors = 0;
};
