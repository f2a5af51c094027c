#pragma once

#include "PacketRing.h"
#include "RecordingStatus.h"
#include "video/PacketSink.h"

#include <memory>
#include <mutex>

class RecordingJob;

/// Records what it is handed of a stream, and keeps its last seconds when it does not. Whatever the
/// disk does, no caller waits for it. All methods may be called from any thread.
class StreamRecorder : public PacketSink
{
public:
    StreamRecorder() = default;
    ~StreamRecorder() override;
    Q_DISABLE_COPY_MOVE(StreamRecorder)

    /// How far before start() a recording begins, as far as the ring's bytes reach.
    void setPreRoll(int seconds);

    /// Begins a recording; one that runs is ended in order.
    void start(const recording::Options &options);
    /// Ends the recording; what waits to be written still is.
    void stop();
    /// Of the newest recording.
    recording::Status status() const;

    quint64 beginStream(const AVCodecParameters &parameters, AVRational timeBase) override;
    void takePacket(quint64 stream, const AVPacket &packet, qint64 arrivedUs) override;

private:
    mutable std::mutex m_mutex;
    PacketRing m_ring;
    std::shared_ptr<const RecordedStream> m_stream;
    quint64 m_streamNumber = 0;
    std::shared_ptr<RecordingJob> m_job; // null before the first recording
    bool m_isRecording = false;          // as far as was asked for
};
