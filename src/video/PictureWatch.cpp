#include "PictureWatch.h"

PictureWatch::PictureWatch(QObject *parent)
    : QObject(parent)
{
    m_timer.setInterval(kStepMs);
    connect(&m_timer, &QTimer::timeout, this, &PictureWatch::countStep);
}

void PictureWatch::start()
{
    m_hasPicture = false;
    m_waitedMs = 0;
    m_timer.start();
    setOld(false);
}

void PictureWatch::stop()
{
    m_hasPicture = false;
    m_timer.stop();
    setOld(false);
}

void PictureWatch::pictureCame()
{
    m_hasPicture = true;
    m_waitedMs = 0;
    m_sincePicture.start();
    if (!m_timer.isActive()) // the stream has come back by itself
        m_timer.start();
    setOld(false);
}

int PictureWatch::ageMs() const
{
    return m_hasPicture && m_timer.isActive() ? int(m_sincePicture.elapsed()) : 0;
}

void PictureWatch::countStep()
{
    m_waitedMs += kStepMs;
    setOld(ageMs() >= kOldMs && m_waitedMs >= kOldMs - kStepMs);
    if (m_isOld)
        emit ageChanged();
    if (m_waitedMs >= (m_hasPicture ? kLostMs : kFirstMs))
        emit lost();
}

void PictureWatch::setOld(bool old)
{
    if (old == m_isOld)
        return;
    m_isOld = old;
    emit oldChanged();
    emit ageChanged();
}
