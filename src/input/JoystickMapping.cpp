#include "JoystickMapping.h"

#include <algorithm>
#include <cmath>

namespace input {

using protocol::Command;

namespace {

constexpr int signOf(double level) { return (level > 0 ? 1 : 0) - (level < 0 ? 1 : 0); }

/// Where a sign stands in a table that runs from -1 to 1.
constexpr std::size_t indexOf(int sign)
{
    const int index = sign + 1;
    return static_cast<std::size_t>(index);
}

int speedOf(double level, int maximum)
{
    return std::max(1, static_cast<int>(std::lround(std::abs(level) * maximum)));
}

using Row = std::array<Command, 3>; // left, centre, right
constexpr std::array kMoves = {
    Row{Command::MoveLeftUp, Command::MoveUp, Command::MoveRightUp},
    Row{Command::MoveLeft, Command::StopMove, Command::MoveRight},
    Row{Command::MoveLeftDown, Command::MoveDown, Command::MoveRightDown},
};

} // namespace

double withoutDeadZone(double reading)
{
    const double beyond = std::abs(reading) - kDeadZone;
    return beyond <= 0 ? 0 : std::copysign(std::min(beyond / (1 - kDeadZone), 1.0), reading);
}

QList<PodCommand> JoystickMapping::setAssignment(const JoystickAssignment &assignment)
{
    QList<PodCommand> stops;
    for (std::size_t i = 0; i < m_axes.size(); ++i) {
        if (m_assignment.axes[i] == assignment.axes[i])
            continue;
        if (Motion *const motion = motionOf(m_assignment.axes[i].function);
            motion && m_axes[i].level != 0)
            motion->end(stops);
        m_axes[i] = {};
    }
    for (std::size_t i = 0; i < m_buttons.size(); ++i) {
        if (m_assignment.buttons[i] != assignment.buttons[i])
            m_buttons[i] = {};
    }
    m_assignment = assignment;
    return stops;
}

JoystickEvents JoystickMapping::update(const JoystickReadings &readings, const SpeedLimits &limits,
                                       qint64 nowMs)
{
    for (std::size_t i = 0; i < m_axes.size(); ++i)
        m_axes[i] = follow(m_axes[i], readings.axes[i], m_assignment.axes[i]);

    JoystickEvents events;
    m_move.follow(moveWish(limits.move), nowMs, events.motions);
    m_zoom.follow(zoomWish(limits.zoom), nowMs, events.motions);
    m_focus.follow(focusWish(), nowMs, events.motions);

    for (std::size_t i = 0; i < m_buttons.size(); ++i) {
        const ButtonAction action =
            follow(m_buttons[i], readings.buttons[i], m_assignment.buttons[i], nowMs);
        if (action != ButtonAction::None)
            events.actions.append(action);
    }
    return events;
}

QList<PodCommand> JoystickMapping::release()
{
    QList<PodCommand> stops;
    for (Motion *motion : {&m_move, &m_zoom, &m_focus})
        motion->end(stops);
    m_axes.fill({});
    m_buttons.fill({});
    return stops;
}

void JoystickMapping::Motion::follow(const Wish &wish, qint64 nowMs, QList<PodCommand> &out)
{
    const Direction next = wish.direction;
    if (next.isNone()) {
        end(out);
        return;
    }
    const bool due = !lastStartMs || nowMs - *lastStartMs >= kCommandIntervalMs;
    const bool reverses = sent.x * next.x < 0 || sent.y * next.y < 0;
    const bool rests = (sent.x != 0 && next.x == 0) || (sent.y != 0 && next.y == 0);
    const bool begins = (sent.x == 0 && next.x != 0) || (sent.y == 0 && next.y != 0);
    const bool onlyRests = rests && !reverses && !begins;
    if (due || onlyRests) {
        out.append(wish.command);
        sent = next;
        lastStartMs = nowMs;
    } else if (reverses || rests) {
        end(out); // the new direction has to wait, the end of the old one has not
    }
}

void JoystickMapping::Motion::end(QList<PodCommand> &out)
{
    if (!sent.isNone())
        out.append({motion::motionOf(kind).stop.command});
    sent = {};
}

JoystickMapping::Axis JoystickMapping::follow(Axis axis, double reading,
                                              const AxisAssignment &assignment)
{
    const double level = withoutDeadZone(reading);
    axis.seenAtCentre = axis.seenAtCentre || level == 0;
    const double threshold = axis.level == 0 ? kStartDeflection : 0;
    const bool counts = axis.seenAtCentre && std::abs(level) > threshold;
    axis.level = counts ? (assignment.inverted ? -level : level) : 0;
    return axis;
}

ButtonAction JoystickMapping::follow(Button &button, bool pressed,
                                     const ButtonAssignment &assignment, qint64 nowMs)
{
    switch (button.state) {
    case Button::AwaitingRelease:
        if (!pressed)
            button.state = Button::Up;
        break;
    case Button::Up:
        if (pressed) {
            button.state = Button::Down;
            button.downSinceMs = nowMs;
        }
        break;
    case Button::Down:
        // The time decides first: a look that comes late must not make a long press short.
        if (nowMs - button.downSinceMs >= kLongPressMs) {
            button.state = pressed ? Button::AwaitingRelease : Button::Up;
            return assignment.longPress;
        }
        if (!pressed) {
            button.state = Button::Up;
            return assignment.shortPress;
        }
        break;
    }
    return ButtonAction::None;
}

JoystickMapping::Motion *JoystickMapping::motionOf(AxisFunction function)
{
    switch (function) {
    case AxisFunction::None:
        return nullptr;
    case AxisFunction::Yaw:
    case AxisFunction::Pitch:
        return &m_move;
    case AxisFunction::Zoom:
        return &m_zoom;
    case AxisFunction::Focus:
        return &m_focus;
    }
    Q_UNREACHABLE();
}

double JoystickMapping::levelOf(AxisFunction function) const
{
    // Of several axes with one function the one that is deflected furthest counts.
    double level = 0;
    for (std::size_t i = 0; i < m_axes.size(); ++i) {
        if (m_assignment.axes[i].function == function
            && std::abs(m_axes[i].level) > std::abs(level))
            level = m_axes[i].level;
    }
    return level;
}

JoystickMapping::Wish JoystickMapping::moveWish(int maximumSpeed) const
{
    const int maximum = std::clamp(maximumSpeed, 0, 255);
    if (maximum == 0)
        return {};
    const double yaw = levelOf(AxisFunction::Yaw);
    const double pitch = levelOf(AxisFunction::Pitch);
    const Direction direction{signOf(yaw), signOf(pitch)};
    const Command command = kMoves[indexOf(direction.y)][indexOf(direction.x)];
    const int yawSpeed = speedOf(yaw, maximum);
    const int pitchSpeed = speedOf(pitch, maximum);
    if (direction.x != 0 && direction.y != 0)
        return {direction, {command, yawSpeed, pitchSpeed}};
    return {direction, {command, direction.x != 0 ? yawSpeed : pitchSpeed}};
}

JoystickMapping::Wish JoystickMapping::zoomWish(int maximumSpeed) const
{
    const double level = levelOf(AxisFunction::Zoom);
    return {{signOf(level), 0},
            {level > 0 ? Command::ZoomIn : Command::ZoomOut, speedOf(level, maximumSpeed)}};
}

JoystickMapping::Wish JoystickMapping::focusWish() const
{
    const double level = levelOf(AxisFunction::Focus);
    return {{signOf(level), 0}, {level > 0 ? Command::ManualFocusFar : Command::ManualFocusNear}};
}

} // namespace input
