#pragma once

#include "JoystickAssignment.h"
#include "PodCommand.h"

namespace input {

/// Turns a button's action into the command for the state the pod is in. What the pod reports
/// (recording, gimbal mode) comes from the pod; what it does not report (picture-in-picture,
/// pseudo-colour, on-screen display, fill light) is counted here from the drawer's defaults.
class ActionResolver
{
public:
    /// Nothing for ButtonAction::None. `recording` is the pod's own report.
    std::optional<PodCommand> resolve(ButtonAction action, bool recording);

    /// The pod's report of its gimbal mode, so that the next mode change goes on from there; a text
    /// other than "Follow" and "Lock" tells nothing and changes nothing.
    void setWorkMode(const QString &workMode);

    bool isOsdOn() const { return m_osdOn; }

    void setOsdOn(bool on) { m_osdOn = on; }

    bool isLaserLightOn() const { return m_laserLightOn; }

    void setLaserLightOn(bool on) { m_laserLightOn = on; }

private:
    int m_mode = -1; // place in the cycle of modes, -1 while unknown
    int m_picture = -1;
    int m_colour = -1;
    bool m_osdOn = true;
    bool m_laserLightOn = false;
};

} // namespace input
