#pragma once

#include "FFmpegPointers.h"

#include <QImage>

/// Turns decoded frames into RGBA pictures of the same size. The scaler is kept while size and
/// pixel format stay as they were.
class FrameConverter
{
public:
    /// A null image when the frame holds no picture or cannot be converted.
    QImage convert(const AVFrame *frame);

private:
    bool prepare(const AVFrame &frame);

    ffmpeg::SwsContextPtr m_scaler;
    int m_width = 0;
    int m_height = 0;
    int m_format = AV_PIX_FMT_NONE;
};
