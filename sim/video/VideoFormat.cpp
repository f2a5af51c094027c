#include "VideoFormat.h"

#include <QStringList>

#include <algorithm>
#include <array>

namespace {

constexpr QSize kSmallest = {160, 120};
constexpr QSize kLargest = {3840, 2160};
constexpr std::array kSizes = {QSize(1920, 1080), QSize(1280, 720)}; // by their code
constexpr int kFpsMax = 120;
constexpr double kBitsPerPixel = 0.12;

bool within(const QSize &size)
{
    return size.width() >= kSmallest.width() && size.height() >= kSmallest.height()
           && size.width() <= kLargest.width() && size.height() <= kLargest.height()
           && size.width() % 2 == 0 && size.height() % 2 == 0;
}

} // namespace

QString VideoFormat::rawCaps() const
{
    return QStringLiteral("video/x-raw,format=BGRx,width=%1,height=%2,framerate=%3/1")
        .arg(size.width())
        .arg(size.height())
        .arg(fps);
}

QString VideoFormat::encoderPipeline() const
{
    const int kbps = std::max(500, int(kBitsPerPixel * size.width() * size.height() * fps / 1000));
    const QString encoder =
        codec == Codec::H264
            ? QStringLiteral("x264enc tune=zerolatency speed-preset=ultrafast threads=1 bframes=0 "
                             "key-int-max=%1 bitrate=%2 ! video/x-h264,profile=baseline")
            : QStringLiteral("x265enc tune=zerolatency speed-preset=ultrafast key-int-max=%1 "
                             "bitrate=%2 option-string=bframes=0:log-level=none");
    return QStringLiteral("appsrc name=src is-live=true format=time do-timestamp=true "
                          "max-buffers=2 leaky-type=downstream caps=%1 "
                          "! videoconvert ! video/x-raw,format=I420 ! ")
               .arg(rawCaps())
           + encoder.arg(fps).arg(kbps);
}

QString VideoFormat::rtpPayloader() const
{
    return codec == Codec::H264 ? QStringLiteral("rtph264pay name=pay0 pt=96 config-interval=-1")
                                : QStringLiteral("rtph265pay name=pay0 pt=96 config-interval=-1");
}

QString VideoFormat::parser() const
{
    return codec == Codec::H264 ? QStringLiteral("h264parse config-interval=-1")
                                : QStringLiteral("h265parse config-interval=-1");
}

int VideoFormat::resolutionCode() const { return size == kSizes[0] ? 1 : 2; }

int VideoFormat::codecCode() const { return codec == Codec::H264 ? 1 : 2; }

bool VideoFormat::setCodes(int resolution, int newCodec)
{
    const auto isCode = [](int value) { return value == 1 || value == 2; };
    if (!isCode(resolution) || !isCode(newCodec)
        || (resolution == resolutionCode() && newCodec == codecCode()))
        return false;
    if (resolution != resolutionCode())
        size = kSizes[std::size_t(resolution - 1)];
    codec = newCodec == 1 ? Codec::H264 : Codec::H265;
    return true;
}

std::optional<VideoFormat> parseVideoFormat(const QString &size, const QString &fps,
                                            const QString &codec)
{
    VideoFormat format;
    const QStringList sides = size.split(u'x');
    if (sides.size() != 2)
        return std::nullopt;
    format.size = {sides[0].toInt(), sides[1].toInt()};
    format.fps = fps.toInt();
    if (codec == QLatin1String("h265"))
        format.codec = VideoFormat::Codec::H265;
    else if (codec != QLatin1String("h264"))
        return std::nullopt;
    if (!within(format.size) || format.fps < 1 || format.fps > kFpsMax)
        return std::nullopt;
    return format;
}
