#include "MotionLedger.h"

#include <utility>

namespace motion {

void MotionLedger::turnTo(const QString &pod)
{
    Pod next{pod, {}};
    for (const Pod &other : std::as_const(m_pods)) {
        if (pod.isEmpty() || other.name.isEmpty() || other.name == pod)
            add(next.debts, other.debts);
    }
    m_pods.removeIf([&](const Pod &other) { return other.name.isEmpty() || other.name == pod; });
    if (m_pods.size() >= kPods)
        m_pods.removeFirst();
    m_pods.append(next);
}

void MotionLedger::add(Debts &debts, const Debts &others)
{
    for (std::size_t i = 0; i < debts.size(); ++i) {
        if (others[i].state > debts[i].state)
            debts[i] = others[i];
        debts[i].heardAtMs.reset(); // what was heard came over the old link
    }
}

void MotionLedger::sending(protocol::Command command)
{
    Debts &debts = m_pods.last().debts;
    if (const Started started = startedBy(command)) {
        debts[placeOf(started.motion->kind)] = {Debt::Unsent, {}};
    } else if (const Motion *const stopped = stoppedBy(command)) {
        Debt &debt = debts[placeOf(stopped->kind)];
        if (debt.state != Debt::None)
            debt = {Debt::Unproved, {}};
    }
}

void MotionLedger::statusArrived(qint64 nowMs)
{
    for (Debt &debt : m_pods.last().debts) {
        if (debt.state != Debt::Unproved)
            continue;
        if (!debt.heardAtMs)
            debt.heardAtMs = nowMs;
        else if (nowMs - *debt.heardAtMs >= kProofMs)
            debt = {};
    }
}

MotionLedger::Stops MotionLedger::unsentStops() const { return stopsFrom(Debt::Unsent); }

MotionLedger::Stops MotionLedger::owedStops() const { return stopsFrom(Debt::Unproved); }

MotionLedger::Stops MotionLedger::stopsFrom(Debt::State least) const
{
    Stops stops;
    for (const Motion &motion : kMotions) {
        if (m_pods.last().debts[placeOf(motion.kind)].state >= least)
            stops[placeOf(motion.kind)] = motion.stop.command;
    }
    return stops;
}

} // namespace motion
