#include "UdpSender.h"

UdpSender::UdpSender(VideoFeed &feed, const QString &host, quint16 port)
    : m_feed(feed)
{
    gst_init(nullptr, nullptr);
    const QString launch =
        QStringLiteral("%1 ! %2 ! mpegtsmux alignment=7 ! udpsink host=%3 port=%4 sync=false")
            .arg(feed.streamLine(), feed.format().parser(), host)
            .arg(port);
    GError *error = nullptr;
    m_pipeline = gst_parse_launch(launch.toUtf8().constData(), &error);
    if (error) {
        m_error = QString::fromUtf8(error->message);
        g_error_free(error);
        return;
    }
    m_source = gst_bin_get_by_name(GST_BIN(m_pipeline), "src");
    gst_element_set_state(m_pipeline, GST_STATE_PLAYING);
    m_feed.addSink(GST_APP_SRC(m_source));
}

UdpSender::~UdpSender()
{
    if (m_source) {
        m_feed.removeSink(GST_APP_SRC(m_source));
        gst_object_unref(m_source);
    }
    if (m_pipeline) {
        gst_element_set_state(m_pipeline, GST_STATE_NULL);
        gst_object_unref(m_pipeline);
    }
}
