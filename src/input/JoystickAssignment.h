#pragma once

#include <QStringList>

#include <array>
#include <optional>

class QSettings;

/// The joystick: reading it, and turning what it says into commands.
namespace input {

inline constexpr int kAxisCount = 5; ///< X, Y, Z, R, U
inline constexpr int kButtonCount = 10;

enum class AxisFunction : quint8 { None, Yaw, Pitch, Zoom, Focus };

/// A value is the action's place in buttonActionIds(), the one order in every language.
enum class ButtonAction : qint8 {
    None = -1,
    PitchDown,
    ModeChange,
    Photo,
    Record,
    StartTrack,
    PictureInPicture,
    PseudoColour,
    Osd,
    LaserLight,
    StopTrack,
};

struct AxisAssignment
{
    AxisFunction function = AxisFunction::None;
    bool inverted = false;

    bool operator==(const AxisAssignment &) const = default;
};

struct ButtonAssignment
{
    ButtonAction shortPress = ButtonAction::None;
    ButtonAction longPress = ButtonAction::None;

    bool operator==(const ButtonAssignment &) const = default;
};

/// What each axis and button does. By default nothing: a device that is merely plugged in must not
/// steer a pod in the air.
struct JoystickAssignment
{
    std::array<AxisAssignment, kAxisCount> axes;
    std::array<ButtonAssignment, kButtonCount> buttons;

    bool operator==(const JoystickAssignment &) const = default;
};

/// The names under which actions are kept in the settings file, in the order of ButtonAction.
QStringList buttonActionIds();

/// Nothing for a number that names no function or action (-1 is ButtonAction::None).
std::optional<AxisFunction> axisFunctionAt(int index);
std::optional<ButtonAction> buttonActionAt(int index);

/// Reads the group "Joystick"; a missing or unknown value leaves its default.
JoystickAssignment loadAssignment(QSettings &settings);

/// Writes the whole group and the file; false when the file cannot be written.
bool saveAssignment(QSettings &settings, const JoystickAssignment &assignment);

} // namespace input
