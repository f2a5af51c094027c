#include "FrameConverter.h"

#include <QDebug>

#include <algorithm>
#include <array>
#include <memory>

namespace {

constexpr int kBytesPerPixel = 4;
constexpr int kRowAlignment = 64; // bytes; what one step of swscale's widest loop writes

// A stream that names no matrix is of the one that its size stands for.
constexpr int kHighDefinitionLines = 720;

// A pixel shape beyond this comes from a damaged header.
constexpr int kPixelStretchMax = 16;

/// A picture whose rows have room for whole steps of swscale. In QImage's own memory, of rows
/// without a gap, it would write past the end of the last one, or leave the right edge undrawn.
QImage makeBuffer(int width, int height)
{
    const int stride = FFALIGN(width * kBytesPerPixel, kRowAlignment);
    std::unique_ptr<void, decltype(&av_free)> memory(
        av_malloc(static_cast<size_t>(stride) * static_cast<size_t>(height)), &av_free);
    if (!memory)
        return {};
    QImage image(static_cast<uchar *>(memory.get()), width, height, stride, QImage::Format_RGBA8888,
                 &av_free, memory.get());
    if (!image.isNull())
        static_cast<void>(memory.release()); // the picture frees it
    return image;
}

/// Swscale's number of the matrix.
int matrixOf(const AVFrame &frame)
{
    if (frame.colorspace != AVCOL_SPC_UNSPECIFIED)
        return frame.colorspace;
    return frame.height >= kHighDefinitionLines ? SWS_CS_ITU709 : SWS_CS_ITU601;
}

bool isFullRange(const AVFrame &frame)
{
    switch (frame.format) {
    case AV_PIX_FMT_YUVJ420P: // formats that say so by themselves
    case AV_PIX_FMT_YUVJ422P:
    case AV_PIX_FMT_YUVJ440P:
    case AV_PIX_FMT_YUVJ444P:
        return true;
    default:
        return frame.color_range == AVCOL_RANGE_JPEG;
    }
}

AVRational pixelShape(const AVFrame &frame)
{
    const auto [width, height] = frame.sample_aspect_ratio;
    const bool known = width > 0 && height > 0 && width / kPixelStretchMax <= height
                       && height / kPixelStretchMax <= width;
    return known ? frame.sample_aspect_ratio : AVRational{1, 1};
}

} // namespace

bool FrameConverter::prepare(const AVFrame &frame)
{
    const int matrix = matrixOf(frame);
    const bool fullRange = isFullRange(frame);
    if (m_scaler && frame.width == m_width && frame.height == m_height && frame.format == m_format
        && matrix == m_matrix && fullRange == m_fullRange)
        return true;
    m_scaler.reset(sws_getContext(
        frame.width, frame.height, static_cast<AVPixelFormat>(frame.format), frame.width,
        frame.height, AV_PIX_FMT_RGBA, SWS_FAST_BILINEAR, nullptr, nullptr, nullptr));
    if (!m_scaler) {
        qDebug() << "[FFmpegPlayer] 无法创建SwsContext";
        return false;
    }
    // The matrix from RGB is not used. For a frame that is RGB itself there is nothing to set.
    constexpr int kUnchanged = 1 << 16; // contrast and saturation
    sws_setColorspaceDetails(m_scaler.get(), sws_getCoefficients(matrix), fullRange ? 1 : 0,
                             sws_getCoefficients(SWS_CS_DEFAULT), 1, 0, kUnchanged, kUnchanged);
    m_width = frame.width;
    m_height = frame.height;
    m_format = frame.format;
    m_matrix = matrix;
    m_fullRange = fullRange;
    return true;
}

QImage &FrameConverter::freeBuffer()
{
    const auto isFree = [](const QImage &buffer) { return buffer.isNull() || buffer.isDetached(); };
    auto found = std::ranges::find_if(m_buffers, isFree);
    if (found == m_buffers.end())
        found = m_buffers.begin(); // its holders keep the old memory
    else if (found->width() == m_width && found->height() == m_height)
        return *found;
    *found = makeBuffer(m_width, m_height);
    return *found;
}

QImage FrameConverter::convert(const AVFrame *frame)
{
    if (!frame || !frame->data[0] || !prepare(*frame))
        return {};
    QImage &image = freeBuffer();
    if (image.isNull())
        return {};
    // swscale reads four planes and strides whatever the format needs.
    const std::array<uint8_t *, 4> planes = {image.bits(), nullptr, nullptr, nullptr};
    const std::array<int, 4> strides = {static_cast<int>(image.bytesPerLine()), 0, 0, 0};
    const int rows = sws_scale(m_scaler.get(), frame->data, frame->linesize, 0, m_height,
                               planes.data(), strides.data());
    if (rows <= 0) {
        qDebug() << "[FFmpegPlayer] 图像转换失败:" << rows;
        return {};
    }
    const AVRational shape = pixelShape(*frame);
    image.setDotsPerMeterX(shape.den);
    image.setDotsPerMeterY(shape.num);
    return image;
}
