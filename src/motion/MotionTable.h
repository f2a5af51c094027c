#pragma once

#include "protocol/CommandCatalogue.h"

#include <algorithm>
#include <array>
#include <span>
#include <string_view>

/// What moves the pod until it is told to stop: the one list that the guard, the ledger and the
/// joystick share.
namespace motion {

/// Motions of different kinds run side by side; each kind has its own stop. In the order of
/// kMotions.
enum class Kind : quint8 { Move, Zoom, Focus };

struct NamedCommand
{
    protocol::Command command;
    std::string_view name; ///< by which controls ask the guard for it
};

struct Motion
{
    Kind kind;
    std::span<const NamedCommand> starts;
    NamedCommand stop;
};

inline constexpr auto kTurns = std::to_array<NamedCommand>({
    {protocol::Command::MoveUp, "up"},
    {protocol::Command::MoveDown, "down"},
    {protocol::Command::MoveLeft, "left"},
    {protocol::Command::MoveRight, "right"},
    {protocol::Command::MoveLeftUp, "leftup"},
    {protocol::Command::MoveLeftDown, "leftdown"},
    {protocol::Command::MoveRightUp, "rightup"},
    {protocol::Command::MoveRightDown, "rightdown"},
});
inline constexpr auto kZooms = std::to_array<NamedCommand>({
    {protocol::Command::ZoomIn, "zoomIn"},
    {protocol::Command::ZoomOut, "zoomOut"},
});
inline constexpr auto kFocuses = std::to_array<NamedCommand>({
    {protocol::Command::ManualFocusNear, "manualFocusNear"},
    {protocol::Command::ManualFocusFar, "manualFocusFar"},
});

inline constexpr auto kMotions = std::to_array<Motion>({
    {Kind::Move, kTurns, {protocol::Command::StopMove, "stop"}},
    {Kind::Zoom, kZooms, {protocol::Command::ZoomStop, "zoomStop"}},
    {Kind::Focus, kFocuses, {protocol::Command::ManualFocusStop, "manualFocusStop"}},
});

constexpr std::size_t placeOf(Kind kind) { return static_cast<std::size_t>(kind); }

constexpr const Motion &motionOf(Kind kind) { return kMotions[placeOf(kind)]; }

static_assert(std::ranges::all_of(kMotions, [](const Motion &motion) {
    return &motionOf(motion.kind) == &motion;
}));

/// The motion that the command or name starts, and which of its starts it is; null for others.
struct Started
{
    const Motion *motion = nullptr;
    const NamedCommand *start = nullptr;

    constexpr explicit operator bool() const { return motion != nullptr; }
};

constexpr Started startedBy(auto key, auto NamedCommand::*member)
{
    for (const Motion &motion : kMotions) {
        const auto start = std::ranges::find(motion.starts, key, member);
        if (start != motion.starts.end())
            return {&motion, &*start};
    }
    return {};
}

constexpr Started startedBy(protocol::Command command)
{
    return startedBy(command, &NamedCommand::command);
}

constexpr Started startedBy(std::string_view name) { return startedBy(name, &NamedCommand::name); }

/// The motion that the command stops; null for others.
constexpr const Motion *stoppedBy(protocol::Command command)
{
    const auto *const motion = std::ranges::find(
        kMotions, command, [](const Motion &candidate) { return candidate.stop.command; });
    return motion == kMotions.end() ? nullptr : motion;
}

} // namespace motion
