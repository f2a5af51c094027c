#include "FramePump.h"

#include "AppSource.h"
#include "LatencyStrip.h"

#include <QDateTime>

#include <algorithm>
#include <chrono>

namespace {

using Clock = std::chrono::steady_clock;

GstBuffer *bufferOf(const QImage &picture)
{
    const auto bytes = static_cast<gsize>(picture.sizeInBytes());
    GstBuffer *buffer = gst_buffer_new_allocate(nullptr, bytes, nullptr);
    gst_buffer_fill(buffer, 0, picture.constBits(), bytes);
    return buffer;
}

} // namespace

FramePump::FramePump(const VideoFormat &format)
    : m_format(format)
    , m_thread([this] { run(); })
{
}

FramePump::~FramePump()
{
    {
        const std::lock_guard lock(m_mutex);
        m_quit = true;
    }
    m_wake.notify_all();
    m_thread.join();
}

void FramePump::setView(const SceneView &view)
{
    const std::lock_guard lock(m_mutex);
    m_view = view;
}

void FramePump::setFormat(const VideoFormat &format)
{
    const std::lock_guard lock(m_mutex);
    m_format = format;
}

void FramePump::resize(const QSize &size)
{
    const std::lock_guard lock(m_mutex);
    m_format.size = size;
    GstCaps *caps = gst_caps_from_string(m_format.rawCaps().toLatin1().constData());
    for (const SinkPtr &sink : m_sinks)
        gst_app_src_set_caps(sink.get(), caps);
    gst_caps_unref(caps);
}

VideoFormat FramePump::format() const
{
    const std::lock_guard lock(m_mutex);
    return m_format;
}

void FramePump::setStalled(bool stalled)
{
    {
        const std::lock_guard lock(m_mutex);
        m_stalled = stalled;
    }
    m_wake.notify_all();
}

QString FramePump::streamLine() const { return format().encoderPipeline(); }

void FramePump::addSink(GstAppSrc *source)
{
    {
        const std::lock_guard lock(m_mutex);
        m_sinks.emplace_back(GST_APP_SRC(gst_object_ref(source)));
    }
    m_wake.notify_all();
}

void FramePump::removeSink(GstAppSrc *source)
{
    const std::lock_guard lock(m_mutex);
    m_sinks.remove_if([source](const SinkPtr &sink) { return sink.get() == source; });
}

void FramePump::endStreams()
{
    std::list<SinkPtr> sinks;
    {
        const std::lock_guard lock(m_mutex);
        sinks.swap(m_sinks);
    }
    for (const SinkPtr &sink : sinks)
        gst_app_src_end_of_stream(sink.get());
}

void FramePump::pushPicture(const QImage &picture)
{
    const std::lock_guard lock(m_mutex);
    if (picture.size() != m_format.size)
        return;
    for (const SinkPtr &sink : m_sinks) {
        if (isPlaying(sink.get()))
            gst_app_src_push_buffer(sink.get(), bufferOf(picture));
    }
}

void FramePump::run()
{
    qint64 number = 0;
    auto next = Clock::now();
    while (true) {
        SceneView view;
        VideoFormat format;
        {
            std::unique_lock lock(m_mutex);
            m_wake.wait(lock, [this] { return m_quit || (!m_stalled && !m_sinks.empty()); });
            m_wake.wait_until(lock, next, [this] { return m_quit; });
            if (m_quit)
                return;
            view = m_view;
            format = m_format;
        }
        const std::chrono::nanoseconds interval(1000000000 / format.fps);
        // After a pause, or when drawing cannot keep up, go on from now instead of catching up.
        next = std::max(next + interval, Clock::now());
        QImage picture = m_renderer.render(view, format.size, ++number);
        latency_strip::draw(picture, QDateTime::currentMSecsSinceEpoch());
        pushPicture(picture);
    }
}
