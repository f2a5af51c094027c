// Stands in for SdlJoystick.cpp in a build without SDL.
#include "SdlJoystick.h"

namespace input {

struct SdlJoystick::Private
{
};

bool SdlJoystick::isAvailable() { return false; }

SdlJoystick::SdlJoystick() = default;

SdlJoystick::~SdlJoystick() = default;

bool SdlJoystick::poll() { return false; }

bool SdlJoystick::isConnected() const { return false; }

QString SdlJoystick::name() const { return {}; }

JoystickReadings SdlJoystick::readings() const { return {}; }

} // namespace input
