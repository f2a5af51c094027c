#pragma once

#include "klv/UasDatalink.h"

#include <QList>
#include <QString>

#include <memory>

extern "C" {
#include <libavformat/avformat.h>
}

/// A file of recorded streams, read packet by packet. One thread.
class MediaFile
{
public:
    /// False, and a text in `error`, when it cannot be read.
    bool open(const QString &file, QString &error);
    /// Goes on to the next packet; false at the end.
    bool read();
    /// Goes on with the first packet at or behind this byte.
    bool seek(qint64 bytes);

    bool isTransportStream() const;
    /// The first stream of H.264 or H.265; -1 without one.
    int videoStream() const;
    AVCodecID codec(int stream) const;
    QString codecNames() const; ///< of all streams, for messages

    const AVPacket &packet() const { return *m_packet; }
    /// A time of the packet in microseconds; nothing where it has none.
    std::optional<qint64> microseconds(int64_t time) const;
    /// The sets in a packet that is not of a video; those with a wrong checksum are left out.
    QList<klv::UasDatalinkSet> sets() const;

private:
    struct Close
    {
        void operator()(AVFormatContext *input) const { avformat_close_input(&input); }
    };
    struct Free
    {
        void operator()(AVPacket *packet) const { av_packet_free(&packet); }
    };

    std::unique_ptr<AVFormatContext, Close> m_input;
    std::unique_ptr<AVPacket, Free> m_packet;
};
