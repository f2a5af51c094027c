#include "Replay.h"

#include "video/AppSource.h"

#include <algorithm>
#include <limits>

using namespace Qt::StringLiterals;

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::microseconds;

constexpr auto kLook = std::chrono::milliseconds(5); // for pipelines that begin to play
// Before a goal: a client keeps a picture back until the next, and would not show one alone.
constexpr qint64 kRunUpUs = 500'000;
constexpr qint64 kNever = std::numeric_limits<qint64>::max();

GstBuffer *bufferOf(const AVPacket &packet)
{
    const auto bytes = gsize(packet.size);
    GstBuffer *buffer = gst_buffer_new_allocate(nullptr, bytes, nullptr);
    gst_buffer_fill(buffer, 0, packet.data, bytes);
    return buffer;
}

/// GStreamer's clock counts as ours does; a pipeline's time begins when it began to play.
GstClockTime pipelineTime(GstAppSrc *source, ReplayClock::Wall wall)
{
    const auto at = std::chrono::nanoseconds(wall.time_since_epoch()).count();
    const GstClockTime base = gst_element_get_base_time(GST_ELEMENT(source));
    return GstClockTime(at) > base ? GstClockTime(at) - base : 0;
}

} // namespace

Replay::Replay(Recording recording, Begins begins, Handlers handlers)
    : m_recording(std::move(recording))
    , m_begins(begins)
    , m_handlers(std::move(handlers))
    , m_codec(m_recording.keys.isEmpty() ? AV_CODEC_ID_NONE
                                         : m_recording.parts[m_recording.keys.first().part].codec)
    , m_thread([this] { run(); })
{
}

Replay::~Replay()
{
    {
        const std::lock_guard lock(m_mutex);
        m_quit = true;
    }
    m_wake.notify_all();
    m_thread.join();
}

void Replay::begin()
{
    const std::lock_guard lock(m_mutex);
    if (!m_hasBegun)
        goTo(m_clock.goal(), Audience::Everyone);
    m_wake.notify_all();
}

void Replay::setPaused(bool paused)
{
    const std::lock_guard lock(m_mutex);
    if (!paused && !m_hasBegun)
        goTo(m_clock.goal(), Audience::Everyone);
    else if (!paused && m_hasEnded)
        goTo(Micros(0), Audience::Everyone);
    const Micros goal = m_clock.goal();
    m_clock.setPaused(Clock::now(), paused);
    standBeforeBegin(goal);
    m_wake.notify_all();
}

void Replay::setSpeed(double speed)
{
    const std::lock_guard lock(m_mutex);
    const Micros goal = m_clock.goal();
    m_clock.setSpeed(Clock::now(),
                     std::clamp(speed, ReplayClock::kSpeedMin, ReplayClock::kSpeedMax));
    standBeforeBegin(goal);
    m_wake.notify_all();
}

/// No time passes before the beginning, whatever is set.
void Replay::standBeforeBegin(Micros goal)
{
    if (!m_hasBegun)
        m_clock.jump(Clock::now(), goal, goal);
}

void Replay::setLooping(bool looping)
{
    const std::lock_guard lock(m_mutex);
    m_isLooping = looping;
    if (m_hasEnded && looping)
        goTo(Micros(0), Audience::Everyone);
    m_wake.notify_all();
}

void Replay::seek(microseconds goal)
{
    const std::lock_guard lock(m_mutex);
    const Micros bounded = std::clamp(goal, Micros(0), Micros(m_recording.durationUs));
    if (m_hasBegun)
        goTo(bounded, Audience::Everyone);
    standBeforeBegin(bounded);
    m_wake.notify_all();
}

QJsonObject Replay::state() const
{
    const std::lock_guard lock(m_mutex);
    const Micros end(m_recording.durationUs);
    const Micros now = m_hasEnded   ? end
                       : m_hasBegun ? std::min(m_clock.positionAt(Clock::now()), end)
                                    : m_clock.goal();
    const auto seconds = [](Micros time) { return double(time.count()) * 1e-6; };
    return {{u"position"_s, seconds(now)}, {u"duration"_s, seconds(end)},
            {u"begun"_s, m_hasBegun},      {u"paused"_s, m_clock.isPaused()},
            {u"ended"_s, m_hasEnded},      {u"speed"_s, m_clock.speed()},
            {u"loop"_s, m_isLooping}};
}

QString Replay::streamLine() const
{
    return u"appsrc name=src is-live=true format=time max-buffers=0 max-bytes=67108864 "
           "leaky-type=downstream caps=video/x-%1,stream-format=byte-stream,alignment=au"_s.arg(
               format().codec == VideoFormat::Codec::H265 ? u"h265"_s : u"h264"_s);
}

VideoFormat Replay::format() const
{
    const std::lock_guard lock(m_mutex);
    VideoFormat format;
    if (m_codec == AV_CODEC_ID_HEVC)
        format.codec = VideoFormat::Codec::H265;
    return format;
}

void Replay::addSink(GstAppSrc *source)
{
    const std::lock_guard lock(m_mutex);
    m_sinks.push_back({std::unique_ptr<GstAppSrc, Unref>(GST_APP_SRC(gst_object_ref(source)))});
    m_wake.notify_all();
}

void Replay::removeSink(GstAppSrc *source)
{
    const std::lock_guard lock(m_mutex);
    m_sinks.remove_if([source](const Sink &sink) { return sink.source.get() == source; });
}

/// With a run-up, where that needs no other part.
const Recording::Key &Replay::keyBefore(Micros goal) const
{
    const auto newest = [&keys = m_recording.keys](qint64 us) {
        const auto behind = std::ranges::upper_bound(keys, us, {}, &Recording::Key::us);
        return behind == keys.begin() ? behind : std::prev(behind);
    };
    const auto last = newest(goal.count());
    const auto runUp = newest(goal.count() - kRunUpUs);
    return runUp->part == last->part ? *runUp : *last;
}

/// Reading begins at a key picture before the goal, and the pod's state at that of the goal.
void Replay::goTo(Micros goal, Audience audience)
{
    const auto &keys = m_recording.keys;
    const auto &moments = m_recording.moments;
    m_hasBegun = true;
    m_hasEnded = false;
    m_pictureUs.reset();
    Micros from = goal;
    if (!keys.isEmpty()) {
        const Recording::Key &key = keyBefore(goal);
        from = Micros(std::min(key.us, qint64(goal.count())));
        if (openPart(key.part) && m_reader.seek(key.place))
            readPicture();
    }
    m_clock.jump(Clock::now(), from, goal);
    m_forNewcomers = audience == Audience::Newcomers ? goal : Micros(-1);
    if (audience == Audience::Newcomers)
        return;
    const auto next = std::ranges::upper_bound(moments, goal.count(), {}, &Recording::Moment::us);
    m_moment = std::max(next - moments.begin() - 1, qsizetype(0));
}

/// Pipelines that play by now; they begin with what is shown.
void Replay::takeNewcomers()
{
    const auto hasCome = [](const Sink &sink) {
        return sink.state == Sink::State::Waiting && isPlaying(sink.source.get());
    };
    const bool mayBegin = m_hasBegun || m_begins == Begins::WithPipeline;
    if (!mayBegin || std::ranges::none_of(m_sinks, hasCome))
        return;
    const Micros end(m_recording.durationUs);
    const Micros now = m_hasEnded ? end : std::min(m_clock.positionAt(Clock::now()), end);
    goTo(m_hasBegun ? now : m_clock.goal(), m_hasBegun ? Audience::Newcomers : Audience::Everyone);
    for (Sink &sink : m_sinks) {
        if (hasCome(sink))
            sink.state = Sink::State::Joining;
    }
}

bool Replay::openPart(qsizetype part)
{
    if (part == m_part)
        return true;
    m_part = part;
    QString error;
    return m_reader.open(m_recording.parts[part].file, error);
}

/// Pipelines for the codec of the picture at hand.
void Replay::serveCodec()
{
    const AVCodecID codec = m_recording.parts[m_part].codec;
    if (codec == m_codec)
        return;
    m_codec = codec;
    m_sinks.clear();
    m_handlers.codecChanged();
}

/// On to the next picture, of the next part where this one has no more.
void Replay::readPicture()
{
    while (true) {
        PartReader::Kind kind = m_reader.next();
        while (kind == PartReader::Kind::Telemetry)
            kind = m_reader.next();
        if (kind == PartReader::Kind::Picture) {
            m_pictureUs = m_recording.parts[m_part].beginUs + m_reader.us();
            return;
        }
        m_pictureUs.reset();
        const auto &keys = m_recording.keys;
        const auto next = std::ranges::upper_bound(keys, m_part, {}, &Recording::Key::part);
        if (next == keys.end() || !openPart(next->part) || !m_reader.seek(next->place))
            return;
    }
}

/// What comes next; the recording's end when nothing else does.
qint64 Replay::nextUs() const
{
    const auto &moments = m_recording.moments;
    const qint64 picture = m_pictureUs.value_or(kNever);
    const qint64 state = m_moment < moments.size()
                             ? std::max(moments[m_moment].us, qint64(m_clock.goal().count()))
                             : kNever;
    return std::min({picture, state, m_recording.durationUs});
}

void Replay::step(Wall due)
{
    const qint64 us = nextUs();
    if (m_pictureUs && *m_pictureUs <= us) {
        pushPicture(due);
        readPicture();
    } else if (m_moment < m_recording.moments.size() && m_recording.moments[m_moment].us <= us) {
        m_handlers.status(m_recording.moments[m_moment++].status);
    } else {
        end();
    }
}

void Replay::pushPicture(Wall due)
{
    serveCodec();
    const bool forNewcomers = Micros(*m_pictureUs) < m_forNewcomers;
    const auto later = m_clock.lengthOf(Micros(m_reader.shownLaterUs()), Micros(*m_pictureUs));
    for (Sink &sink : m_sinks) {
        GstAppSrc *const source = sink.source.get();
        if (sink.state == Sink::State::Joining && !forNewcomers)
            sink.state = Sink::State::Settled;
        if (sink.state == Sink::State::Waiting || !isPlaying(source)
            || (forNewcomers && sink.state == Sink::State::Settled))
            continue;
        GstBuffer *buffer = bufferOf(m_reader.packet());
        GST_BUFFER_DTS(buffer) = pipelineTime(source, due);
        GST_BUFFER_PTS(buffer) = pipelineTime(source, due + later);
        gst_app_src_push_buffer(source, buffer);
    }
}

void Replay::end()
{
    if (m_isLooping)
        goTo(Micros(0), Audience::Everyone);
    else
        m_hasEnded = true;
}

void Replay::run()
{
    std::unique_lock lock(m_mutex);
    while (!m_quit) {
        takeNewcomers();
        const Wall now = Clock::now();
        const std::optional<Wall> due =
            m_hasBegun && !m_hasEnded ? m_clock.dueOf(Micros(nextUs())) : std::nullopt;
        if (due && *due <= now)
            step(*due);
        else if (std::ranges::find(m_sinks, Sink::State::Waiting, &Sink::state) != m_sinks.end())
            m_wake.wait_until(lock, due ? std::min(*due, now + kLook) : now + kLook);
        else if (due)
            m_wake.wait_until(lock, *due);
        else
            m_wake.wait(lock);
    }
}
