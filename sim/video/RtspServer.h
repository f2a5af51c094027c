#pragma once

#include "VideoFeed.h"

#include <QHostAddress>
#include <QString>

#include <gst/rtsp-server/rtsp-server.h>

#include <atomic>
#include <functional>
#include <memory>
#include <thread>

class FeedGate;

/// Serves a feed's pictures over RTSP, on a main loop and thread of its own. One encoder feeds
/// every client.
class RtspServer
{
public:
    RtspServer(VideoFeed &feed, const QHostAddress &address, const QString &path);
    ~RtspServer();
    RtspServer(const RtspServer &) = delete;
    RtspServer &operator=(const RtspServer &) = delete;

    /// Port 0 takes a free one, and keeps it for later starts. False when it cannot be had.
    bool start(quint16 port);
    /// Closes the listening socket and cuts every client off.
    void kill();
    bool isRunning() const { return m_attached != 0; }
    /// The next client gets the feed as it then is.
    void applyFormat();
    QString url() const;

    std::atomic<int> sessionSeconds = 60; ///< life of a new session without a sign of its client
    bool tcpOnly = false;                 ///< to be set before start()

private:
    void inLoop(const std::function<void()> &call);
    GstRTSPMediaFactory *makeFactory();
    static void configure(GstRTSPMediaFactory *factory, GstRTSPMedia *media, gpointer server);

    std::shared_ptr<FeedGate> m_gate;
    QHostAddress m_address;
    QString m_path;
    quint16 m_port = 0;
    GMainContext *m_context;
    GMainLoop *m_loop;
    GstRTSPServer *m_server = nullptr;
    guint m_attached = 0;
    GSource *m_sweep = nullptr; // ends the sessions whose time is up
    std::thread m_thread;
};
