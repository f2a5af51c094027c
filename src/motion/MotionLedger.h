#pragma once

#include "protocol/CommandCatalogue.h"

#include <array>
#include <optional>

/// Knows which motions of the pod were started and not stopped yet, from the commands that were
/// really sent. A pod goes on moving until it is told to stop, so whatever stands here when a link
/// closes or breaks is owed a stop.
namespace protocol {

class MotionLedger
{
public:
    /// What moves on its own: turning, zooming and focusing each have their own stop.
    static constexpr std::size_t kMotions = 3;

    /// How long after it was sent a stop may still turn out to have gone nowhere: a peer that
    /// vanished is noticed only so much later.
    static constexpr qint64 kUncertainMs = 10000;

    /// `nowMs` is the time of any clock that never steps, the same in every call.
    void sent(Command command, qint64 nowMs);

    /// The link broke, and with it, perhaps, the stops of the last kUncertainMs were lost: they are
    /// owed again.
    void linkLost(qint64 nowMs);

    /// The stop of each motion that runs, in a fixed order; empty places where none does.
    std::array<std::optional<Command>, kMotions> owedStops() const;

private:
    struct State
    {
        bool running = false;
        std::optional<qint64> stoppedAtMs;
    };

    std::array<State, kMotions> m_states{};
};

} // namespace protocol
