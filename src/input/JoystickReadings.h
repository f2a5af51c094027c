#pragma once

#include "JoystickAssignment.h"

namespace input {

/// What a device says at one moment. Axes are -1..1 (right, towards the operator and clockwise are
/// positive); what the device lacks reads 0 and false.
struct JoystickReadings
{
    std::array<double, kAxisCount> axes{};
    std::array<bool, kButtonCount> buttons{};

    bool operator==(const JoystickReadings &) const = default;
};

/// Deflections up to this count as centre; a worn stick does not return to 0 exactly.
inline constexpr double kDeadZone = 0.1;

/// Takes the dead zone out of a reading: 0 within it, from there evenly up to 1 at the end.
double withoutDeadZone(double reading);

} // namespace input
