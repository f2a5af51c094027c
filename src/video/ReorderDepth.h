#pragma once

#include "FFmpegPointers.h"

#include <vector>

/// FFmpeg's decoder of H.264 shows each picture as soon as it may be the next one. Where a stream
/// does not tell how many pictures have to be held back for that, it learns from its mistakes, each
/// of which costs a picture: the first B-picture that others refer to is shown ahead of those that
/// come before it. This tells the decoder in time, from the numbers by which pictures are ordered.
/// Streams of any other kind, and those without such B-pictures, are left alone.
class ReorderDepth
{
public:
    explicit ReorderDepth(const AVCodecContext &codec);

    /// Before `packet`, a picture, is given to the decoder.
    void prepare(AVCodecContext &codec, const AVPacket &packet);

private:
    void add(AVCodecContext &codec, int number, bool isReference);

    ffmpeg::CodecContextPtr m_parsed; // the parser's own, or none
    ffmpeg::ParserPtr m_parser;
    std::vector<int> m_held; // decoded and not shown
    int m_shown = 0;         // newest
    bool m_mayHold = false;  // the decoder has met a gap
};
