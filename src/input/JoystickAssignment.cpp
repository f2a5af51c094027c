#include "JoystickAssignment.h"

#include <QSettings>

#include <algorithm>
#include <span>

namespace input {
namespace {

constexpr std::array kFunctionIds = {"none", "yaw", "pitch", "zoom", "focus"};
constexpr std::array kActionIds = {
    "pitchDown", "modeChange",   "photo", "record",     "startTrack",
    "pip",       "pseudoColour", "osd",   "laserLight", "stopTrack",
};
static_assert(kFunctionIds.size() == static_cast<std::size_t>(AxisFunction::Focus) + 1);
static_assert(kActionIds.size() == static_cast<std::size_t>(ButtonAction::StopTrack) + 1);

constexpr const char *kNoActionId = "none";
constexpr std::array kAxisNames = {"X", "Y", "Z", "R", "U"};
static_assert(kAxisNames.size() == kAxisCount);

QString axisKey(std::size_t axis, const char *what)
{
    return QStringLiteral("axis%1%2").arg(QLatin1String(kAxisNames[axis]), QLatin1String(what));
}

QString buttonKey(std::size_t button, const char *what)
{
    return QStringLiteral("button%1%2").arg(button + 1).arg(QLatin1String(what));
}

/// The place of a text in a table of ids, or -1.
int indexOf(std::span<const char *const> ids, const QVariant &value)
{
    const QString text = value.toString();
    const auto found =
        std::ranges::find_if(ids, [&text](const char *id) { return text == QLatin1String(id); });
    return found == ids.end() ? -1 : static_cast<int>(found - ids.begin());
}

ButtonAction readAction(const QSettings &settings, const QString &key)
{
    return static_cast<ButtonAction>(indexOf(kActionIds, settings.value(key)));
}

QString actionId(ButtonAction action)
{
    return QLatin1String(
        action == ButtonAction::None ? kNoActionId : kActionIds[static_cast<std::size_t>(action)]);
}

} // namespace

QStringList buttonActionIds()
{
    QStringList ids;
    for (const char *id : kActionIds)
        ids.append(QLatin1String(id));
    return ids;
}

std::optional<AxisFunction> axisFunctionAt(int index)
{
    if (index < 0 || index >= static_cast<int>(kFunctionIds.size()))
        return std::nullopt;
    return static_cast<AxisFunction>(index);
}

std::optional<ButtonAction> buttonActionAt(int index)
{
    if (index < -1 || index >= static_cast<int>(kActionIds.size()))
        return std::nullopt;
    return static_cast<ButtonAction>(index);
}

JoystickAssignment loadAssignment(QSettings &settings)
{
    JoystickAssignment assignment;
    settings.beginGroup(QStringLiteral("Joystick"));
    for (std::size_t i = 0; i < assignment.axes.size(); ++i) {
        const int function = indexOf(kFunctionIds, settings.value(axisKey(i, "Function")));
        assignment.axes[i].function = axisFunctionAt(function).value_or(AxisFunction::None);
        // Only the exact word: QVariant would take any text for true.
        assignment.axes[i].inverted =
            settings.value(axisKey(i, "Inverted")).toString() == QLatin1String("true");
    }
    for (std::size_t i = 0; i < assignment.buttons.size(); ++i) {
        assignment.buttons[i].shortPress = readAction(settings, buttonKey(i, "Short"));
        assignment.buttons[i].longPress = readAction(settings, buttonKey(i, "Long"));
    }
    settings.endGroup();
    return assignment;
}

bool saveAssignment(QSettings &settings, const JoystickAssignment &assignment)
{
    settings.beginGroup(QStringLiteral("Joystick"));
    for (std::size_t i = 0; i < assignment.axes.size(); ++i) {
        const auto function = static_cast<std::size_t>(assignment.axes[i].function);
        settings.setValue(axisKey(i, "Function"), QLatin1String(kFunctionIds[function]));
        settings.setValue(axisKey(i, "Inverted"), assignment.axes[i].inverted);
    }
    for (std::size_t i = 0; i < assignment.buttons.size(); ++i) {
        settings.setValue(buttonKey(i, "Short"), actionId(assignment.buttons[i].shortPress));
        settings.setValue(buttonKey(i, "Long"), actionId(assignment.buttons[i].longPress));
    }
    settings.endGroup();
    settings.sync();
    return settings.status() == QSettings::NoError;
}

} // namespace input
