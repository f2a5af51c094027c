#include "DecodeTask.h"

#include <QDebug>
#include <QThread>

#include <algorithm>
#include <array>
#include <utility>

namespace {

constexpr int kPausedNapMs = 20;
constexpr int kPassNapMs = 1;
constexpr int kAgainNapMs = 10;
constexpr int kEndOfStreamNapMs = 100;
constexpr int kErrorNapStepMs = 50;
constexpr int kErrorNapMaxMs = 1000;
constexpr int kNapSliceMs = 10; // how late a nap may notice that it should end

} // namespace

DecodeTask::DecodeTask(std::shared_ptr<PlaybackState> state, std::shared_ptr<MediaStream> stream,
                       quint64 generation, std::shared_ptr<PacketSink> sink)
    : m_state(std::move(state))
    , m_stream(std::move(stream))
    , m_generation(generation)
    , m_sink(std::move(sink))
    , m_packet(av_packet_alloc())
    , m_picture(av_packet_alloc())
    , m_frame(av_frame_alloc())
{
}

void DecodeTask::run()
{
    qDebug() << "[FFmpegPlayer] 解码线程已启动";
    QThread::currentThread()->setPriority(QThread::LowPriority);
    if (m_sink)
        m_sinkStream =
            m_sink->beginStream(*m_stream->video().codecpar, m_stream->video().time_base);
    while (m_packet && m_picture && m_frame && mayRun()) {
        if (!m_state->isPlaying())
            nap(kPausedNapMs);
        else if (readOnce() == Pass::Leave)
            break;
    }
    qDebug() << "[FFmpegPlayer] 解码线程退出循环";
    m_packet.reset();
    m_picture.reset();
    m_frame.reset();
    qDebug() << "[FFmpegPlayer] 解码线程已结束";
}

bool DecodeTask::mayRun() const
{
    return m_state->isCurrent(m_generation) && !m_stream->isAborted();
}

DecodeTask::Pass DecodeTask::readOnce()
{
    int result = 0;
    bool isPieceOnly = false;
    {
        // A task of an earlier generation may still be inside its last pass on this stream.
        const std::lock_guard lock(m_stream->inUse);
        if (!mayRun())
            return Pass::Leave;
        decodeAll(m_stream->takeHead()); // the next packet may be long in coming
        result = av_read_frame(m_stream->format(), m_packet.get());
        if (result >= 0) {
            m_state->packetArrived(m_generation);
            m_consecutiveErrors = 0;
            if (m_packet->stream_index == m_stream->videoIndex())
                isPieceOnly = !takePacket();
            av_packet_unref(m_packet.get());
        }
    }
    if (result < 0)
        return handleReadError(result);
    if (!isPieceOnly)
        nap(kPassNapMs);
    return Pass::Continue;
}

DecodeTask::Pass DecodeTask::handleReadError(int code)
{
    if (code == AVERROR_EXIT) {
        qDebug() << "[FFmpegPlayer] 读取被中断";
        return Pass::Leave;
    }
    av_packet_unref(m_packet.get());
    ++m_consecutiveErrors;
    if (!mayRun() || !m_state->isPlaying()) {
        qDebug() << "[FFmpegPlayer] 检测到停止标志，退出循环";
        return Pass::Leave;
    }
    if (code == AVERROR_EOF)
        handleEndOfStream();
    else if (code == AVERROR(EAGAIN))
        nap(kAgainNapMs);
    else
        handleOtherError(code);
    return Pass::Continue;
}

void DecodeTask::handleEndOfStream()
{
    qDebug() << "[FFmpegPlayer] 流结束";
    if (m_state->reportLoss(m_generation))
        qDebug() << "[FFmpegPlayer] 发出连接丢失信号（EOF）";
    nap(kEndOfStreamNapMs);
}

void DecodeTask::handleOtherError(int code)
{
    qDebug() << "[FFmpegPlayer] av_read_frame 错误:" << ffmpegErrorText(code) << "错误码:" << code;
    if (isNetworkError(code) && m_state->reportLoss(m_generation))
        qDebug() << "[FFmpegPlayer] 发出连接丢失信号（网络错误）";
    // Capped before the product, which a day of errors would overflow.
    const int steps = std::min(m_consecutiveErrors, kErrorNapMaxMs / kErrorNapStepMs);
    nap(steps * kErrorNapStepMs);
}

bool DecodeTask::takePacket()
{
    if (!m_stream->assembler()) {
        decode(*m_packet);
        return true;
    }
    const QByteArrayView bytes(m_packet->data, m_packet->size);
    const PictureAssembler::Pictures pictures =
        m_stream->assembler()->addPacket(bytes, m_packet->pts);
    decodeAll(pictures);
    return !pictures.isEmpty();
}

void DecodeTask::decodeAll(const PictureAssembler::Pictures &pictures)
{
    for (const PictureAssembler::Complete &picture : pictures) {
        if (!mayRun())
            break;
        if (picture.restarts)
            avcodec_flush_buffers(m_stream->codec());
        if (fillPicture(picture))
            decode(*m_picture);
        av_packet_unref(m_picture.get());
    }
}

bool DecodeTask::fillPicture(const PictureAssembler::Complete &complete)
{
    if (av_new_packet(m_picture.get(), int(complete.bytes.size())) < 0)
        return false;
    std::ranges::copy(complete.bytes, m_picture->data);
    m_picture->pts = complete.time;
    if (annexb::isKeyPicture(complete.bytes, m_stream->assembler()->codec()))
        m_picture->flags |= AV_PKT_FLAG_KEY;
    if (complete.isRepeated)
        m_picture->flags |= AV_PKT_FLAG_DISCARD;
    return true;
}

void DecodeTask::decode(const AVPacket &packet)
{
    const qint64 arrivedUs = PlaybackState::nowUs();
    m_state->countReceived(packet.size);
    // A packet that the decoder refuses is dropped: the next key frame mends the picture.
    const KeyGate::Pass pass = m_stream->keyGate().admit(packet, arrivedUs);
    if (pass != KeyGate::Pass::Drop) {
        m_stream->reorderDepth().prepare(*m_stream->codec(), packet);
        if (avcodec_send_packet(m_stream->codec(), &packet) >= 0)
            receivePictures(arrivedUs, pass == KeyGate::Pass::Show);
        else
            m_state->countDamaged();
    }
    const bool isNew = (packet.flags & AV_PKT_FLAG_DISCARD) == 0;
    if (m_sink && isNew && mayRun())
        m_sink->takePacket(m_sinkStream, packet, arrivedUs);
}

void DecodeTask::receivePictures(qint64 arrivedUs, bool shown)
{
    while (avcodec_receive_frame(m_stream->codec(), m_frame.get()) >= 0) {
        const qint64 decodedUs = PlaybackState::nowUs();
        if ((m_frame->flags & AV_FRAME_FLAG_CORRUPT) != 0 || m_frame->decode_error_flags != 0)
            m_state->countDamaged();
        const QImage picture = m_stream->converter().convert(m_frame.get());
        m_state->countDecoded(double(decodedUs - arrivedUs) / 1000,
                              double(PlaybackState::nowUs() - decodedUs) / 1000);
        if (shown && !picture.isNull())
            m_state->storeFrame(m_generation, picture, arrivedUs);
        av_frame_unref(m_frame.get());
    }
}

void DecodeTask::nap(int ms) const
{
    while (ms > 0 && mayRun()) {
        const int slice = std::min(ms, kNapSliceMs);
        QThread::msleep(static_cast<unsigned long>(slice));
        ms -= slice;
    }
}
