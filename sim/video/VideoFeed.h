#pragma once

#include "VideoFormat.h"

#include <QString>

#include <gst/app/gstappsrc.h>

#include <atomic>

/// What an RTSP server serves: a source of buffers that goes into whatever pipelines it is given.
class VideoFeed
{
public:
    virtual ~VideoFeed() = default;

    // Any thread.
    /// GStreamer elements from an appsrc named "src" to a stream of the format's codec.
    virtual QString streamLine() const = 0;
    virtual VideoFormat format() const = 0;
    virtual void addSink(GstAppSrc *source) = 0;
    virtual void removeSink(GstAppSrc *source) = 0;

    std::atomic<bool> garbage = false; ///< damage the pictures on their way to the payloader
};
