#pragma once

#include <chrono>
#include <optional>

/// Which moment of a recording is due when. A jump begins at a key picture some way before its goal
/// and hurries from there to it; then time runs at its speed, unless it is paused. Pure arithmetic.
class ReplayClock
{
public:
    using Wall = std::chrono::steady_clock::time_point;
    using Micros = std::chrono::microseconds;

    static constexpr double kHurry = 50; ///< times the recording's own pace
    static constexpr double kSpeedMin = 0.1;
    static constexpr double kSpeedMax = 16;

    /// `from` is at most `goal`.
    void jump(Wall now, Micros from, Micros goal);
    void setPaused(Wall now, bool paused);
    /// kSpeedMin to kSpeedMax.
    void setSpeed(Wall now, double speed);

    bool isPaused() const { return m_isPaused; }
    double speed() const { return m_speed; }
    Micros goal() const { return m_goal; }
    Micros positionAt(Wall now) const;
    /// Nothing for what does not come while it is paused.
    std::optional<Wall> dueOf(Micros moment) const;
    /// How long that time of the recording takes from that moment on.
    std::chrono::nanoseconds lengthOf(Micros time, Micros moment) const;

private:
    Wall arrival() const;
    void runOnFrom(Wall now);

    Wall m_start{}; // of the jump
    Micros m_from{0};
    Micros m_goal{0};
    double m_speed = 1;
    bool m_isPaused = false;
};
