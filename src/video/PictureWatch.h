#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

/// Watches whether the picture on the screen still is what the camera sees. Told of every new
/// picture, it tells when none came for kOldMs, and when none came for kLostMs: packets may flow
/// all the same, of sound alone or of a sender that has changed its codec, and no picture be made
/// of them. A stream that has just been opened is given kFirstMs, since its next key picture may be
/// that far away. Counts the time in which the GUI thread was free to take pictures. GUI thread
/// only.
class PictureWatch : public QObject
{
    Q_OBJECT

public:
    static constexpr int kOldMs = 500;
    static constexpr int kLostMs = 3000;
    static constexpr int kFirstMs = 30000;
    static constexpr int kStepMs = 100;

    explicit PictureWatch(QObject *parent = nullptr);

    /// From here on new pictures are expected.
    void start();
    void stop();
    void pictureCame();

    bool isOld() const { return m_isOld; }

    /// Milliseconds since the picture came; 0 while none is there or none is expected.
    int ageMs() const;

signals:
    void oldChanged();
    /// Each kStepMs while the picture is old, and when it is no longer.
    void ageChanged();
    /// Each kStepMs from then on, until it is stopped.
    void lost();

private:
    void countStep();
    void setOld(bool old);

    QTimer m_timer; // runs while pictures are expected
    QElapsedTimer m_sincePicture;
    bool m_hasPicture = false;
    bool m_isOld = false;
    int m_waitedMs = 0;
};
