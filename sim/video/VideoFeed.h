#pragma once

#include <QString>

#include <gst/app/gstappsrc.h>

#include <atomic>

/// What an RTSP server serves: a source of buffers that goes into whatever pipelines it is given.
class VideoFeed
{
public:
    virtual ~VideoFeed() = default;

    /// GStreamer elements from an appsrc named "src" to a payloader named "pay0".
    virtual QString launchLine() const = 0;
    // Any thread.
    virtual void addSink(GstAppSrc *source) = 0;
    virtual void removeSink(GstAppSrc *source) = 0;

    std::atomic<bool> garbage = false; ///< damage the pictures on their way to the payloader
};
