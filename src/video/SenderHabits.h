#pragma once

#include <QtGlobal>

#include <array>
#include <cstdint>

enum class PictureKind : std::uint8_t { Other, Key };

/// Learns from the pictures of a sender whether their ends can be told from their packets.
///
/// A sender fills every packet of a picture except the last of each slice, and most encoders cut
/// all pictures into the same number of slices: the first packet with room left in the last slice
/// ends the picture. Key pictures may be cut differently from others and are learnt apart. Others
/// are trusted to end so when the rule has held for kTrial of them in a row, two of them with a
/// last slice in several packets, and for a key picture among them or for kTrialWithoutKey; key
/// pictures after two, once others are. A sender that turns out to cut more slices has to pass a
/// longer trial, and one that breaks the rule while it is trusted is never trusted again.
class SenderHabits
{
public:
    static constexpr int kTrial = 20;
    static constexpr int kTrialWithoutKey = 100;

    /// A picture whose end is certain, since the next one has begun.
    struct Ended
    {
        PictureKind kind = PictureKind::Other;
        int slices = 0;
        bool lastSliceInPieces = false;
        bool lookedComplete = false; ///< by the rule, with its last packet
        bool brokeRule = false;      ///< more came after it had looked complete
        bool timesDiffer = false;    ///< of its slices' packets
    };

    /// Takes note of a packet's size; true when more would have fitted.
    bool hasRoom(qsizetype payloadBytes);

    /// Whether a picture of so many slices, the last of which ends with room, looks complete.
    bool looksComplete(PictureKind kind, int slices) const { return habit(kind).slices == slices; }

    /// Whether pictures were seen in several slices.
    bool cutsSlices(PictureKind kind) const { return habit(kind).slices > 1; }

    bool isTrusted(PictureKind kind) const { return !m_isBroken && habit(kind).isTrusted; }

    bool isBroken() const { return m_isBroken; }

    void learn(const Ended &picture);

    /// More of a picture came after it was taken to be complete.
    void breach() { m_isBroken = true; }

    /// What was taken to be complete was followed by what may be more of it, or may belong to a
    /// picture whose beginning is lost. If most are like that, it is a breach.
    void settle(bool isDoubtful);

private:
    struct Habit
    {
        int slices = 0;       // of a picture, the most that were seen
        int raises = 0;       // how often that was found out to be wrong
        int held = 0;         // how often in a row the rule did
        int heldInPieces = 0; // of these, on slices in several packets
        bool isTrusted = false;
    };

    const Habit &habit(PictureKind kind) const { return m_habits[std::size_t(kind)]; }
    void judge();

    std::array<Habit, 2> m_habits;
    qsizetype m_fullBytes = 0;
    bool m_heldAcrossKey = false; // the others' rule, so far
    int m_doubt = 0;
    bool m_isBroken = false;
};
