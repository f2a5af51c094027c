#pragma once

#include "StreamTrouble.h"
#include "VideoStatistics.h"
#include "async/Wish.h"

#include <QImage>
#include <QQuickPaintedItem>
#include <QString>

#include <atomic>
#include <memory>

class FFmpegPlayer;
class PacketSink;
class PictureWatch;
class QThread;
class QTimer;
class ReconnectAttempt;

/// Shows the pod's video: paints the newest picture letterboxed under a status text, and brings a
/// lost stream back. After a loss it waits reconnectInterval, then makes attempt after attempt on
/// a short-lived reconnect thread until one succeeds or maxReconnectAttempts is reached.
///
/// While a stream opens or closes the GUI thread goes on serving events. What is asked for
/// meanwhile is the newer wish and wins; the operation that it overtook ends without a further
/// word.
///
/// Once an attempt was stopped in mid-run - by play(), stop() or reconnect() - every later one
/// ends silently for the life of the item. That is intended.
class VideoRenderer : public QQuickPaintedItem
{
    Q_OBJECT
    Q_PROPERTY(QString source READ source WRITE setSource NOTIFY sourceChanged)
    Q_PROPERTY(bool playing READ playing NOTIFY playingChanged)
    Q_PROPERTY(QString status READ status NOTIFY statusChanged)
    Q_PROPERTY(
        bool autoReconnect READ autoReconnect WRITE setAutoReconnect NOTIFY autoReconnectChanged)
    Q_PROPERTY(int reconnectInterval READ reconnectInterval WRITE setReconnectInterval NOTIFY
                   reconnectIntervalChanged)
    Q_PROPERTY(int maxReconnectAttempts READ maxReconnectAttempts WRITE setMaxReconnectAttempts
                   NOTIFY maxReconnectAttemptsChanged)
    Q_PROPERTY(bool isReconnecting READ isReconnecting NOTIFY isReconnectingChanged)
    Q_PROPERTY(QRectF contentRect READ contentRect NOTIFY contentRectChanged)
    Q_PROPERTY(QString trouble READ trouble NOTIFY troubleChanged)
    Q_PROPERTY(int pictureAge READ pictureAge NOTIFY pictureAgeChanged)
    Q_PROPERTY(bool pictureOld READ pictureOld NOTIFY pictureOldChanged)

public:
    static constexpr int kMinReconnectIntervalMs = 1000;
    /// How long stopping waits for a reconnect thread; one that takes longer ends on its own.
    static constexpr int kReconnectThreadWaitMs = 3000;

    explicit VideoRenderer(QQuickItem *parent = nullptr);
    ~VideoRenderer() override;

    void paint(QPainter *painter) override;

    QString source() const { return m_source; }

    void setSource(const QString &source);
    bool playing() const;

    QString status() const { return m_status; }

    bool autoReconnect() const { return m_autoReconnect; }

    void setAutoReconnect(bool on);

    int reconnectInterval() const { return m_reconnectIntervalMs; }

    /// Milliseconds; values below kMinReconnectIntervalMs are ignored.
    void setReconnectInterval(int ms);

    int maxReconnectAttempts() const { return m_maxReconnectAttempts; }

    /// Values below 1 are ignored.
    void setMaxReconnectAttempts(int attempts);

    bool isReconnecting() const { return m_isReconnecting; }

    /// Where the picture lies in the item, letterbox bars excluded; empty without a picture.
    QRectF contentRect() const { return m_contentRect; }

    /// Why no picture comes, as a word of StreamTrouble; it stands from attempt to attempt, until a
    /// picture comes or the operator asks for something else. Empty when nothing is known.
    QString trouble() const { return keyOf(m_trouble); }

    /// The picture being shown, in its own size; null without one.
    QImage picture() const { return m_currentFrame; }

    /// Milliseconds since the picture on the screen came; told only while it is old.
    int pictureAge() const;
    /// The stream runs, but the picture on the screen is no longer what the camera sees.
    bool pictureOld() const;

    /// Is handed every packet from the next play() on; null takes it away.
    void setPacketSink(std::shared_ptr<PacketSink> sink);

    /// Opens and plays the source; returns when that succeeded or failed.
    Q_INVOKABLE void play();
    Q_INVOKABLE void pause();
    Q_INVOKABLE void stop();
    /// Begins a new round of attempts, the first at once.
    Q_INVOKABLE void reconnect();
    Q_INVOKABLE void setBufferSize(int size);
    Q_INVOKABLE void setRtspTransport(const QString &transport);
    /// Microseconds, whatever the name says.
    Q_INVOKABLE void setTimeout(int timeoutMs);
    Q_INVOKABLE void setFrameInterval(int msec);
    Q_INVOKABLE void setMaxDelay(int maxDelayMs);
    /// The address as it may be shown, without its password.
    Q_INVOKABLE QString masked(const QString &address) const;
    Q_INVOKABLE VideoStatistics statistics() const;

signals:
    void sourceChanged();
    void playingChanged();
    void statusChanged();
    void autoReconnectChanged();
    void reconnectIntervalChanged();
    void maxReconnectAttemptsChanged();
    void errorOccurred(QString error);
    void connectionLost();
    void connectionRestored();
    void isReconnectingChanged();
    void contentRectChanged();
    void troubleChanged();
    void pictureAgeChanged();
    void pictureOldChanged();

protected:
    void geometryChange(const QRectF &newGeometry, const QRectF &oldGeometry) override;

private slots:
    void onFrameReady(const QImage &frame);
    void onErrorOccurred(const QString &error);
    void onPlayingStateChanged(bool playing);
    void onConnectionLost();
    void performReconnect();
    void onReconnectSuccess();
    void onReconnectFailed();

private:
    // What the player tells, as far as it still holds when it arrives.
    void takeFrame(const QImage &frame);
    void takePlayingState(bool playing);
    void takeConnectionLoss();
    void takePictureLoss();

    bool openSource(const Wishes::Wish &wish);
    void setStatus(const QString &status);
    void setReconnecting(bool reconnecting);
    void setTrouble(StreamTrouble trouble);
    void showFrame(const QImage &frame);
    void updateContentRect();
    void enterPlaying();
    void waitForReconnect(const QString &status);
    void forgetWish();
    int reconnectIntervalSeconds() const;
    void startReconnectThread();
    void stopReconnectThread();
    QString retryText() const;
    void paintWithoutPicture(QPainter &painter) const;
    void paintPicture(QPainter &painter) const;
    void countPainted(double paintMs);

    Wishes m_wishes;
    FFmpegPlayer *m_player;
    PictureWatch *m_pictureWatch;
    bool m_isOpening = false; // play() waits for its stream
    QImage m_currentFrame;
    qint64 m_arrivedUs = 0; // of the picture being shown
    QRectF m_contentRect;
    QString m_source;
    StreamTrouble m_trouble = StreamTrouble::None;
    QString m_status = QStringLiteral("就绪");
    QTimer *m_reconnectTimer;
    bool m_autoReconnect = true;
    int m_reconnectIntervalMs = 5000;
    int m_reconnectAttempts = 0;
    int m_maxReconnectAttempts = 10;
    bool m_wasPlayingBeforeError = false;
    bool m_isReconnecting = false;
    QThread *m_reconnectThread = nullptr;
    std::shared_ptr<ReconnectAttempt> m_reconnectAttempt;
    std::shared_ptr<std::atomic<int>> m_reconnectCancelled;
    VideoStatistics m_painted; // what this item adds to the player's
    qint64 m_paintedKey = 0;   // of the picture painted last
};
