#pragma once

#include "PlaybackState.h"
#include "StreamOptions.h"

#include <QFuture>
#include <QObject>
#include <QTimer>

#include <atomic>
#include <memory>

class MediaStream;

/// Plays one live stream: opens it, has it decoded on a pool thread and hands the newest picture
/// to the GUI thread at a fixed pace. A loss - end of stream, a network error, or no packet for
/// kStallLimitMs - is reported once, and again only after packets have flowed. All methods belong
/// to the GUI thread, except where told otherwise.
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

    explicit FFmpegPlayer(QObject *parent = nullptr);
    ~FFmpegPlayer() override;

    /// Opens the stream and its decoder; blocks until that succeeded or failed, within the
    /// time-outs that the options set. Whatever was open before is closed.
    Q_INVOKABLE bool open(const QString &url);
    Q_INVOKABLE void close();
    Q_INVOKABLE bool isPlaying();

    /// True from connectionLost until packets flow again; pictures sent meanwhile are old ones.
    bool isLost() const { return m_state->isLost(); }

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
    void announceLoss(quint64 generation);
    void startTimers();
    void startDecodeTask();
    void checkHeartbeat();
    void cleanup();
    /// False when the decode task still runs after kTaskWaitMs.
    bool waitForDecodeTask() const;

    std::shared_ptr<PlaybackState> m_state;
    std::shared_ptr<MediaStream> m_stream; // null when closed
    QFuture<void> m_decodeFuture;
    QTimer *m_renderTimer = nullptr;
    QTimer *m_heartbeatTimer = nullptr;
    QString m_url;
    stream_options::Settings m_settings;
    std::atomic<int> m_timeoutUs = stream_options::Settings().timeoutUs;
    int m_frameIntervalMs = 40;
};
