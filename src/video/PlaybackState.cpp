#include "PlaybackState.h"

#include <QDateTime>
#include <QElapsedTimer>

#include <chrono>
#include <utility>

PlaybackState::PlaybackState(LossHandler onLoss, PictureHandler onPicture)
    : m_onLoss(std::move(onLoss))
    , m_onPicture(std::move(onPicture))
{
}

quint64 PlaybackState::beginGeneration()
{
    const std::lock_guard lock(m_mutex);
    return ++m_generation;
}

void PlaybackState::reset()
{
    {
        const std::lock_guard lock(m_mutex);
        ++m_generation;
        countLoss();
        m_connectionLostEmitted = false;
    }
    const std::lock_guard lock(m_frameMutex);
    m_currentFrame = {};
    m_currentFrameTaken = true;
}

void PlaybackState::detach()
{
    const std::lock_guard lock(m_mutex);
    m_onLoss = nullptr;
    m_onPicture = nullptr;
}

void PlaybackState::setPlaying(bool playing)
{
    const std::lock_guard lock(m_mutex);
    m_isPlaying = playing;
}

bool PlaybackState::isPlaying() const
{
    const std::lock_guard lock(m_mutex);
    return m_isPlaying;
}

PlaybackState::Picture PlaybackState::currentFrame()
{
    const std::lock_guard lock(m_frameMutex);
    m_currentFrameTaken = true;
    return m_currentFrame;
}

VideoStatistics PlaybackState::statistics() const
{
    const std::lock_guard lock(m_frameMutex);
    return m_statistics;
}

void PlaybackState::restartStallClock()
{
    const std::lock_guard lock(m_frameTimeMutex);
    m_lastFrameTimeMs = nowMs();
}

qint64 PlaybackState::lastFrameTimeMs() const
{
    const std::lock_guard lock(m_frameTimeMutex);
    return m_lastFrameTimeMs;
}

bool PlaybackState::claimLoss()
{
    const std::lock_guard lock(m_mutex);
    if (!m_isPlaying || std::exchange(m_connectionLostEmitted, true))
        return false;
    countLoss();
    return true;
}

void PlaybackState::packetArrived(quint64 generation)
{
    if (!isCurrent(generation))
        return;
    restartStallClock();
    const std::lock_guard lock(m_mutex);
    m_connectionLostEmitted = false;
}

void PlaybackState::storeFrame(quint64 generation, const QImage &image, qint64 arrivedUs)
{
    {
        const std::lock_guard lock(m_frameMutex);
        // Tested under the lock: a reset that comes between would find its empty picture
        // overwritten.
        if (!isCurrent(generation))
            return;
        ++m_statistics.converted;
        m_currentFrame = {image, arrivedUs, losses()};
        if (!std::exchange(m_currentFrameTaken, false)) {
            ++m_statistics.dropped; // and of this one its taker has been told
            return;
        }
    }
    announcePicture(generation);
}

void PlaybackState::announcePicture(quint64 generation)
{
    const std::lock_guard lock(m_mutex);
    if (isCurrent(generation) && m_onPicture)
        m_onPicture();
}

void PlaybackState::countReceived(int bytes)
{
    const std::lock_guard lock(m_frameMutex);
    ++m_statistics.received;
    m_statistics.receivedBytes += quint64(bytes);
}

void PlaybackState::countDamaged()
{
    const std::lock_guard lock(m_frameMutex);
    ++m_statistics.damaged;
}

void PlaybackState::countDecoded(double decodeMs, double convertMs)
{
    const std::lock_guard lock(m_frameMutex);
    ++m_statistics.decoded;
    m_statistics.decodeMs = decodeMs;
    m_statistics.convertMs = convertMs;
}

bool PlaybackState::reportLoss(quint64 generation)
{
    const std::lock_guard lock(m_mutex);
    if (!isCurrent(generation) || !m_isPlaying || m_connectionLostEmitted)
        return false;
    m_connectionLostEmitted = true;
    countLoss();
    if (m_onLoss)
        m_onLoss(generation);
    return true;
}

qint64 PlaybackState::nowUs()
{
    using namespace std::chrono;
    return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}

qint64 PlaybackState::nowMs()
{
    struct Clock
    {
        Clock() { sinceStart.start(); }

        qint64 startMs = QDateTime::currentMSecsSinceEpoch();
        QElapsedTimer sinceStart;
    };

    static const Clock clock;
    return clock.startMs + clock.sinceStart.elapsed();
}
