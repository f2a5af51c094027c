#pragma once

#include "PacketRing.h"
#include "RecordingStatus.h"
#include "video/PacketSink.h"

#include <memory>
#include <mutex>

class RecordingJob;

/// Records what it is handed of a stream, of telemetry and of events, and keeps their last seconds
/// when it does not. Whatever the
/// disk does, no caller waits for it. All methods may be called from any thread.
class StreamRecorder : public PacketSink
{
public:
    StreamRecorder() = default;
    ~StreamRecorder() override;
    Q_DISABLE_COPY(StreamRecorder)

    /// How far before start() a recording begins, as far as the ring's bytes reach.
    void setPreRoll(int seconds);

    /// Begins a recording; one that runs is ended in order.
    void start(const recording::Options &options);
    /// A set of telemetry, which gets the time of the picture that comes at this moment.
    void addTelemetry(const QByteArray &set);
    /// A line for the log, without its end.
    void addEvent(const QByteArray &line);

    /// Ends the recording; what waits to be written still is.
    void stop();
    /// Of the newest recording.
    recording::Status status() const;

    quint64 beginStream(const AVCodecParameters &parameters, AVRational timeBase) override;
    void takePacket(quint64 stream, const AVPacket &packet, qint64 arrivedUs) override;

private:
    void add(const MediaItem &item);

    /// An event and when it was, by PlaybackState::nowUs().
    struct Event
    {
        qint64 us;
        QByteArray line;
    };

    mutable std::mutex m_mutex;
    PacketRing m_ring;
    std::deque<Event> m_events; // as far back as the ring
    qint64 m_preRollUs = 10'000'000;
    MediaItem m_newest; // of the video; without a packet before the first
    std::shared_ptr<const RecordedStream> m_stream;
    quint64 m_streamNumber = 0;
    std::shared_ptr<RecordingJob> m_job; // null before the first recording
    bool m_isRecording = false;          // as far as was asked for
};
