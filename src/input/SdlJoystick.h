#pragma once

#include "JoystickReadings.h"

#include <QString>

#include <memory>

namespace input {

/// One real joystick through SDL: the first device present, and after its loss the next one.
/// Devices may come and go at any time. Readings arrive while another program has the focus too.
/// GUI thread only. In a build without SDL no device is ever connected.
class SdlJoystick
{
public:
    /// Whether this build can read joysticks at all.
    static bool isAvailable();

    SdlJoystick();
    ~SdlJoystick();
    SdlJoystick(const SdlJoystick &) = delete;
    SdlJoystick &operator=(const SdlJoystick &) = delete;

    /// Takes in what happened since the last call. True when the device came, went or is another
    /// one now.
    bool poll();

    bool isConnected() const;
    QString name() const;              ///< empty without a device
    JoystickReadings readings() const; ///< at rest without a device

private:
    struct Private;
    std::unique_ptr<Private> m_private;
};

} // namespace input
