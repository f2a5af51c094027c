#include "StreamRecorder.h"

#include "RecordingJob.h"
#include "async/BackgroundCall.h"

#include <utility>

StreamRecorder::~StreamRecorder() { stop(); }

void StreamRecorder::setPreRoll(int seconds)
{
    const std::lock_guard lock(m_mutex);
    m_ring.setSpan(qint64(seconds) * 1'000'000);
}

void StreamRecorder::start(const recording::Options &options)
{
    stop();
    const auto job = std::make_shared<RecordingJob>(options);
    const std::lock_guard lock(m_mutex);
    for (const MediaItem &item : m_ring.items())
        job->queue().add(item);
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
    m_stream = copied ? std::move(stream) : nullptr;
    return ++m_streamNumber;
}

void StreamRecorder::takePacket(quint64 stream, const AVPacket &packet, qint64 arrivedUs)
{
    std::shared_ptr<const AVPacket> copy(av_packet_clone(&packet), ffmpeg::PacketDeleter());
    const std::lock_guard lock(m_mutex);
    if (!copy || !m_stream || stream != m_streamNumber)
        return;
    const MediaItem item{m_stream, std::move(copy), arrivedUs};
    if (m_isRecording)
        m_job->queue().add(item);
    m_ring.add(item);
}
