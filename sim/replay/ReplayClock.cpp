#include "ReplayClock.h"

#include <algorithm>

namespace {

using std::chrono::nanoseconds;

nanoseconds scaled(ReplayClock::Micros time, double speed)
{
    return std::chrono::round<nanoseconds>(std::chrono::duration<double, std::micro>(time) / speed);
}

} // namespace

void ReplayClock::jump(Wall now, Micros from, Micros goal)
{
    m_start = now;
    m_from = from;
    m_goal = goal;
}

void ReplayClock::setPaused(Wall now, bool paused)
{
    if (paused == m_isPaused)
        return;
    if (paused)
        runOnFrom(now);
    else if (now > arrival())
        jump(now, m_goal, m_goal);
    m_isPaused = paused;
}

void ReplayClock::setSpeed(Wall now, double speed)
{
    runOnFrom(now);
    m_speed = speed;
}

/// A jump under way keeps its goal.
void ReplayClock::runOnFrom(Wall now)
{
    if (now > arrival()) {
        const Micros position = positionAt(now);
        jump(now, position, position);
    }
}

ReplayClock::Wall ReplayClock::arrival() const { return m_start + scaled(m_goal - m_from, kHurry); }

ReplayClock::Micros ReplayClock::positionAt(Wall now) const
{
    if (now <= arrival() || m_isPaused)
        return m_goal;
    return m_goal + std::chrono::round<Micros>((now - arrival()) * m_speed);
}

std::optional<ReplayClock::Wall> ReplayClock::dueOf(Micros moment) const
{
    if (moment <= m_goal)
        return m_start + scaled(std::max(moment - m_from, Micros(0)), kHurry);
    if (m_isPaused)
        return std::nullopt;
    return arrival() + scaled(moment - m_goal, m_speed);
}

nanoseconds ReplayClock::lengthOf(Micros time, Micros moment) const
{
    const Micros hurried = std::clamp(m_goal - moment, Micros(0), time);
    return scaled(hurried, kHurry) + scaled(time - hurried, m_speed);
}
