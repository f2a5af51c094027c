#pragma once

#include <QObject>
#include <QSize>
#include <QString>

/// How a stream's media come. Of an RTSP stream opened with a choice of transports, Other.
enum class VideoTransport : quint8 { None, Udp, RtspOverUdp, RtspOverTcp, Other };

/// What has become of a stream's pictures since the player was made, stage by stage, and how long
/// the newest one took through them.
struct VideoStatistics
{
    Q_GADGET
    // clang-format off
    Q_PROPERTY(int transport READ transportIndex)
    Q_PROPERTY(QString codec MEMBER codec)
    Q_PROPERTY(QSize size MEMBER size)
    Q_PROPERTY(quint64 receivedBytes MEMBER receivedBytes)
    Q_PROPERTY(quint64 received MEMBER received)
    Q_PROPERTY(quint64 decoded MEMBER decoded)
    Q_PROPERTY(quint64 damaged MEMBER damaged)
    Q_PROPERTY(quint64 dropped MEMBER dropped)
    Q_PROPERTY(quint64 presented MEMBER presented)
    Q_PROPERTY(quint64 losses MEMBER losses)
    Q_PROPERTY(double decodeMs MEMBER decodeMs)
    Q_PROPERTY(double convertMs MEMBER convertMs)
    Q_PROPERTY(double paintMs MEMBER paintMs)
    Q_PROPERTY(double ageMs MEMBER ageMs)
    // clang-format on

public:
    VideoTransport transport = VideoTransport::None; ///< of the open stream
    QString codec;                                   ///< FFmpeg's name; empty without a stream
    QSize size;                                      ///< of the picture shown; empty without one

    quint64 receivedBytes = 0;
    quint64 received = 0; ///< given to the decoder
    quint64 decoded = 0;
    quint64 damaged = 0; ///< refused by the decoder, or decoded in spite of what was missing
    quint64 converted = 0;
    quint64 dropped = 0;   ///< replaced by a newer one before the item got them
    quint64 presented = 0; ///< painted, however often
    quint64 losses = 0;    ///< of the stream

    double decodeMs = 0;
    double convertMs = 0;
    double paintMs = 0; ///< painting alone, not what the scene graph makes of it
    double ageMs = 0;   ///< from the arrival of its last packet to the end of its first painting

    int transportIndex() const { return int(transport); }
};
