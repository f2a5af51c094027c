#pragma once

#include "VideoFeed.h"

#include <QString>

/// Sends a feed's pictures as an MPEG transport stream to one UDP address, for as long as it
/// lives.
class UdpSender
{
public:
    UdpSender(VideoFeed &feed, const QString &host, quint16 port);
    ~UdpSender();
    UdpSender(const UdpSender &) = delete;
    UdpSender &operator=(const UdpSender &) = delete;

    /// Empty when the pipeline runs.
    QString errorString() const { return m_error; }

private:
    VideoFeed &m_feed;
    GstElement *m_pipeline = nullptr;
    GstElement *m_source = nullptr;
    QString m_error;
};
