#pragma once

#include "motion/MotionTable.h"

#include <QList>
#include <QString>

#include <array>
#include <optional>

namespace motion {

/// Knows which stops each pod is owed, from the commands that were written for it. A pod goes on
/// moving until it is told to stop, and what was written may have gone nowhere: a link can be dead
/// for seconds, or for ever, before anyone is told. So a motion is owed its stop until the stop was
/// written *and* the pod was heard long enough afterwards, whatever ends the link in between.
///
/// A debt belongs to its pod. It is not paid to another one, but kept for when the console comes
/// back; only of a pod without a name nobody can say which it is, and it is taken for all of them.
class MotionLedger
{
public:
    using Stops = std::array<std::optional<protocol::Command>, kMotions.size()>;

    /// A stop is proved by a status frame that comes so long after another one that came after it:
    /// the first may have waited in a buffer, and a few more may come over a link that carries
    /// nothing in the other direction any more.
    static constexpr qint64 kProofMs = 2000;
    /// For how many pods debts are kept; the one used longest ago is forgotten first.
    static constexpr qsizetype kPods = 8;

    /// What is sent from now on is for this pod; empty for one that nobody can tell.
    void turnTo(const QString &pod);

    /// Before it is written: the write itself may find that the link is gone.
    void sending(protocol::Command command);

    /// `nowMs` is the time of any clock that never steps, the same in every call.
    void statusArrived(qint64 nowMs);

    /// The stops that were not written yet, for a link that is about to close.
    Stops unsentStops() const;
    /// Also those that were written but not proved, for a link that has just opened.
    Stops owedStops() const;

private:
    struct Debt
    {
        enum State : quint8 { None, Unproved, Unsent };

        State state = None;
        std::optional<qint64> heardAtMs; ///< the first status since the stop was written
    };

    using Debts = std::array<Debt, kMotions.size()>;

    struct Pod
    {
        QString name;
        Debts debts;
    };

    static void add(Debts &debts, const Debts &others);
    Stops stopsFrom(Debt::State least) const;

    QList<Pod> m_pods{Pod{}}; // the last used one, whose turn it is, at the end
};

} // namespace motion
