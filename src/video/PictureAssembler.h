#pragma once

#include "AnnexB.h"

#include <QByteArray>
#include <QList>

#include <cstdint>

/// Joins what arrives of an H.264 or H.265 stream, a network packet's worth at a time, into whole
/// pictures.
///
/// The packets do not tell where a picture ends; that is certain only when the next one begins,
/// an interval later. But a sender fills every packet of a picture except the last of each slice,
/// and most encoders cut all pictures into the same number of slices: the first packet with room
/// left in the last slice ends the picture. The assembler watches a stream until it has seen the
/// rule hold kTrialPictures times in a row, two of them on slices in several packets, and from then
/// on gives pictures away at once. A sender that breaks the rule after that costs one picture, and
/// waits for the next picture's beginning are back for good. Lost packets do not count as a
/// breach; a picture that lacks some is complete when the next begins.
class PictureAssembler
{
public:
    using Codec = annexb::Codec;
    static constexpr int kTrialPictures = 20;

    struct Complete
    {
        QByteArray bytes;
        std::int64_t time = 0; ///< media time, as of its packets
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
    bool closesEarly() const { return m_rule == Rule::Trusted; }

private:
    enum class Rule : std::uint8_t { OnTrial, Trusted, Broken };

    /// What of a picture has come so far.
    struct Picture
    {
        QByteArray bytes;
        std::int64_t time = 0;
        int slices = 0;
        bool endsInSlice = false;
        bool lastSliceInPieces = false;
        bool lookedComplete = false; // by the rule, at its newest packet
    };

    Pictures addStart(QByteArrayView units, std::int64_t time);
    void addPiece(QByteArrayView piece, std::int64_t time);
    void addUnit(QByteArrayView unit, std::int64_t time, Pictures &complete);
    bool beginsPicture(QByteArrayView header) const;
    bool isFirstSlice(QByteArrayView header) const;
    bool hasRoomLeft(qsizetype payloadBytes);
    void applyRule(bool hasRoom, Pictures &complete);
    void meetLaterPart(std::int64_t time);
    void append(QByteArrayView bytes);
    void closeAtNext(Pictures &complete);
    Complete takePicture();

    Codec m_codec;
    Rule m_rule = Rule::OnTrial;
    int m_held = 0;         // how often in a row the rule did
    int m_heldInPieces = 0; // of these, on slices in several packets
    int m_slices = 0;       // of every picture, as far as is known
    qsizetype m_fullBytes = 0;
    Picture m_picture;
    std::int64_t m_closedTime = 0; // of the picture given away last
    bool m_hasClosed = false;      // one was, by the rule
};
