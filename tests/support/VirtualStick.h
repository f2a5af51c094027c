#pragma once

#include "input/JoystickInput.h"

#include <QTest>

#define SDL_MAIN_HANDLED
#include <SDL.h>

#include <memory>

/// SDL's virtual joystick, which a JoystickInput reads as it would a real one. Its last axis has no
/// function: it tells when the device has been looked at.
class VirtualStick
{
public:
    static constexpr int kSpareAxis = 4;
    static constexpr int kWaitMs = 10000;

    /// False with a real joystick plugged in: it would be read instead.
    static bool prepare()
    {
        SDL_SetMainReady();
        SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
        SDL_SetHint(SDL_HINT_JOYSTICK_ALLOW_BACKGROUND_EVENTS, "1");
        return SDL_InitSubSystem(SDL_INIT_JOYSTICK) == 0 && SDL_NumJoysticks() == 0;
    }
    static void end() { SDL_QuitSubSystem(SDL_INIT_JOYSTICK); }

    bool isPluggedIn() const { return m_device != nullptr; }
    void plugIn()
    {
        m_device.reset(SDL_JoystickOpen(SDL_JoystickAttachVirtual(
            SDL_JOYSTICK_TYPE_FLIGHT_STICK, input::kAxisCount, input::kButtonCount, 0)));
        QVERIFY2(m_device, SDL_GetError());
    }
    void pullOut() { m_device.reset(); }
    void setAxis(int axis, double value)
    {
        SDL_JoystickSetVirtualAxis(m_device.get(), axis, Sint16(value * SDL_JOYSTICK_AXIS_MAX));
    }
    void setButton(int button, bool pressed)
    {
        SDL_JoystickSetVirtualButton(m_device.get(), button, pressed ? 1 : 0);
    }
    void centre()
    {
        for (int axis = 0; m_device && axis < kSpareAxis; ++axis)
            setAxis(axis, 0);
    }
    /// Waits until the reader has looked once more.
    void awaitLook(const JoystickInput *reader)
    {
        QVERIFY(reader);
        QTRY_VERIFY_WITH_TIMEOUT(reader->isConnected(), kWaitMs);
        const double spare = reader->axes().at(kSpareAxis) > 0 ? 0 : 1;
        setAxis(kSpareAxis, spare);
        QTRY_COMPARE_WITH_TIMEOUT(reader->axes().at(kSpareAxis), spare, kWaitMs);
    }

private:
    struct PullOut
    {
        void operator()(SDL_Joystick *device) const
        {
            SDL_JoystickClose(device);
            SDL_JoystickDetachVirtual(0);
        }
    };
    std::unique_ptr<SDL_Joystick, PullOut> m_device;
};
