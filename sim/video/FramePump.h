#pragma once

#include "SceneRenderer.h"
#include "VideoFeed.h"
#include "VideoFormat.h"

#include <condition_variable>
#include <list>
#include <memory>
#include <mutex>
#include <thread>

/// Draws pictures at the format's rate, on a thread of its own, for as long as someone takes
/// them, and pushes each into every pipeline. All methods are safe from any thread.
class FramePump : public VideoFeed
{
public:
    explicit FramePump(const VideoFormat &format);
    ~FramePump() override;
    FramePump(const FramePump &) = delete;
    FramePump &operator=(const FramePump &) = delete;

    void setView(const SceneView &view);
    /// Pipelines of the old format must be gone first, or get pictures that they cannot read.
    void setFormat(const VideoFormat &format);
    /// Goes over to another size in the middle of every stream.
    void resize(const QSize &size);
    /// Stalled, the pump leaves its pipelines without pictures but alive.
    void setStalled(bool stalled);

    QString streamLine() const override;
    VideoFormat format() const override;
    void addSink(GstAppSrc *source) override;
    void removeSink(GstAppSrc *source) override;
    /// Ends the stream in every pipeline and forgets them.
    void endStreams();

private:
    struct Unref
    {
        void operator()(GstAppSrc *source) const { gst_object_unref(source); }
    };
    using SinkPtr = std::unique_ptr<GstAppSrc, Unref>;

    void run();
    void pushPicture(const QImage &picture);

    mutable std::mutex m_mutex; // guards all but the renderer and the thread
    std::condition_variable m_wake;
    bool m_quit = false;
    bool m_stalled = false;
    VideoFormat m_format;
    SceneView m_view;
    std::list<SinkPtr> m_sinks;

    SceneRenderer m_renderer; // the thread's own
    std::thread m_thread;
};
