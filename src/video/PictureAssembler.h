#pragma once

#include "AnnexB.h"
#include "SenderHabits.h"
#include "SliceStart.h"

#include <QByteArray>
#include <QList>

#include <cstdint>

/// Joins what arrives of an H.264 or H.265 stream, a network packet's worth at a time, into whole
/// pictures.
///
/// The packets do not tell where a picture ends; that is certain only when the next one begins, an
/// interval later. SenderHabits learns from a stream whether that can be told earlier, and from
/// then on pictures are given away with their last packet. Whatever a sender does, the pictures are
/// those that FFmpeg's own parsing of the same packets gives, or better ones, after two seconds at
/// the latest; a sender that cannot be foreseen costs no more than the interval. When more of a
/// picture comes after it was given away, the pictures since the last key picture are given once
/// more, then the whole picture, so that the decoder has seen every one of them whole; and no
/// picture is given away early any more. Lost packets are no such breach; a picture that lacks some
/// is complete when the next begins.
class PictureAssembler
{
public:
    using Codec = annexb::Codec;

    struct Complete
    {
        QByteArray bytes;
        std::int64_t time = 0;   ///< media time, as of its packets
        bool restarts = false;   ///< the decoder has to forget what it has seen before this one
        bool isRepeated = false; ///< was given before, and is only for the decoder to see
    };
    using Pictures = QList<Complete>;

    explicit PictureAssembler(Codec codec);

    /// Adds a packet of media time `time`: one or more NAL units, each behind a start code, or a
    /// further piece of the last one. Gives the pictures that are complete now, in Annex B form.
    Pictures addPacket(QByteArrayView packet, std::int64_t time);

    /// Adds units of any length, which tell nothing about the sender's packets.
    Pictures addUnits(QByteArrayView units, std::int64_t time);

    Codec codec() const { return m_codec; }

    /// True while pictures are given away at their last packet.
    bool closesEarly() const { return m_habits.isTrusted(PictureKind::Other); }

private:
    /// What of a picture has come so far.
    struct Picture
    {
        QByteArray bytes;
        std::int64_t time = 0;
        std::uint32_t macroblock = 0; // of the newest slice
        bool lacksBeginning = false;
        bool mayRestart = false;
        bool endsInSlice = false;
        SenderHabits::Ended end;
    };

    Pictures addStart(QByteArrayView units, std::int64_t time);
    void addPiece(QByteArrayView piece, std::int64_t time, Pictures &complete);
    void addUnit(QByteArrayView unit, std::int64_t time, Pictures &complete);
    void addSlice(QByteArrayView unit, QByteArrayView header, std::int64_t time,
                  Pictures &complete);
    void addBetweenSlices(QByteArrayView unit, QByteArrayView header, Pictures &complete);
    bool beginsPicture(const SliceStart &slice, std::int64_t time) const;
    bool isOfAnotherPicture(std::int64_t time) const;
    void beginPicture(const SliceStart &slice, std::int64_t time);
    void meetLaterPart(std::int64_t time, bool isKnown);
    void takeBack();
    void applyRule(bool hasRoom, Pictures &complete);
    void closeAtNext(Pictures &complete);
    void give(const Picture &picture, Pictures &complete);
    void keepForRepetition(const Picture &picture);

    Codec m_codec;
    SenderHabits m_habits;
    Picture m_picture;
    QByteArray m_ahead; // units that belong to this picture or the next: the next slice will tell
    bool m_pieceIsAhead = false; // where a further piece belongs

    Picture m_closed;             // given away by the rule, while nothing of the next has come
    bool m_hasClosed = false;     // there is such a one
    bool m_isDoubtful = false;    // whether it was complete
    int m_picturesOfTime = 0;     // begun with the same time as the newest one
    int m_picturesOfTimeMax = 0;  // two for fields
    std::int64_t m_begunTime = 0; // of the newest

    QList<Complete> m_group; // since the last key picture; empty when it is too long
    qsizetype m_groupBytes = 0;
    bool m_repeats = false; // the group ahead of the next picture
};
