#pragma once

#include "video/DecodeTask.h"

#include <limits>

/// Decoded pictures, each as a hash of what is shown of it; in the order in which they are shown.
using Hashes = QList<size_t>;

struct PictureSource
{
    QString url;
    QString rtspTransport = QStringLiteral("tcp");
    qsizetype limit = std::numeric_limits<qsizetype>::max(); ///< pictures
};

inline size_t hashOf(const QImage &picture)
{
    return qHashBits(picture.constBits(), size_t(picture.sizeInBytes()));
}

/// What FFmpeg's own parsing and decoding makes of a source.
inline Hashes picturesOfFfmpeg(const PictureSource &source)
{
    AVFormatContext *opened = nullptr;
    ffmpeg::Dictionary options;
    options.set("rtsp_transport", source.rtspTransport.toUtf8().constData());
    if (avformat_open_input(&opened, source.url.toUtf8().constData(), nullptr, options.address())
        < 0)
        return {};
    const ffmpeg::FormatContextPtr format(opened);
    avformat_find_stream_info(opened, nullptr);
    const AVCodecParameters *parameters = opened->streams[0]->codecpar;
    const ffmpeg::CodecContextPtr codec(
        avcodec_alloc_context3(avcodec_find_decoder(parameters->codec_id)));
    avcodec_parameters_to_context(codec.get(), parameters);
    codec->thread_count = 1;
    avcodec_open2(codec.get(), nullptr, nullptr);
    const ffmpeg::PacketPtr packet(av_packet_alloc());
    const ffmpeg::FramePtr frame(av_frame_alloc());
    FrameConverter converter;
    Hashes hashes;
    while (hashes.size() < source.limit && av_read_frame(opened, packet.get()) >= 0) {
        avcodec_send_packet(codec.get(), packet.get());
        while (avcodec_receive_frame(codec.get(), frame.get()) >= 0)
            hashes.append(hashOf(converter.convert(frame.get())));
        av_packet_unref(packet.get());
    }
    return hashes;
}

/// Sees each picture that a decode task leaves to be shown, until there are enough.
struct Screen : PacketSink
{
    std::shared_ptr<MediaStream> stream;
    std::shared_ptr<PlaybackState> state;
    qsizetype limit = 0;
    Hashes hashes = {};
    qint64 newest = 0;

    quint64 beginStream(const AVCodecParameters &, AVRational) override { return 0; }
    void takePacket(quint64, const AVPacket &, qint64) override
    {
        const QImage picture = state->currentFrame().image;
        if (!picture.isNull() && std::exchange(newest, picture.cacheKey()) != newest)
            hashes.append(hashOf(picture));
        if (hashes.size() >= limit)
            stream->abort();
    }
};

struct Shown
{
    Hashes pictures;
    bool closesEarly = false; ///< in the end
};

/// What the player shows of a source.
inline Shown picturesOfPlayer(const PictureSource &source)
{
    stream_options::Settings settings;
    settings.rtspTransport = source.rtspTransport;
    const auto stream =
        openMediaStream({source.url, settings, std::make_shared<AbortFlag>(false)}).stream;
    if (!stream)
        return {};
    const auto screen = std::make_shared<Screen>();
    screen->stream = stream;
    screen->limit = source.limit;
    screen->state = std::make_shared<PlaybackState>([&](quint64) { stream->abort(); });
    screen->state->setPlaying(true);
    DecodeTask(screen->state, stream, screen->state->beginGeneration(), screen).run();
    return {screen->hashes, stream->assembler() && stream->assembler()->closesEarly()};
}
