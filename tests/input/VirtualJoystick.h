#pragma once

#include "input/JoystickInput.h"

#define SDL_MAIN_HANDLED
#include <SDL.h>

/// A device that exists as long as this object does, moved by the test.
class VirtualJoystick
{
    Q_DISABLE_COPY_MOVE(VirtualJoystick)

public:
    /// Starts SDL's joystick part; SDL_QuitSubSystem(SDL_INIT_JOYSTICK) ends it.
    static bool prepare()
    {
        SDL_SetMainReady();
        SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
        SDL_SetHint(SDL_HINT_JOYSTICK_ALLOW_BACKGROUND_EVENTS, "1");
        return SDL_InitSubSystem(SDL_INIT_JOYSTICK) == 0;
    }

    VirtualJoystick() = default;

    ~VirtualJoystick()
    {
        SDL_JoystickClose(m_joystick);
        SDL_JoystickDetachVirtual(m_index);
    }

    bool isValid() const { return m_joystick != nullptr; }

    void setAxis(int axis, double value)
    {
        SDL_JoystickSetVirtualAxis(m_joystick, axis, Sint16(value * SDL_JOYSTICK_AXIS_MAX));
    }

    void setButton(int button, bool down)
    {
        SDL_JoystickSetVirtualButton(m_joystick, button, down ? 1 : 0);
    }

private:
    int m_index = SDL_JoystickAttachVirtual(SDL_JOYSTICK_TYPE_FLIGHT_STICK, input::kAxisCount,
                                            input::kButtonCount, 0);
    SDL_Joystick *m_joystick = SDL_JoystickOpen(m_index);
};
