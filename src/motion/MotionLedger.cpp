#include "MotionLedger.h"

#include <algorithm>
#include <span>
#include <utility>

namespace protocol {
namespace {

constexpr std::array kTurns = {Command::MoveRight,     Command::MoveLeft,    Command::MoveUp,
                               Command::MoveDown,      Command::MoveRightUp, Command::MoveLeftUp,
                               Command::MoveRightDown, Command::MoveLeftDown};
constexpr std::array kZooms = {Command::ZoomIn, Command::ZoomOut};
constexpr std::array kFocuses = {Command::ManualFocusNear, Command::ManualFocusFar};

struct Motion
{
    std::span<const Command> starts;
    Command stop;
};

constexpr std::array<Motion, MotionLedger::kMotions> kMotionTable = {{
    {kTurns, Command::StopMove},
    {kZooms, Command::ZoomStop},
    {kFocuses, Command::ManualFocusStop},
}};

} // namespace

void MotionLedger::sent(Command command, qint64 nowMs)
{
    for (std::size_t i = 0; i < kMotions; ++i) {
        const Motion &motion = kMotionTable[i];
        State &state = m_states[i];
        if (std::ranges::find(motion.starts, command) != motion.starts.end())
            state.running = true;
        else if (command == motion.stop && std::exchange(state.running, false))
            state.stoppedAtMs = nowMs;
    }
}

void MotionLedger::linkLost(qint64 nowMs)
{
    for (State &state : m_states) {
        if (state.stoppedAtMs && nowMs - *state.stoppedAtMs <= kUncertainMs)
            state.running = true;
    }
}

std::array<std::optional<Command>, MotionLedger::kMotions> MotionLedger::owedStops() const
{
    std::array<std::optional<Command>, kMotions> stops;
    for (std::size_t i = 0; i < kMotions; ++i) {
        if (m_states[i].running)
            stops[i] = kMotionTable[i].stop;
    }
    return stops;
}

} // namespace protocol
