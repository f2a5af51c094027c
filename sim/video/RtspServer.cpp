#include "RtspServer.h"

#include <future>

namespace {

GstRTSPFilterResult removeEvery(GstRTSPServer *, GstRTSPClient *, gpointer)
{
    return GST_RTSP_FILTER_REMOVE;
}

struct SinkBinding
{
    VideoFeed *feed;
    GstAppSrc *source;
};

void releaseSink(gpointer data, GObject *) { delete static_cast<SinkBinding *>(data); }

void onUnprepared(GstRTSPMedia *, gpointer data)
{
    const auto *binding = static_cast<SinkBinding *>(data);
    binding->feed->removeSink(binding->source);
}

constexpr guint kSweepMs = 500;
constexpr gsize kSoundBytes = 5; // a start code and the kind of unit
constexpr gsize kDamageStep = 41;

GstPadProbeReturn damage(GstPad *, GstPadProbeInfo *info, gpointer data)
{
    if (!static_cast<VideoFeed *>(data)->garbage)
        return GST_PAD_PROBE_OK;
    GstBuffer *buffer = gst_buffer_make_writable(GST_PAD_PROBE_INFO_BUFFER(info));
    GstMapInfo bytes;
    if (gst_buffer_map(buffer, &bytes, GST_MAP_READWRITE)) {
        for (gsize i = kSoundBytes; i < bytes.size; i += kDamageStep)
            bytes.data[i] = guint8(bytes.data[i] ^ (0x55 + i));
        gst_buffer_unmap(buffer, &bytes);
    }
    GST_PAD_PROBE_INFO_DATA(info) = buffer;
    return GST_PAD_PROBE_OK;
}

void onNewSession(GstRTSPClient *, GstRTSPSession *session, gpointer server)
{
    g_object_set(session, "timeout", static_cast<RtspServer *>(server)->sessionSeconds.load(),
                 "extra-timeout", 0, nullptr);
}

void onClientConnected(GstRTSPServer *, GstRTSPClient *client, gpointer server)
{
    g_signal_connect(client, "new-session", G_CALLBACK(onNewSession), server);
}

gboolean endOldSessions(gpointer pool)
{
    gst_rtsp_session_pool_cleanup(static_cast<GstRTSPSessionPool *>(pool));
    return G_SOURCE_CONTINUE;
}

} // namespace

RtspServer::RtspServer(VideoFeed &feed, const QHostAddress &address, const QString &path)
    : m_feed(feed)
    , m_address(address)
    , m_path(path)
    , m_context(g_main_context_new())
    , m_loop(g_main_loop_new(m_context, FALSE))
{
    gst_init(nullptr, nullptr);
    m_thread = std::thread([this] {
        g_main_context_push_thread_default(m_context);
        g_main_loop_run(m_loop);
        g_main_context_pop_thread_default(m_context);
    });
}

RtspServer::~RtspServer()
{
    kill();
    g_main_loop_quit(m_loop);
    m_thread.join();
    g_main_loop_unref(m_loop);
    g_main_context_unref(m_context);
}

void RtspServer::inLoop(const std::function<void()> &call)
{
    struct Job
    {
        const std::function<void()> &call;
        std::promise<void> done;
    };
    Job job{call, {}};
    g_main_context_invoke(
        m_context,
        [](gpointer data) -> gboolean {
            auto *running = static_cast<Job *>(data);
            running->call();
            running->done.set_value();
            return G_SOURCE_REMOVE;
        },
        &job);
    job.done.get_future().wait();
}

GstRTSPMediaFactory *RtspServer::makeFactory()
{
    GstRTSPMediaFactory *factory = gst_rtsp_media_factory_new();
    const QString launch = QStringLiteral("( %1 )").arg(m_feed.launchLine());
    gst_rtsp_media_factory_set_launch(factory, launch.toUtf8().constData());
    gst_rtsp_media_factory_set_shared(factory, TRUE);
    g_signal_connect(factory, "media-configure", G_CALLBACK(&RtspServer::configure), this);
    return factory;
}

void RtspServer::configure(GstRTSPMediaFactory *, GstRTSPMedia *media, gpointer server)
{
    VideoFeed &feed = static_cast<RtspServer *>(server)->m_feed;
    GstElement *bin = gst_rtsp_media_get_element(media);
    GstElement *source = gst_bin_get_by_name(GST_BIN(bin), "src");
    feed.addSink(GST_APP_SRC(source));
    auto *binding = new SinkBinding{&feed, GST_APP_SRC(source)}; // dies with the media
    g_object_weak_ref(G_OBJECT(media), releaseSink, binding);
    g_signal_connect(media, "unprepared", G_CALLBACK(onUnprepared), binding);
    gst_object_unref(source);
    GstElement *payloader = gst_bin_get_by_name(GST_BIN(bin), "pay0");
    GstPad *pad = gst_element_get_static_pad(payloader, "sink");
    gst_pad_add_probe(pad, GST_PAD_PROBE_TYPE_BUFFER, damage, &feed, nullptr);
    gst_object_unref(pad);
    gst_object_unref(payloader);
    gst_object_unref(bin);
}

bool RtspServer::start(quint16 port)
{
    inLoop([this, port] {
        m_server = gst_rtsp_server_new();
        gst_rtsp_server_set_address(m_server, m_address.toString().toUtf8().constData());
        const quint16 wanted = m_port ? m_port : port;
        gst_rtsp_server_set_service(m_server, QByteArray::number(wanted).constData());
        GstRTSPMountPoints *mounts = gst_rtsp_server_get_mount_points(m_server);
        gst_rtsp_mount_points_add_factory(mounts, m_path.toUtf8().constData(), makeFactory());
        g_object_unref(mounts);
        g_signal_connect(m_server, "client-connected", G_CALLBACK(onClientConnected), this);
        m_sweep = g_timeout_source_new(kSweepMs);
        g_source_set_callback(m_sweep, endOldSessions, gst_rtsp_server_get_session_pool(m_server),
                              g_object_unref);
        g_source_attach(m_sweep, m_context);
        m_attached = gst_rtsp_server_attach(m_server, m_context);
        if (m_attached)
            m_port = quint16(gst_rtsp_server_get_bound_port(m_server));
    });
    return isRunning();
}

void RtspServer::kill()
{
    inLoop([this] {
        if (!m_server)
            return;
        if (m_attached)
            g_source_destroy(g_main_context_find_source_by_id(m_context, m_attached));
        m_attached = 0;
        g_source_destroy(m_sweep);
        g_source_unref(m_sweep);
        gst_rtsp_server_client_filter(m_server, removeEvery, nullptr);
        g_object_unref(m_server);
        m_server = nullptr;
    });
}

void RtspServer::applyFormat()
{
    inLoop([this] {
        if (!m_server)
            return;
        gst_rtsp_server_client_filter(m_server, removeEvery, nullptr);
        GstRTSPMountPoints *mounts = gst_rtsp_server_get_mount_points(m_server);
        gst_rtsp_mount_points_add_factory(mounts, m_path.toUtf8().constData(), makeFactory());
        g_object_unref(mounts);
    });
}

QString RtspServer::url() const
{
    return QStringLiteral("rtsp://%1:%2%3").arg(m_address.toString()).arg(m_port).arg(m_path);
}
