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
