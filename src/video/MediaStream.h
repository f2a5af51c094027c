#pragma once

#include "FFmpegPointers.h"
#include "FrameConverter.h"
#include "KeyGate.h"
#include "PictureAssembler.h"
#include "ReorderDepth.h"
#include "StreamOptions.h"
#include "StreamTrouble.h"
#include "VideoStatistics.h"

#include <QString>

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

/// Asks FFmpeg's blocking calls on one stream to give up; polled by the interrupt callback, set
/// from any thread, never cleared by those who wait for it.
using AbortFlag = std::atomic<bool>;

/// What the interrupt callback of one stream looks at.
struct Interruption
{
    std::shared_ptr<AbortFlag> abort;
    /// Reads give what is there and do not wait; only while the stream opens.
    std::atomic<bool> noWaiting = false;
    /// The UDP input that is being opened, and looked at for whether it has read anything. No other
    /// kind, since those may ask for interruption while they are torn down.
    const AVFormatContext *opening = nullptr;
    std::shared_ptr<std::atomic<bool>> heard;
};

/// An open input with its video decoder. The player and its decode tasks own it together, so that
/// a task which outlives the player's patience still reads valid memory; whoever lets go last
/// closes the input. At most one thread works on it at a time: hold `inUse` while reading.
class MediaStream
{
public:
    struct Parts
    {
        std::unique_ptr<Interruption> interruption; // outlives the format, which looks at it
        ffmpeg::FormatContextPtr format;
        ffmpeg::CodecContextPtr codec;
        int videoIndex = -1;
        VideoTransport transport = VideoTransport::None;
        std::optional<PictureAssembler> assembler;
        PictureAssembler::Pictures head;
    };

    explicit MediaStream(Parts parts);
    ~MediaStream();
    MediaStream(const MediaStream &) = delete;
    MediaStream &operator=(const MediaStream &) = delete;

    bool isAborted() const { return m_parts.interruption->abort->load(); }

    /// Any thread; a blocking read returns at once and no further one begins.
    void abort() { m_parts.interruption->abort->store(true); }

    AVFormatContext *format() const { return m_parts.format.get(); }

    AVCodecContext *codec() const { return m_parts.codec.get(); }

    int videoIndex() const { return m_parts.videoIndex; }

    const AVStream &video() const { return *m_parts.format->streams[m_parts.videoIndex]; }

    VideoTransport transport() const { return m_parts.transport; }

    /// Makes pictures of the packets of a stream that is read unparsed; null for any other, whose
    /// packets are pictures.
    PictureAssembler *assembler() { return m_parts.assembler ? &*m_parts.assembler : nullptr; }

    /// The pictures that came while the stream was analysed; once.
    PictureAssembler::Pictures takeHead() { return std::exchange(m_parts.head, {}); }

    KeyGate &keyGate() { return m_keyGate; }

    ReorderDepth &reorderDepth() { return m_reorderDepth; }

    FrameConverter &converter() { return m_converter; }

    std::mutex inUse;

private:
    Parts m_parts;
    KeyGate m_keyGate;
    ReorderDepth m_reorderDepth;
    FrameConverter m_converter;
};

struct OpenRequest
{
    QString url;
    stream_options::Settings settings;
    std::shared_ptr<AbortFlag> abort;
    /// Set while a UDP address is opened, once anything has come.
    std::shared_ptr<std::atomic<bool>> heard = std::make_shared<std::atomic<bool>>(false);
};

struct OpenOutcome
{
    std::shared_ptr<MediaStream> stream; ///< null on failure
    QString error;                       ///< for the operator; empty on success
    StreamTrouble trouble = StreamTrouble::None;
};

/// All of an open that can block, for as long as the options' time-outs allow or until the abort
/// flag is set. An RTSP server that goes silent holds it for at most six time-outs - connecting,
/// four requests, the first media - and the half second of analysis. A server that speaks RTSP over
/// TCP alone is asked again over that. Blanks around the URL do not count. Touches no QObject, so
/// any thread may run it.
OpenOutcome openMediaStream(const OpenRequest &request);

/// FFmpeg's text for an error code.
QString ffmpegErrorText(int code);
