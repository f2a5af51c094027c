#pragma once

#include "FFmpegPointers.h"

#include <QImage>

#include <array>

/// Turns decoded frames into RGBA pictures of the same size, by the matrix and range that the
/// stream names, or that its size stands for. The scaler is kept while all of these stay as they
/// were, and so is the memory of pictures that nobody holds any more.
class FrameConverter
{
public:
    /// A null image when the frame holds no picture or cannot be converted. The shape of its pixels
    /// is that of its dots: width to height as dotsPerMeterY to dotsPerMeterX.
    QImage convert(const AVFrame *frame);

private:
    /// One being shown, one on its way there, one that waits, one being made.
    static constexpr int kBuffers = 4;

    bool prepare(const AVFrame &frame);
    QImage &freeBuffer();

    ffmpeg::SwsContextPtr m_scaler;
    std::array<QImage, kBuffers> m_buffers;
    int m_width = 0;
    int m_height = 0;
    int m_format = AV_PIX_FMT_NONE;
    int m_matrix = 0;
    bool m_fullRange = false;
};
