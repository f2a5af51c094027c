#pragma once

#include "JoystickReadings.h"
#include "PodCommand.h"

#include "motion/MotionTable.h"

#include <QList>

namespace input {

/// The speeds that full deflection gives.
struct SpeedLimits
{
    int move = 128; ///< 0..255; 0 means that the operator wants no movement
    int zoom = 4;
};

/// What one look at the device asks for.
struct JoystickEvents
{
    QList<PodCommand> motions; ///< in the order in which they are to be sent
    QList<ButtonAction> actions;
};

/// Turns assignment, readings and time into commands; no device, no clock and no link of its own.
///
/// Axes drive three motions: movement (yaw and pitch together), zoom and focus. Positive is right,
/// down, in and far. A deflected axis repeats its command every kCommandIntervalMs, never sooner.
/// A stop is never held back and is sent exactly once for each motion that was started. An axis
/// that comes to rest while the other one still moves the pod is stopped by a command for the other
/// one alone, which is not held back either.
///
/// An axis counts only once it has been seen at its centre, a button once it has been seen up: what
/// is held while a device, a link or an assignment appears does nothing.
class JoystickMapping
{
public:
    static constexpr int kCommandIntervalMs = 100;
    static constexpr int kLongPressMs = 600;
    /// The deflection beyond the dead zone that starts a motion. It ends at 0: a stick that
    /// trembles at the edge does not start and stop all the time.
    static constexpr double kStartDeflection = 0.02;

    /// Takes a new assignment; returns the stops of the motions that the changed axes had started.
    QList<PodCommand> setAssignment(const JoystickAssignment &assignment);

    const JoystickAssignment &assignment() const { return m_assignment; }

    /// Looks at the device. The time is any steady count of milliseconds.
    JoystickEvents update(const JoystickReadings &readings, const SpeedLimits &limits,
                          qint64 nowMs);

    /// Ends everything: returns the stops of what moves, and forgets held buttons without acting.
    QList<PodCommand> release();

private:
    /// Signs of the two axes of a motion; zoom and focus use x alone.
    struct Direction
    {
        int x = 0;
        int y = 0;

        bool isNone() const { return x == 0 && y == 0; }
    };

    struct Wish
    {
        Direction direction;
        PodCommand command;
    };

    struct Motion
    {
        motion::Kind kind = motion::Kind::Move;
        Direction sent; ///< none while the motion is stopped
        std::optional<qint64> lastStartMs;

        void follow(const Wish &wish, qint64 nowMs, QList<PodCommand> &out);
        void end(QList<PodCommand> &out);
    };

    struct Axis
    {
        bool seenAtCentre = false;
        double level = 0; ///< -1..1, what the axis contributes
    };

    struct Button
    {
        enum State : quint8 { AwaitingRelease, Up, Down };

        State state = AwaitingRelease;
        qint64 downSinceMs = 0;
    };

    static Axis follow(Axis axis, double reading, const AxisAssignment &assignment);
    static ButtonAction follow(Button &button, bool pressed, const ButtonAssignment &assignment,
                               qint64 nowMs);
    Motion *motionOf(AxisFunction function);
    double levelOf(AxisFunction function) const;
    Wish moveWish(int maximumSpeed) const;
    Wish zoomWish(int maximumSpeed) const;
    Wish focusWish() const;

    JoystickAssignment m_assignment;
    std::array<Axis, kAxisCount> m_axes;
    std::array<Button, kButtonCount> m_buttons;
    Motion m_move{motion::Kind::Move, {}, {}};
    Motion m_zoom{motion::Kind::Zoom, {}, {}};
    Motion m_focus{motion::Kind::Focus, {}, {}};
};

} // namespace input
