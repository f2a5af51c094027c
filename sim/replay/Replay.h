#pragma once

#include "Recording.h"
#include "ReplayClock.h"
#include "video/VideoFeed.h"

#include <QJsonObject>

#include <condition_variable>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <thread>

/// Plays a recording: its pictures, unchanged, into whatever pipelines there are, and the pod's
/// state along them, on a thread of its own. It stands at the beginning until it begins. A pipeline
/// that comes later gets the pictures since the last key picture at once. All methods are safe from
/// any thread.
class Replay : public VideoFeed
{
public:
    /// Called by the replay's thread; must not wait.
    struct Handlers
    {
        std::function<void(const protocol::StatusFrame &)> status;
        /// The pipelines that there were got their last picture: what follows is of another codec.
        std::function<void()> codecChanged;
    };

    enum class Begins : quint8 { WithPipeline, WhenTold };

    Replay(Recording recording, Begins begins, Handlers handlers);
    ~Replay() override;
    Replay(const Replay &) = delete;
    Replay &operator=(const Replay &) = delete;

    const Recording &recording() const { return m_recording; }

    /// Does nothing after the first time.
    void begin();
    /// What goes on at the end begins again.
    void setPaused(bool paused);
    /// Bounded by ReplayClock's limits.
    void setSpeed(double speed);
    void setLooping(bool looping);
    /// Shows the picture at that moment, which is bounded by the recording's ends, or begins with
    /// it.
    void seek(std::chrono::microseconds goal);
    QJsonObject state() const;

    QString streamLine() const override;
    VideoFormat format() const override;
    void addSink(GstAppSrc *source) override;
    void removeSink(GstAppSrc *source) override;

private:
    using Wall = ReplayClock::Wall;
    using Micros = ReplayClock::Micros;

    struct Unref
    {
        void operator()(GstAppSrc *source) const { gst_object_unref(source); }
    };
    struct Sink
    {
        /// Waiting: its pipeline does not play yet; Joining: it gets what the others had before.
        enum class State : quint8 { Waiting, Joining, Settled };

        std::unique_ptr<GstAppSrc, Unref> source;
        State state = State::Waiting;
    };
    enum class Audience : quint8 { Everyone, Newcomers };

    void run();
    void standBeforeBegin(Micros goal);
    const Recording::Key &keyBefore(Micros goal) const;
    void goTo(Micros goal, Audience audience);
    void takeNewcomers();
    bool openPart(qsizetype part);
    void serveCodec();
    void readPicture();
    qint64 nextUs() const;
    void step(Wall due);
    void pushPicture(Wall due);
    void end();

    const Recording m_recording;
    const Begins m_begins;
    const Handlers m_handlers;

    mutable std::mutex m_mutex; // guards the rest
    std::condition_variable m_wake;
    bool m_quit = false;
    bool m_hasBegun = false;
    bool m_hasEnded = false;
    bool m_isLooping = false;
    ReplayClock m_clock;
    AVCodecID m_codec = AV_CODEC_ID_NONE; // of the pipelines
    Micros m_forNewcomers{0};             // pictures before this one are for them alone
    std::list<Sink> m_sinks;

    PartReader m_reader;
    qsizetype m_part = -1;
    std::optional<qint64> m_pictureUs; // of the picture that m_reader has read
    qsizetype m_moment = 0;            // the next

    std::thread m_thread;
};
