#pragma once

#include "MediaStream.h"
#include "PlaybackState.h"
#include "StreamOptions.h"
#include "async/Wish.h"

#include <QFuture>
#include <QObject>
#include <QTimer>

#include <atomic>
#include <functional>
#include <memory>
#include <utility>

class Gate;
class PacketSink;

/// Plays one live stream: opens it, has it decoded on a pool thread and hands the newest picture
/// to the GUI thread at a fixed pace, a new one at once beside that. A loss - end of stream, a
/// network error, or no packet for kStallLimitMs - is reported once, and again only after packets
/// have flowed. All methods belong to the GUI thread, except where told otherwise.
///
/// open(), play(), stop() and close() return when they are done, but serve the GUI thread's events
/// while FFmpeg works elsewhere. What is asked for meanwhile is the newer wish and wins: the
/// running open is aborted, and the operation that was overtaken returns without a further word.
/// Even the player's destruction is safe in such a wait.
///
/// Closed: no stream. Open: stream and decoder ready. Playing: decode task and timers run. Paused:
/// as Open, with an idle decode task.
class FFmpegPlayer : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool playing READ isPlaying)

public:
    static constexpr int kStallLimitMs = 3000;
    static constexpr int kHeartbeatMs = 1000;
    /// How long teardown and a restart wait for a decode task; they go on without it then.
    static constexpr int kTaskWaitMs = 3000;
    /// How long teardown waits for the input to be closed; that goes on without it then.
    static constexpr int kCloseWaitMs = 3000;
    /// How long a UDP address may be silent before the operator is told.
    static constexpr int kSilenceMs = 5000;

    /// Less than any display takes for a picture.
    static constexpr int kHurryMs = 4;

    explicit FFmpegPlayer(QObject *parent = nullptr);
    ~FFmpegPlayer() override;

    /// Opens the stream and its decoder; returns when that succeeded or failed, within the
    /// time-outs that the options set. Whatever was open before is closed. False without an
    /// errorOccurred when something newer was asked for meanwhile or the application quits.
    Q_INVOKABLE bool open(const QString &url);
    Q_INVOKABLE void close();
    Q_INVOKABLE bool isPlaying();

    /// stop() for destructors: waits without serving events.
    void shutDown();

    /// All but what the item that paints counts.
    VideoStatistics statistics() const;

    /// Told why the stream does not come, from within open() as soon as that is known, which for a
    /// silent UDP address is after kSilenceMs, or when it falls silent later. Set before that.
    void onTrouble(std::function<void(StreamTrouble)> handler) { m_onTrouble = std::move(handler); }

    /// Given a new picture as soon as it is there, so that it does not wait for frameReady, which
    /// brings it, too. Not while paused, and not within kHurryMs of the last time.
    void onNewPicture(std::function<void(const QImage &)> handler)
    {
        m_onNewPicture = std::move(handler);
    }

    /// When the last packet of the picture came that was sent last, by PlaybackState::nowUs(); 0
    /// when `picture` is another.
    qint64 arrivalUs(const QImage &picture) const
    {
        return picture.cacheKey() == m_sentKey ? m_sentArrivedUs : 0;
    }

    /// Whether `picture` is the one that was sent last and was decoded after the last loss. The
    /// newest picture is sent again and again, in a loss, too.
    bool isLive(const QImage &picture) const
    {
        return picture.cacheKey() == m_sentKey && m_sentLosses == m_state->losses();
    }

    /// Since the last packet of whatever kind, or since play().
    qint64 sincePacketMs() const { return PlaybackState::nowMs() - m_state->lastFrameTimeMs(); }

    /// For a loss that others notice: what was decoded until now is no longer live.
    void countLoss() { m_state->countLoss(); }

    /// Is handed the packets of every stream from the next play() on.
    void setPacketSink(std::shared_ptr<PacketSink> sink) { m_sink = std::move(sink); }

    // These take effect at the next open(), the frame interval at the next play().
    void setBufferSize(int bytes);
    void setRtspTransport(const QString &transport);
    /// Microseconds. Any thread.
    void setTimeout(int us);
    /// Clamped to 1..1000 ms.
    void setFrameInterval(int ms);
    /// Microseconds; a negative value becomes 0.
    void setMaxDelay(int us);

signals:
    void frameReady(QImage image);
    void errorOccurred(QString error);
    void playingStateChanged(bool playing);
    void connectionLost();

public slots:
    void play();
    void pause();
    /// Tears everything down. Waits at most kTaskWaitMs for the decode task.
    void stop();
    void renderFrame();

    void readFrame() {}

private:
    enum class Waiting : quint8 { ServeEvents, Block };
    struct OpenCall;

    void announceLoss(quint64 generation);
    QImage takePicture();
    void handOver();
    void startRenderTimer();
    void startHeartbeat();
    void stopTimers();
    void checkHeartbeat();
    OpenOutcome openServingEvents(const QString &url, const Wishes::Wish &wish);
    void abandonOpen();
    /// Starts the decode task of the open stream; false when overtaken meanwhile.
    bool startDecodeTask(const Wishes::Wish &wish);
    /// stop(), as a part of `wish`; false when overtaken meanwhile.
    bool halt(const Wishes::Wish &wish, Waiting waiting);
    void cleanup(Waiting waiting);
    /// Takes the stream, if any, so that whatever comes while it is torn down finds the player
    /// closed.
    std::shared_ptr<MediaStream> takeStream();

    Wishes m_wishes;
    std::shared_ptr<PlaybackState> m_state;
    std::shared_ptr<OpenCall> m_openCall;  // while one runs
    std::shared_ptr<MediaStream> m_stream; // null when closed
    QFuture<void> m_decodeFuture;
    std::shared_ptr<Gate> m_taskEnded; // of m_decodeFuture; null before the first
    QTimer *m_renderTimer = nullptr;
    QTimer *m_heartbeatTimer = nullptr;
    std::shared_ptr<PacketSink> m_sink;
    QString m_url;
    stream_options::Settings m_settings;
    std::atomic<int> m_timeoutUs = stream_options::Settings().timeoutUs;
    int m_frameIntervalMs = 40;
    std::function<void(StreamTrouble)> m_onTrouble = [](StreamTrouble) {};
    std::function<void(const QImage &)> m_onNewPicture = [](const QImage &) {};
    qint64 m_handedOverUs = 0;
    qint64 m_sentKey = 0;
    qint64 m_sentArrivedUs = 0;
    quint64 m_sentLosses = 0;
};
