#pragma once

#include "MediaItem.h"
#include "PacketTimes.h"

#include <QFile>

/// One file of a recording: MPEG-TS of a video stream's packets as they came, and of the telemetry
/// beside them. Every packet is handed to the system before write() returns, so that a program that
/// is killed leaves a file that plays to its last picture. One thread; what a dead disk makes of
/// its calls is a long wait.
class TransportStreamFile
{
public:
    TransportStreamFile() = default;
    ~TransportStreamFile();
    Q_DISABLE_COPY(TransportStreamFile)

    /// Makes the file, which must not exist. False on a failure.
    bool create(const QString &path, const RecordedStream &stream);

    /// Leap: the packet's time does not go on from the last one's; nothing was written.
    enum class Result : quint8 { Written, Leap, Failed };
    Result write(const MediaItem &item);

    QString path() const { return m_file.fileName(); }
    qint64 bytes() const { return m_bytes; }
    /// Of the newest failure, for the operator.
    QString errorText() const { return m_error; }

private:
    struct MuxerDeleter
    {
        void operator()(AVFormatContext *context) const { avformat_free_context(context); }
    };

    template<typename Byte>
    static int writeBytes(void *self, Byte *data, int size);
    bool addStream(const AVCodecParameters &parameters);
    bool openMuxer(const RecordedStream &stream);
    ffmpeg::PacketPtr accessUnit(const AVPacket &set);
    bool fail(const QString &text);

    QFile m_file;
    std::unique_ptr<AVFormatContext, MuxerDeleter> m_muxer;
    PacketTimes m_times{0};
    quint8 m_sets = 0; // written, as they are numbered
    qint64 m_bytes = 0;
    QString m_error;
};
