#pragma once

#include "motion/MotionTable.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QVariantList>
#include <QWindow>

/// Knows which held controls keep the pod moving, and sees to it that each press gets exactly one
/// stop, whatever ends it. Everything that starts a motion - key, button, drag, wheel, joystick
/// axis - goes through the window's one guard (`motion` in QML):
///
///     motion.press("key.W", "up")        begins a hold, or changes the command of one
///     motion.repeat("drag")              sends the command of a hold once more
///     motion.release("key.W")            ends it with its stop; unknown sources are ignored
///
/// A source is any name that is the control's own. The guard itself ends every hold when the
/// window is deactivated, minimised or closed, when the application becomes inactive and when it
/// quits; a release that arrives afterwards sends nothing more. A control that can vanish under
/// the pointer (popup, drawer page) releases its source when it does.
///
/// A stop goes out in the same call that asks for it: never queued, merged or dropped. When the
/// link is lost (linkUp turns false) every hold is forgotten: the backend owes the pod the stops
/// and sends them when the link comes back. The guard sends nothing itself; whoever owns it
/// performs the two signals commandDue and stopDue.
class MotionGuard : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QWindow *window READ window WRITE setWindow NOTIFY windowChanged)
    Q_PROPERTY(bool linkUp READ linkUp WRITE setLinkUp NOTIFY linkUpChanged)

public:
    /// Motions of different kinds run side by side; each kind has its own stop.
    enum Kind {
        Move = int(motion::Kind::Move),
        Zoom = int(motion::Kind::Zoom),
        Focus = int(motion::Kind::Focus)
    };
    Q_ENUM(Kind)

    explicit MotionGuard(QObject *parent = nullptr);
    ~MotionGuard() override;

    /// Commands: the eight directions ("up" ... "rightdown"), "zoomIn", "zoomOut",
    /// "manualFocusNear", "manualFocusFar"; another one is warned about and ignored. `speeds`
    /// (0 to 255; one, or x and y of a direction) may be empty: the owner's speed is meant then.
    Q_INVOKABLE void press(const QString &source, const QString &command,
                           const QVariantList &speeds = {});
    Q_INVOKABLE void repeat(const QString &source);
    /// Sends the stop, then the command that another control of the same kind still holds.
    Q_INVOKABLE void release(const QString &source);
    /// Ends the holds of all sources whose name begins so, each with its stop, and none of them
    /// going on between.
    Q_INVOKABLE void releaseGroup(const QString &prefix);
    /// Ends every hold, each with its stop.
    Q_INVOKABLE void releaseAll();
    /// One more stop for good measure; a command of this kind that is still held is sent again.
    Q_INVOKABLE void stopAgain(MotionGuard::Kind kind);
    Q_INVOKABLE bool isHeld(const QString &source) const;

    QWindow *window() const { return m_window; }

    void setWindow(QWindow *window);

    bool linkUp() const { return m_linkUp; }

    void setLinkUp(bool up);

signals:
    void commandDue(const QString &command, const QVariantList &speeds);
    /// "stop", "zoomStop" or "manualFocusStop".
    void stopDue(const QString &command);
    /// All holds were ended from outside; gestures under way must not go on.
    void allReleased();
    void windowChanged();
    void linkUpChanged();

private:
    struct Hold
    {
        QString source;
        QString command;
        QVariantList speeds;
        Kind kind = Move;
    };

    qsizetype indexOf(const QString &source) const;
    void resume(Kind kind);
    void releaseUnlessActive();

    QList<Hold> m_holds; // the latest press last
    QPointer<QWindow> m_window;
    bool m_linkUp = false;
};
