#include "RtspServer.h"

#include <future>
#include <mutex>

/// The way to the feed for the threads of GStreamer's server, which may outlive it for a moment.
class FeedGate
{
public:
    explicit FeedGate(VideoFeed &feed)
        : m_feed(&feed)
    {
    }

    template<typename Work>
    void enter(const Work &work)
    {
        const std::lock_guard lock(m_mutex);
        if (m_feed)
            work(*m_feed);
    }

    void close()
    {
        const std::lock_guard lock(m_mutex);
        m_feed = nullptr;
    }

private:
    std::mutex m_mutex;
    VideoFeed *m_feed;
};

namespace {

GstRTSPFilterResult removeEvery(GstRTSPServer *, GstRTSPClient *, gpointer)
{
    return GST_RTSP_FILTER_REMOVE;
}

struct SinkBinding
{
    std::shared_ptr<FeedGate> gate;
    GstAppSrc *source;
};

void releaseSink(gpointer data, GClosure *) { delete static_cast<SinkBinding *>(data); }

void onUnprepared(GstRTSPMedia *, gpointer data)
{
    const auto *binding = static_cast<SinkBinding *>(data);
    binding->gate->enter([binding](VideoFeed &feed) { feed.removeSink(binding->source); });
}

void releaseGate(gpointer data) { delete static_cast<std::shared_ptr<FeedGate> *>(data); }

constexpr guint kSweepMs = 500;
constexpr gsize kSoundBytes = 5; // a start code and the kind of unit
constexpr gsize kDamageStep = 41;

GstPadProbeReturn damage(GstPad *, GstPadProbeInfo *info, gpointer data)
{
    bool garbage = false;
    (*static_cast<std::shared_ptr<FeedGate> *>(data))->enter([&](const VideoFeed &feed) {
        garbage = feed.garbage;
    });
    if (!garbage)
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
    : m_gate(std::make_shared<FeedGate>(feed))
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
    m_gate->close();
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
    QString launch;
    m_gate->enter([&](const VideoFeed &feed) {
        launch = QStringLiteral("( %1 ! %2 )").arg(feed.streamLine(), feed.format().rtpPayloader());
    });
    gst_rtsp_media_factory_set_launch(factory, launch.toUtf8().constData());
    gst_rtsp_media_factory_set_shared(factory, TRUE);
    if (tcpOnly)
        gst_rtsp_media_factory_set_protocols(factory, GST_RTSP_LOWER_TRANS_TCP);
    g_signal_connect(factory, "media-configure", G_CALLBACK(&RtspServer::configure), this);
    return factory;
}

void RtspServer::configure(GstRTSPMediaFactory *, GstRTSPMedia *media, gpointer server)
{
    const std::shared_ptr<FeedGate> gate = static_cast<RtspServer *>(server)->m_gate;
    GstElement *bin = gst_rtsp_media_get_element(media);
    GstElement *source = gst_bin_get_by_name(GST_BIN(bin), "src");
    gate->enter([source](VideoFeed &feed) { feed.addSink(GST_APP_SRC(source)); });
    // Dies with the connection, which a signal under way in a client's thread still holds when the
    // media itself is being given up in another.
    g_signal_connect_data(media, "unprepared", G_CALLBACK(onUnprepared),
                          new SinkBinding{gate, GST_APP_SRC(source)}, releaseSink,
                          GConnectFlags(0));
    gst_object_unref(source);
    GstElement *payloader = gst_bin_get_by_name(GST_BIN(bin), "pay0");
    GstPad *pad = gst_element_get_static_pad(payloader, "sink");
    gst_pad_add_probe(pad, GST_PAD_PROBE_TYPE_BUFFER, damage, new std::shared_ptr<FeedGate>(gate),
                      releaseGate);
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
