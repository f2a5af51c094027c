#include "MediaStream.h"

#include "RtspProbe.h"

#include <QDebug>
#include <QElapsedTimer>
#include <QThread>

#include <array>
#include <cstring>
#include <optional>
#include <utility>
#include <vector>

namespace {

constexpr int kLateVideoWaitMs = 1000;
constexpr int kAbortPollMs = 20;
constexpr int kBusyPauseMs = 100;
constexpr int kBusyRetries = 10;
constexpr int kDecoderThreads = 1; // a second thread would hold pictures back

// What level 6.2 of H.264 and H.265 allows. A damaged header may tell of sizes of which a few
// pictures fill the memory.
constexpr qint64 kPixelsMax = qint64(8192) * 4352;

// Pointer to const from libavformat 59 on.
using InputFormat = decltype(av_find_input_format(nullptr));
constexpr InputFormat kDetectFormat = nullptr;

int interruptCallback(void *opaque)
{
    const auto *interruption = static_cast<const Interruption *>(opaque);
    const AVFormatContext *opening = interruption->opening;
    if (opening && opening->pb && opening->pb->pos > 0)
        interruption->heard->store(true);
    return interruption->abort->load() || interruption->noWaiting ? 1 : 0;
}

/// What the packets of a stream with start codes hold, if an assembler can put them together.
std::optional<PictureAssembler::Codec> assembledCodec(AVCodecID codec)
{
    switch (codec) {
    case AV_CODEC_ID_H264:
        return PictureAssembler::Codec::H264;
    case AV_CODEC_ID_HEVC:
        return PictureAssembler::Codec::H265;
    default:
        return std::nullopt;
    }
}

void logUnusedOptions(const ffmpeg::Dictionary &dictionary)
{
    const AVDictionaryEntry *entry = nullptr;
    while ((entry = av_dict_get(dictionary.get(), "", entry, AV_DICT_IGNORE_SUFFIX)) != nullptr)
        qDebug() << "[FFmpegPlayer] 未使用的选项:" << entry->key << entry->value;
}

/// The steps of one open, in order; each that fails leaves the text for the operator.
class Opener
{
public:
    explicit Opener(OpenRequest request)
        : m_request(std::move(request))
    {
        m_request.url = m_request.url.trimmed();
        m_parts.interruption = std::make_unique<Interruption>();
        m_parts.interruption->abort = m_request.abort;
        m_parts.interruption->heard = m_request.heard;
    }

    OpenOutcome run()
    {
        const bool opened = openInput() && findVideo() && openDecoder();
        m_parts.interruption->opening = nullptr;
        if (!opened)
            return {nullptr, m_error, m_trouble};
        m_parts.transport = transport();
        stopParsing();
        qDebug() << "[FFmpegPlayer] 成功打开视频流，使用软件解码";
        return {std::make_shared<MediaStream>(std::move(m_parts)), {}, StreamTrouble::None};
    }

private:
    /// `code` is what FFmpeg gave as the reason, or would give.
    bool fail(const QString &text, int code)
    {
        m_error = text;
        // FFmpeg reports an RTSP request that was not answered as invalid data.
        if (code == AVERROR_INVALIDDATA && stream_options::isRtspUrl(m_request.url))
            code = reasonOfNoAnswer().value_or(code);
        m_trouble = troubleOf(code, m_request.url);
        // After an empty wait FFmpeg reports the error of the step that comes next.
        const bool waited =
            m_trouble != StreamTrouble::UnknownHost && m_trouble != StreamTrouble::Other;
        if (waited && stream_options::isUdpUrl(m_request.url) && !m_request.heard->load())
            m_trouble = StreamTrouble::NothingArrives;
        return false;
    }

    /// Nothing where there was one.
    std::optional<int> reasonOfNoAnswer() const
    {
        const int timeoutUs = m_request.settings.timeoutUs;
        if (m_timer.nsecsElapsed() / 1000 >= timeoutUs)
            return AVERROR(ETIMEDOUT);
        return hangsUpWhenAsked(m_request.url, timeoutUs / 1000, *m_request.abort)
                   ? std::optional(AVERROR(ECONNRESET))
                   : std::nullopt;
    }

    void setOptions()
    {
        const unsigned formatMajor = AV_VERSION_MAJOR(avformat_version());
        for (const auto &option :
             stream_options::optionsFor(m_request.url, m_request.settings, formatMajor))
            m_options.set(option.key.constData(), option.value.constData());
    }

    VideoTransport transport() const
    {
        if (stream_options::isUdpUrl(m_request.url))
            return VideoTransport::Udp;
        if (!isRtsp())
            return VideoTransport::Other;
        const QString &asked = m_request.settings.rtspTransport;
        return asked == QLatin1String("udp")   ? VideoTransport::RtspOverUdp
               : asked == QLatin1String("tcp") ? VideoTransport::RtspOverTcp
                                               : VideoTransport::Other;
    }

    // One avformat_open_input; nothing on a failure to allocate, else FFmpeg's result. FFmpeg
    // frees the context itself when the open fails.
    std::optional<int> tryOpen(InputFormat format)
    {
        AVFormatContext *context = avformat_alloc_context();
        if (!context)
            return std::nullopt;
        context->interrupt_callback = {interruptCallback, m_parts.interruption.get()};
        if (stream_options::isUdpUrl(m_request.url))
            m_parts.interruption->opening = context;
        const QByteArray url = m_request.url.toUtf8();
        m_timer.start();
        const int result =
            avformat_open_input(&context, url.constData(), format, m_options.address());
        if (result < 0)
            m_parts.interruption->opening = nullptr;
        m_parts.format.reset(context);
        return result;
    }

    /// A server that does not speak RTSP's preset transport says so at once.
    std::optional<int> openDetected()
    {
        const auto result = tryOpen(kDetectFormat);
        QString &rtspTransport = m_request.settings.rtspTransport;
        if (result != AVERROR(EPROTONOSUPPORT) || !stream_options::isRtspUrl(m_request.url)
            || rtspTransport == QLatin1String("tcp"))
            return result;
        qDebug() << "[FFmpegPlayer] 服务器不支持" << rtspTransport << "传输，改用 tcp";
        rtspTransport = QStringLiteral("tcp");
        // A server may be busy giving up what the refused request had it prepare.
        std::optional<int> retried = AVERROR_HTTP_SERVER_ERROR;
        for (int i = 0; i < kBusyRetries && retried == AVERROR_HTTP_SERVER_ERROR; ++i) {
            pause(kBusyPauseMs);
            setOptions();
            retried = tryOpen(kDetectFormat);
        }
        return retried;
    }

    bool openInput()
    {
        const bool udp = stream_options::isUdpUrl(m_request.url);
        setOptions();
        if (udp)
            qDebug() << "[FFmpegPlayer] UDP单播流参数已设置";
        const InputFormat mpegts = udp ? av_find_input_format("mpegts") : kDetectFormat;
        std::optional<int> result;
        if (mpegts != kDetectFormat) {
            qDebug() << "[FFmpegPlayer] 尝试以 MPEG-TS 格式打开 UDP 流";
            result = tryOpen(mpegts);
            if (result && *result < 0) {
                qDebug() << "[FFmpegPlayer] MPEG-TS 格式打开失败:" << ffmpegErrorText(*result);
                result = tryOpen(kDetectFormat);
            }
        } else {
            result = openDetected();
        }
        if (!result)
            return fail(QStringLiteral("无法分配格式上下文"), AVERROR(ENOMEM));
        if (*result < 0) {
            const QString text =
                udp ? QStringLiteral("无法打开UDP流: %1") : QStringLiteral("无法打开视频流: %1");
            return fail(text.arg(ffmpegErrorText(*result)), *result);
        }
        logUnusedOptions(m_options);
        noteDescribedCodecs();
        return true;
    }

    bool findVideo()
    {
        // What the analysis reads is shown at once: thrown away, the next key picture would have to
        // be waited for. And it needs no measure of the rate, for which it would read twenty
        // pictures, and no guess at decoding times, seven of H.264: nothing uses them. One packet
        // it must see, so that a stream without any fails to open.
        m_parts.format->flags &= ~AVFMT_FLAG_NOBUFFER;
        m_parts.format->fps_probe_size = 0;
        m_parts.format->max_ts_probe = 1;
        const int result = avformat_find_stream_info(m_parts.format.get(), nullptr);
        if (result < 0)
            return fail(QStringLiteral("无法获取流信息"), result);
        m_parts.videoIndex = bestVideo();
        if (m_parts.videoIndex < 0 && stream_options::isUdpUrl(m_request.url)) {
            qDebug() << "[FFmpegPlayer] UDP流未立即检测到视频流，等待...";
            pause(kLateVideoWaitMs);
            avformat_find_stream_info(m_parts.format.get(), nullptr);
            m_parts.videoIndex = bestVideo();
        }
        if (m_parts.videoIndex < 0)
            return fail(QStringLiteral("未找到视频流"), AVERROR_STREAM_NOT_FOUND);
        ignoreLaterStreams();
        return true;
    }

    // The transport stream demultiplexer takes every PID that its tables do not name for a stream
    // of its own, up to a thousand; after that each packet of another one fails the read that it
    // interrupts. The picture is found by now, so it need not look any more.
    void ignoreLaterStreams()
    {
        AVFormatContext &format = *m_parts.format;
        if (format.priv_data && format.iformat->priv_class)
            av_opt_set_int(format.priv_data, "skip_changes", 1, 0);
    }

    bool isRtsp() const { return std::strcmp(m_parts.format->iformat->name, "rtsp") == 0; }

    int bestVideo() const
    {
        return av_find_best_stream(m_parts.format.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    }

    void pause(int ms) const
    {
        for (int waitedMs = 0; waitedMs < ms && !m_request.abort->load(); waitedMs += kAbortPollMs)
            QThread::msleep(kAbortPollMs);
    }

    bool openDecoder()
    {
        const AVCodecParameters *parameters = m_parts.format->streams[m_parts.videoIndex]->codecpar;
        const AVCodec *decoder = avcodec_find_decoder(parameters->codec_id);
        if (!decoder)
            return fail(QStringLiteral("不支持的解码器"), AVERROR_DECODER_NOT_FOUND);
        qDebug() << "[FFmpegPlayer] 使用解码器:" << decoder->name;
        m_parts.codec.reset(avcodec_alloc_context3(decoder));
        if (!m_parts.codec)
            return fail(QStringLiteral("无法创建解码器上下文"), AVERROR_DECODER_NOT_FOUND);
        if (avcodec_parameters_to_context(m_parts.codec.get(), parameters) < 0)
            return fail(QStringLiteral("无法复制编解码器参数"), AVERROR_DECODER_NOT_FOUND);
        m_parts.codec->thread_count = kDecoderThreads;
        m_parts.codec->max_pixels = kPixelsMax;
        const int result = avcodec_open2(m_parts.codec.get(), decoder, nullptr);
        return result >= 0
               || fail(QStringLiteral("无法打开解码器: %1").arg(ffmpegErrorText(result)),
                       AVERROR_DECODER_NOT_FOUND);
    }

    /// What each stream of an RTSP session was said to carry, before any of it has come. What
    /// turns up later comes inside another stream, as in a transport stream, in packets of its own.
    void noteDescribedCodecs()
    {
        for (unsigned i = 0; isRtsp() && i < m_parts.format->nb_streams; ++i)
            m_described.push_back(m_parts.format->streams[i]->codecpar->codec_id);
    }

    /// FFmpeg's parser gives a picture only when the next one begins. From here on the packets of
    /// an RTSP stream that is H.264 or H.265 itself come as they are, for an assembler that knows
    /// better.
    void stopParsing()
    {
        AVFormatContext *format = m_parts.format.get();
        const auto index = std::size_t(m_parts.videoIndex);
        const auto codec =
            index < m_described.size() ? assembledCodec(m_described[index]) : std::nullopt;
        if (!codec)
            return;
        format->flags |= AVFMT_FLAG_NOPARSE | AVFMT_FLAG_NOFILLIN;
        m_parts.assembler.emplace(*codec);
        takeParsedPictures();
        avformat_flush(format); // whatever parser is left
    }

    /// The pictures that the analysis has read, and the beginning of the one that it was reading:
    /// a parser gives that away when the read that it waits for is interrupted.
    void takeParsedPictures()
    {
        const ffmpeg::PacketPtr packet(av_packet_alloc());
        m_parts.interruption->noWaiting = true;
        while (packet && av_read_frame(m_parts.format.get(), packet.get()) >= 0) {
            if (packet->stream_index == m_parts.videoIndex)
                m_parts.head += m_parts.assembler->addUnits(
                    QByteArrayView(packet->data, packet->size), packet->pts);
            av_packet_unref(packet.get());
        }
        m_parts.interruption->noWaiting = false;
    }

    OpenRequest m_request;
    ffmpeg::Dictionary m_options;
    MediaStream::Parts m_parts;
    QString m_error;
    StreamTrouble m_trouble = StreamTrouble::None;
    QElapsedTimer m_timer;              // of the newest attempt
    std::vector<AVCodecID> m_described; // by stream
};

} // namespace

MediaStream::MediaStream(Parts parts)
    : m_parts(std::move(parts))
    , m_keyGate(m_parts.codec->codec_id)
    , m_reorderDepth(*m_parts.codec)
{
}

MediaStream::~MediaStream()
{
    // An interrupted RTSP input could not send its TEARDOWN, and the pod would go on streaming to
    // nobody until its session times out.
    m_parts.interruption->abort->store(false);
    m_parts.format.reset();
}

OpenOutcome openMediaStream(const OpenRequest &request) { return Opener(request).run(); }

QString ffmpegErrorText(int code)
{
    std::array<char, 256> text{};
    av_strerror(portableError(code), text.data(), text.size());
    return QString::fromUtf8(text.data());
}
