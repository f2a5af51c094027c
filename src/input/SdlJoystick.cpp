#include "SdlJoystick.h"

#include <QDebug>

#define SDL_MAIN_HANDLED // Qt starts the program, not SDL
#include <SDL.h>

#include <algorithm>

namespace input {
namespace {

constexpr double kFullDeflection = SDL_JOYSTICK_AXIS_MAX;

} // namespace

struct SdlJoystick::Private
{
    struct Close
    {
        void operator()(SDL_Joystick *joystick) const { SDL_JoystickClose(joystick); }
    };

    bool started = false;
    std::unique_ptr<SDL_Joystick, Close> device;
};

bool SdlJoystick::isAvailable() { return true; }

SdlJoystick::SdlJoystick()
    : m_private(std::make_unique<Private>())
{
    SDL_SetMainReady();
    SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
    SDL_SetHint(SDL_HINT_JOYSTICK_ALLOW_BACKGROUND_EVENTS, "1");
    SDL_SetHint(SDL_HINT_JOYSTICK_THREAD, "1"); // Windows: devices are noticed without SDL's loop
    m_private->started = SDL_InitSubSystem(SDL_INIT_JOYSTICK) == 0;
    if (!m_private->started)
        qWarning() << "SDL cannot read joysticks:" << SDL_GetError();
}

SdlJoystick::~SdlJoystick()
{
    m_private->device.reset();
    if (m_private->started)
        SDL_QuitSubSystem(SDL_INIT_JOYSTICK);
}

bool SdlJoystick::poll()
{
    if (!m_private->started)
        return false;
    auto &device = m_private->device;
    SDL_JoystickUpdate();
    // The state is asked for; the queue that tells the same is nobody's.
    SDL_FlushEvents(SDL_FIRSTEVENT, SDL_LASTEVENT);

    bool changed = false;
    if (device && SDL_JoystickGetAttached(device.get()) == SDL_FALSE) {
        device.reset();
        changed = true;
    }
    for (int i = 0; !device && i < SDL_NumJoysticks(); ++i) {
        device.reset(SDL_JoystickOpen(i));
        changed = changed || device;
    }
    return changed;
}

bool SdlJoystick::isConnected() const { return m_private->device != nullptr; }

QString SdlJoystick::name() const
{
    return m_private->device ? QString::fromUtf8(SDL_JoystickName(m_private->device.get()))
                             : QString();
}

JoystickReadings SdlJoystick::readings() const
{
    JoystickReadings readings;
    if (!m_private->device)
        return readings;
    SDL_Joystick *const device = m_private->device.get();
    // SDL reads 0 from an axis or button that the device does not have.
    for (int i = 0; i < kAxisCount; ++i) {
        readings.axes[static_cast<std::size_t>(i)] =
            std::max(SDL_JoystickGetAxis(device, i) / kFullDeflection, -1.0);
    }
    for (int i = 0; i < kButtonCount; ++i)
        readings.buttons[static_cast<std::size_t>(i)] = SDL_JoystickGetButton(device, i) != 0;
    return readings;
}

} // namespace input
