#pragma once

#include <QSize>
#include <QString>

#include <optional>

/// Size, rate and codec of the simulated video, and what GStreamer makes of them.
struct VideoFormat
{
    enum class Codec : quint8 { H264, H265 };

    QSize size = {1280, 720};
    int fps = 25;
    Codec codec = Codec::H264;

    /// What the appsrc takes.
    QString rawCaps() const;
    /// The appsrc named "src" with the encoder behind it; the parameter sets repeat with every key
    /// frame, one a second, and nothing waits for a later picture.
    QString encoderPipeline() const;
    QString rtpPayloader() const;
    QString parser() const;

    /// As the pod's encoder settings have it; a size that they do not know counts as 1280x720.
    int resolutionCode() const;
    int codecCode() const;
    /// Changes what is not as the codes say; false where they are unknown or all is so.
    bool setCodes(int resolution, int codec);
};

/// "1280x720", "25", "h264"; nothing when one of them makes no sense.
std::optional<VideoFormat> parseVideoFormat(const QString &size, const QString &fps,
                                            const QString &codec);
