#include "TransportStreamFile.h"

#include "video/MediaStream.h"

#include <algorithm>

namespace {

constexpr int kBufferBytes = 1 << 16;
constexpr int kVideo = 0; // places in the file
constexpr int kTelemetry = 1;
constexpr int kSynchronous = 0; // FFmpeg's profile of telemetry that bears the picture's time

/// What stands ahead of each set in a stream of this kind, and the muxer leaves to its user:
/// service, running number, that the set is whole, and its length.
QByteArray accessUnitHeader(quint8 number, int size)
{
    constexpr char kWhole = char(0xDF);
    QByteArray header(1, '\0');
    header.append(char(number));
    header.append(kWhole);
    header.append(char(size >> 8));
    header.append(char(size));
    return header;
}

} // namespace

TransportStreamFile::~TransportStreamFile()
{
    if (!m_muxer || !m_muxer->pb)
        return;
    // The format has no end to be written; all that was, is with the system.
    av_freep(&m_muxer->pb->buffer);
    avio_context_free(&m_muxer->pb);
}

bool TransportStreamFile::create(const QString &path, const RecordedStream &stream)
{
    m_file.setFileName(path);
    const auto mode = QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered;
    if (!m_file.open(mode))
        return fail(m_file.errorString());
    m_times = PacketTimes(stream.parameters->video_delay);
    return openMuxer(stream);
}

bool TransportStreamFile::openMuxer(const RecordedStream &stream)
{
    AVFormatContext *muxer = nullptr;
    avformat_alloc_output_context2(&muxer, nullptr, "mpegts", nullptr);
    m_muxer.reset(muxer);
    auto *buffer = static_cast<unsigned char *>(av_malloc(kBufferBytes));
    if (!muxer || !buffer)
        return fail(ffmpegErrorText(AVERROR(ENOMEM)));
    // The type of the bytes differs between releases; the compiler finds it.
    muxer->pb = avio_alloc_context(buffer, kBufferBytes, 1, this, nullptr, &writeBytes, nullptr);
    muxer->flags |= AVFMT_FLAG_CUSTOM_IO | AVFMT_FLAG_FLUSH_PACKETS;
    AVCodecParameters telemetry{};
    telemetry.codec_type = AVMEDIA_TYPE_DATA;
    telemetry.codec_id = AV_CODEC_ID_SMPTE_KLV;
    telemetry.profile = kSynchronous;
    if (!muxer->pb || !addStream(*stream.parameters) || !addStream(telemetry))
        return fail(ffmpegErrorText(AVERROR(ENOMEM)));
    const int result = avformat_write_header(muxer, nullptr);
    return result >= 0 || fail(ffmpegErrorText(result));
}

bool TransportStreamFile::addStream(const AVCodecParameters &parameters)
{
    AVStream *stream = avformat_new_stream(m_muxer.get(), nullptr);
    if (!stream || avcodec_parameters_copy(stream->codecpar, &parameters) < 0)
        return false;
    stream->codecpar->codec_tag = 0; // the source's container's
    stream->time_base = PacketTimes::kTimeBase;
    return true;
}

TransportStreamFile::Result TransportStreamFile::write(const MediaItem &item)
{
    const ffmpeg::PacketPtr packet = item.isVideo
                                         ? ffmpeg::PacketPtr(av_packet_clone(item.packet.get()))
                                         : accessUnit(*item.packet);
    if (!packet) {
        fail(ffmpegErrorText(AVERROR(ENOMEM)));
        return Result::Failed;
    }
    packet->stream_index = item.isVideo ? kVideo : kTelemetry;
    av_packet_rescale_ts(packet.get(), item.stream->timeBase, PacketTimes::kTimeBase);
    if (!item.isVideo)
        m_times.setCompanion(*packet);
    else if (!m_times.setVideo(*packet))
        return Result::Leap;
    const int result = av_write_frame(m_muxer.get(), packet.get());
    if (result >= 0 && m_error.isEmpty())
        return Result::Written;
    if (m_error.isEmpty())
        fail(ffmpegErrorText(result));
    return Result::Failed;
}

ffmpeg::PacketPtr TransportStreamFile::accessUnit(const AVPacket &set)
{
    const QByteArray header = accessUnitHeader(m_sets++, set.size);
    ffmpeg::PacketPtr unit(av_packet_alloc());
    if (!unit || av_new_packet(unit.get(), int(header.size()) + set.size) < 0)
        return nullptr;
    std::copy_n(set.data, set.size, std::ranges::copy(header, unit->data).out);
    unit->pts = set.pts;
    unit->dts = set.dts;
    return unit;
}

template<typename Byte>
int TransportStreamFile::writeBytes(void *self, Byte *data, int size)
{
    auto &file = *static_cast<TransportStreamFile *>(self);
    if (file.m_file.write(reinterpret_cast<const char *>(data), size) != size) {
        file.fail(file.m_file.errorString());
        return AVERROR(EIO);
    }
    file.m_bytes += size;
    return size;
}

bool TransportStreamFile::fail(const QString &text)
{
    m_error = text;
    return false;
}
