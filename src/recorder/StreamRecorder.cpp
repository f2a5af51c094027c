#include "StreamRecorder.h"

#include "RecordingJob.h"
#include "async/BackgroundCall.h"
#include "video/PlaybackState.h"

#include <algorithm>
#include <utility>

namespace {

// How far telemetry may be ahead of a picture that does not come.
constexpr qint64 kTelemetryAheadUs = 1'000'000;
constexpr std::size_t kEventsMax = 10'000;

} // namespace

StreamRecorder::~StreamRecorder() { stop(); }

void StreamRecorder::setPreRoll(int seconds)
{
    const std::lock_guard lock(m_mutex);
    m_preRollUs = qint64(seconds) * 1'000'000;
    m_ring.setSpan(m_preRollUs);
}

void StreamRecorder::start(const recording::Options &options)
{
    stop();
    const auto job = std::make_shared<RecordingJob>(options);
    const std::lock_guard lock(m_mutex);
    for (const MediaItem &item : m_ring.items())
        job->queue().add(item);
    for (const Event &event : m_events)
        job->queue().addLine(event.line);
    m_job = job;
    m_isRecording = true;
    runInBackground([job] { job->run(); });
}

void StreamRecorder::stop()
{
    const std::lock_guard lock(m_mutex);
    if (std::exchange(m_isRecording, false))
        m_job->queue().end();
}

recording::Status StreamRecorder::status() const
{
    const std::lock_guard lock(m_mutex);
    recording::Status status = m_job ? m_job->status() : recording::Status();
    if (!m_isRecording)
        status.state = recording::State::Off;
    return status;
}

quint64 StreamRecorder::beginStream(const AVCodecParameters &parameters, AVRational timeBase)
{
    auto stream = std::make_shared<RecordedStream>();
    stream->parameters.reset(avcodec_parameters_alloc());
    stream->timeBase = timeBase;
    const bool copied =
        stream->parameters && avcodec_parameters_copy(stream->parameters.get(), &parameters) >= 0;
    const std::lock_guard lock(m_mutex);
    m_ring.clear();
    m_newest = {};
    m_stream = copied ? std::move(stream) : nullptr;
    return ++m_streamNumber;
}

void StreamRecorder::takePacket(quint64 stream, const AVPacket &packet, qint64 arrivedUs)
{
    std::shared_ptr<const AVPacket> copy(av_packet_clone(&packet), ffmpeg::PacketDeleter());
    const std::lock_guard lock(m_mutex);
    if (!copy || !m_stream || stream != m_streamNumber)
        return;
    m_newest = {m_stream, std::move(copy), arrivedUs};
    add(m_newest);
}

void StreamRecorder::addTelemetry(const QByteArray &set)
{
    const qint64 nowUs = PlaybackState::nowUs();
    ffmpeg::PacketPtr packet(av_packet_alloc());
    if (!packet || av_new_packet(packet.get(), int(set.size())) < 0)
        return;
    std::ranges::copy(set, packet->data);
    const std::lock_guard lock(m_mutex);
    if (!m_newest.packet || m_newest.packet->pts == AV_NOPTS_VALUE)
        return;
    const qint64 sinceUs = std::clamp(nowUs - m_newest.arrivedUs, qint64(0), kTelemetryAheadUs);
    packet->pts =
        m_newest.packet->pts + av_rescale_q(sinceUs, AV_TIME_BASE_Q, m_newest.stream->timeBase);
    packet->dts = packet->pts;
    add({m_newest.stream, std::move(packet), nowUs, false});
}

void StreamRecorder::addEvent(const QByteArray &line)
{
    const qint64 nowUs = PlaybackState::nowUs();
    const std::lock_guard lock(m_mutex);
    if (m_isRecording)
        m_job->queue().addLine(line);
    m_events.push_back({nowUs, line});
    while (m_events.front().us < nowUs - m_preRollUs || m_events.size() > kEventsMax)
        m_events.pop_front();
}

void StreamRecorder::add(const MediaItem &item)
{
    if (m_isRecording)
        m_job->queue().add(item);
    m_ring.add(item);
}
