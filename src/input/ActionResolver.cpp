#include "ActionResolver.h"

namespace input {

using protocol::Command;

namespace {

constexpr std::array kModes = {Command::ModeYawFollow, Command::ModeYawLock, Command::ModeFPV};
constexpr int kFollowMode = 0;
constexpr int kLockMode = 1;
constexpr int kPictureCount = 4;
constexpr int kColourCount = 3;
constexpr int kPictureCentre = 128; // of 0..255 across the picture

int advance(int &place, int count) { return place = (place + 1) % count; }

PodCommand toggle(bool &on, Command open, Command close)
{
    on = !on;
    return {on ? open : close};
}

} // namespace

void ActionResolver::setWorkMode(const QString &workMode)
{
    if (workMode == QLatin1String("Follow"))
        m_mode = kFollowMode;
    else if (workMode == QLatin1String("Lock"))
        m_mode = kLockMode;
}

std::optional<PodCommand> ActionResolver::resolve(ButtonAction action, bool recording)
{
    switch (action) {
    case ButtonAction::None:
        return std::nullopt;
    case ButtonAction::PitchDown:
        return PodCommand{Command::PitchDownOnly};
    case ButtonAction::ModeChange:
        return PodCommand{
            kModes[static_cast<std::size_t>(advance(m_mode, static_cast<int>(kModes.size())))]};
    case ButtonAction::Photo:
        return PodCommand{Command::TakePhoto};
    case ButtonAction::Record:
        return PodCommand{recording ? Command::StopRecord : Command::StartRecord};
    case ButtonAction::StartTrack:
        return PodCommand{Command::Pointtrack, kPictureCentre, kPictureCentre};
    case ButtonAction::PictureInPicture:
        return PodCommand{Command::SetHZH, advance(m_picture, kPictureCount)};
    case ButtonAction::PseudoColour:
        return PodCommand{Command::SetWC, advance(m_colour, kColourCount)};
    case ButtonAction::Osd:
        return toggle(m_osdOn, Command::OsdOpen, Command::OsdClose);
    case ButtonAction::LaserLight:
        return toggle(m_laserLightOn, Command::LaserLightOpen, Command::LaserLightClose);
    case ButtonAction::StopTrack:
        return PodCommand{Command::Pointtrackstop};
    }
    Q_UNREACHABLE();
}

} // namespace input
