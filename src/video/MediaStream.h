#pragma once

#include "FFmpegPointers.h"
#include "FrameConverter.h"
#include "StreamOptions.h"

#include <QString>

#include <atomic>
#include <memory>
#include <mutex>

/// Asks FFmpeg's blocking calls on one stream to give up; polled by the interrupt callback, set
/// from any thread, never cleared by those who wait for it.
using AbortFlag = std::atomic<bool>;

/// An open input with its video decoder. The player and its decode tasks own it together, so that
/// a task which outlives the player's patience still reads valid memory; whoever lets go last
/// closes the input. At most one thread works on it at a time: hold `inUse` while reading.
class MediaStream
{
public:
    MediaStream(std::shared_ptr<AbortFlag> abort, ffmpeg::FormatContextPtr format,
                ffmpeg::CodecContextPtr codec, int videoIndex);
    ~MediaStream();
    MediaStream(const MediaStream &) = delete;
    MediaStream &operator=(const MediaStream &) = delete;

    bool isAborted() const { return m_abort->load(); }

    /// Any thread; a blocking read returns at once and no further one begins.
    void abort() { m_abort->store(true); }

    AVFormatContext *format() const { return m_format.get(); }

    AVCodecContext *codec() const { return m_codec.get(); }

    int videoIndex() const { return m_videoIndex; }

    FrameConverter &converter() { return m_converter; }

    std::mutex inUse;

private:
    std::shared_ptr<AbortFlag> m_abort;
    ffmpeg::FormatContextPtr m_format;
    ffmpeg::CodecContextPtr m_codec;
    FrameConverter m_converter;
    int m_videoIndex;
};

struct OpenRequest
{
    QString url;
    stream_options::Settings settings;
    std::shared_ptr<AbortFlag> abort;
};

struct OpenOutcome
{
    std::shared_ptr<MediaStream> stream; ///< null on failure
    QString error;                       ///< for the operator; empty on success
};

/// All of an open that can block, for as long as the options' time-outs allow or until the abort
/// flag is set. An RTSP server that goes silent holds it for at most six time-outs - connecting,
/// four requests, the first media - and the half second of analysis. Touches no QObject, so any
/// thread may run it.
OpenOutcome openMediaStream(const OpenRequest &request);

/// FFmpeg's text for an error code.
QString ffmpegErrorText(int code);
