#include "MediaFile.h"

#include <QFile>
#include <QStringList>

#include <array>

using namespace Qt::StringLiterals;

namespace {

constexpr std::array<char, 4> kKeyBegin = {0x06, 0x0E, 0x2B, 0x34};

QString errorText(int code)
{
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
    av_strerror(code, text.data(), text.size());
    return QString::fromLocal8Bit(text.data());
}

} // namespace

bool MediaFile::open(const QString &file, QString &error)
{
    AVFormatContext *opened = nullptr;
    const int code =
        avformat_open_input(&opened, QFile::encodeName(file).constData(), nullptr, nullptr);
    m_input.reset(opened);
    m_packet.reset(av_packet_alloc());
    if (code >= 0 && m_packet)
        return true;
    error = u"%1: %2"_s.arg(file, errorText(code < 0 ? code : AVERROR(ENOMEM)));
    return false;
}

bool MediaFile::read()
{
    av_packet_unref(m_packet.get());
    return av_read_frame(m_input.get(), m_packet.get()) >= 0;
}

bool MediaFile::seek(qint64 bytes)
{
    return av_seek_frame(m_input.get(), -1, bytes, AVSEEK_FLAG_BYTE) >= 0;
}

bool MediaFile::isTransportStream() const
{
    return QLatin1String(m_input->iformat->name) == "mpegts"_L1;
}

int MediaFile::videoStream() const
{
    for (int i = 0; i < int(m_input->nb_streams); ++i) {
        if (codec(i) == AV_CODEC_ID_H264 || codec(i) == AV_CODEC_ID_HEVC)
            return i;
    }
    return -1;
}

AVCodecID MediaFile::codec(int stream) const
{
    return m_input->streams[stream]->codecpar->codec_id;
}

QString MediaFile::codecNames() const
{
    QStringList names;
    for (int i = 0; i < int(m_input->nb_streams); ++i)
        names.append(QString::fromLatin1(avcodec_get_name(codec(i))));
    return names.join(u", "_s);
}

std::optional<qint64> MediaFile::microseconds(int64_t time) const
{
    if (time == AV_NOPTS_VALUE)
        return std::nullopt;
    return av_rescale_q(time, m_input->streams[m_packet->stream_index]->time_base, AV_TIME_BASE_Q);
}

/// A packet may hold several, behind headers of its carriage.
QList<klv::UasDatalinkSet> MediaFile::sets() const
{
    QList<klv::UasDatalinkSet> sets;
    const AVMediaType type = m_input->streams[m_packet->stream_index]->codecpar->codec_type;
    if (type != AVMEDIA_TYPE_DATA && type != AVMEDIA_TYPE_UNKNOWN)
        return sets;
    const QByteArrayView bytes(m_packet->data, m_packet->size);
    const QByteArrayView begin(kKeyBegin.data(), qsizetype(kKeyBegin.size()));
    for (qsizetype at = bytes.indexOf(begin); at >= 0; at = bytes.indexOf(begin, at + 1)) {
        if (const auto set = klv::decodeUasDatalink(bytes.sliced(at)))
            sets.append(*set);
    }
    return sets;
}
