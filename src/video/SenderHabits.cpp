#include "SenderHabits.h"

#include <algorithm>

namespace {

// A payload this much below the fullest counts as full; units that fill one exactly are rare.
constexpr qsizetype kSlackBytes = 8;
constexpr int kTrialInPieces = 2;
constexpr int kKeyTrial = 2;
constexpr int kKeyTrialInPieces = 1;
constexpr int kRaisesMax = 3; // each doubles the trial

constexpr int kDoubtMax = 16; // by which doubtful pictures may outnumber the others

} // namespace

bool SenderHabits::hasRoom(qsizetype payloadBytes)
{
    m_fullBytes = std::max(m_fullBytes, payloadBytes);
    return payloadBytes + kSlackBytes < m_fullBytes;
}

void SenderHabits::learn(const Ended &picture)
{
    Habit &habit = m_habits[std::size_t(picture.kind)];
    const bool moreSlices = picture.slices > habit.slices;
    // Fewer may be for a lost packet, or for a sender that cuts as it likes: no proof of the rule.
    if (picture.slices != habit.slices || picture.brokeRule || picture.timesDiffer) {
        habit.held = 0;
        habit.heldInPieces = 0;
    } else if (picture.lookedComplete) {
        ++habit.held;
        habit.heldInPieces += picture.lastSliceInPieces ? 1 : 0;
    }
    if (moreSlices) {
        habit.raises = std::min(habit.raises + (habit.slices > 0 ? 1 : 0), kRaisesMax);
        habit.slices = picture.slices;
        habit.isTrusted = false;
    }
    if (picture.kind == PictureKind::Key)
        m_heldAcrossKey = m_habits[std::size_t(PictureKind::Other)].held > 0;
    judge();
}

void SenderHabits::judge()
{
    Habit &others = m_habits[std::size_t(PictureKind::Other)];
    m_heldAcrossKey = m_heldAcrossKey && others.held > 0;
    const int wanted = m_heldAcrossKey ? kTrial : kTrialWithoutKey;
    others.isTrusted =
        others.isTrusted
        || (others.held >= wanted << others.raises && others.heldInPieces >= kTrialInPieces);
    Habit &keys = m_habits[std::size_t(PictureKind::Key)];
    const int keysWanted = others.isTrusted ? kKeyTrial : kTrial;
    keys.isTrusted =
        keys.isTrusted
        || (keys.held >= keysWanted << keys.raises && keys.heldInPieces >= kKeyTrialInPieces);
}

void SenderHabits::settle(bool isDoubtful)
{
    m_doubt = std::max(0, m_doubt + (isDoubtful ? 1 : -1));
    m_isBroken = m_isBroken || m_doubt > kDoubtMax;
}
