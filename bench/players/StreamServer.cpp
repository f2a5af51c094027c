#include "StreamServer.h"

#include "ControlProbe.h"
#include "video/AppSource.h"

#include <algorithm>
#include <chrono>

namespace bench {

StreamServer::StreamServer(PreparedStream stream)
    : m_stream(std::move(stream))
    , m_sentUs(std::size_t(m_stream.pictures.size()))
    , m_server(std::make_unique<RtspServer>(*this, QHostAddress(QHostAddress::LocalHost),
                                            QStringLiteral("/live0")))
    , m_thread([this](const std::stop_token &stop) { run(stop); })
{
    if (!m_server->start(0))
        fail("no RTSP server");
}

StreamServer::~StreamServer()
{
    m_server.reset();
    m_thread = {};
    for (const Sink &sink : m_sinks)
        gst_object_unref(sink.source);
}

qint64 StreamServer::nowUs()
{
    using namespace std::chrono;
    return duration_cast<microseconds>(Clock::now().time_since_epoch()).count();
}

QString StreamServer::streamLine() const
{
    const QString codec = m_stream.format.codec == VideoFormat::Codec::H264
                              ? QStringLiteral("video/x-h264")
                              : QStringLiteral("video/x-h265");
    return QStringLiteral("appsrc name=src is-live=true format=time do-timestamp=true max-bytes=0 "
                          "caps=%1,stream-format=byte-stream,alignment=au,"
                          "width=%2,height=%3,framerate=%4/1")
        .arg(codec)
        .arg(m_stream.format.size.width())
        .arg(m_stream.format.size.height())
        .arg(m_stream.format.fps);
}

void StreamServer::addSink(GstAppSrc *source)
{
    const std::lock_guard lock(m_mutex);
    m_sinks.push_back({GST_APP_SRC(gst_object_ref(source))});
}

void StreamServer::removeSink(GstAppSrc *source)
{
    const std::lock_guard lock(m_mutex);
    m_sinks.remove_if([source](const Sink &sink) {
        if (sink.source != source)
            return false;
        gst_object_unref(sink.source);
        return true;
    });
}

int StreamServer::send(int index)
{
    const std::lock_guard lock(m_mutex);
    const int sinceKey = index % m_stream.format.fps;
    const auto begins = [](const Sink &sink) { return !sink.hasBegun && isPlaying(sink.source); };
    const bool isKey = sinceKey == 0 || std::ranges::any_of(m_sinks, begins);
    if (isKey && sinceKey > 0)
        index = (index - sinceKey + m_stream.format.fps) % int(m_stream.pictures.size());
    const QByteArray &picture = m_stream.pictures[index];
    m_sentUs[std::size_t(index)] = nowUs();
    for (Sink &sink : m_sinks) {
        if (!isPlaying(sink.source))
            continue;
        sink.hasBegun = sink.hasBegun || isKey;
        if (sink.hasBegun)
            gst_app_src_push_buffer(
                sink.source, gst_buffer_new_memdup(picture.constData(), gsize(picture.size())));
    }
    return index;
}

void StreamServer::run(const std::stop_token &stop)
{
    const std::chrono::nanoseconds interval(1000000000 / m_stream.format.fps);
    auto next = Clock::now();
    int index = 0;
    while (!stop.stop_requested()) {
        std::this_thread::sleep_until(next);
        next += interval;
        index = (send(index) + 1) % int(m_stream.pictures.size());
    }
}

} // namespace bench
