#pragma once

#include "VideoStatistics.h"

#include <QImage>

#include <atomic>
#include <functional>
#include <mutex>

/// What the player on the GUI thread and its decode tasks share. Both own it, so a task that
/// outlives the player finds it whole. Of the tasks that may be alive, only the current generation
/// has a say: what an older one still produces is dropped here.
///
/// No two of the locks are ever held at once. Only the handlers run under one.
class PlaybackState
{
public:
    /// Told the generation that lost its stream, on that generation's thread and under a lock: it
    /// may only post.
    using LossHandler = std::function<void(quint64 generation)>;
    /// Told that a picture is there and the one before it has been taken, likewise.
    using PictureHandler = std::function<void()>;

    struct Picture
    {
        QImage image;
        qint64 arrivedUs = 0; ///< by nowUs(), when its last packet was read
        quint64 losses = 0;   ///< how many there were when it was stored
    };

    explicit PlaybackState(LossHandler onLoss, PictureHandler onPicture = {});

    // GUI thread

    /// Makes a new decode task the current one.
    quint64 beginGeneration();
    /// Leaves no task current and forgets the picture and the reported loss.
    void reset();
    /// Before the player dies: nothing is told any more.
    void detach();

    void setPlaying(bool playing);
    bool isPlaying() const;
    /// The newest picture, again and again until there is a newer one.
    Picture currentFrame();
    VideoStatistics statistics() const;
    void restartStallClock();
    qint64 lastFrameTimeMs() const;
    /// Marks the loss as reported; false when it was already, or nothing is playing.
    bool claimLoss();
    /// What was stored until now is no longer what the camera sees.
    void countLoss() { ++m_losses; }

    quint64 losses() const { return m_losses.load(); }

    // Decode task

    bool isCurrent(quint64 generation) const { return m_generation.load() == generation; }

    void packetArrived(quint64 generation);
    void storeFrame(quint64 generation, const QImage &image, qint64 arrivedUs);
    void countReceived(int bytes);
    /// Of a picture that the decoder refused, or had to mend.
    void countDamaged();
    void countDecoded(double decodeMs, double convertMs);
    /// Tells the handler. False when the loss was reported already, or nothing is playing.
    bool reportLoss(quint64 generation);

    /// Milliseconds since the epoch, from a clock that never steps.
    static qint64 nowMs();
    /// The same clock, without the epoch.
    static qint64 nowUs();

private:
    void announcePicture(quint64 generation);

    std::atomic<quint64> m_generation = 0;
    std::atomic<quint64> m_losses = 0;

    mutable std::mutex m_mutex; // guards the four below, and every change of the generation
    LossHandler m_onLoss;
    PictureHandler m_onPicture;
    bool m_isPlaying = false;
    bool m_connectionLostEmitted = false;

    mutable std::mutex m_frameTimeMutex;
    qint64 m_lastFrameTimeMs = 0;

    mutable std::mutex m_frameMutex;
    Picture m_currentFrame;
    bool m_currentFrameTaken = true;
    VideoStatistics m_statistics;
};
