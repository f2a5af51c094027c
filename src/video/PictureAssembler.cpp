#include "PictureAssembler.h"

#include <algorithm>
#include <utility>

using namespace annexb;

namespace {

constexpr qsizetype kMaxPictureBytes = qsizetype(16) * 1024 * 1024;

// What the RTP payload of a packet was larger by than what is left of it: a first piece has gained
// four bytes of start code and one of header for two that all pieces have lost.
constexpr qsizetype kStartGain = 3;
constexpr qsizetype kPieceLoss = 2;
// A payload this much below the fullest counts as full; units that fill one exactly are rare.
constexpr qsizetype kSlackBytes = 8;
constexpr int kTrialPicturesInPieces = 2;

} // namespace

PictureAssembler::PictureAssembler(Codec codec)
    : m_codec(codec)
{
}

PictureAssembler::Pictures PictureAssembler::addPacket(QByteArrayView packet, std::int64_t time)
{
    Pictures complete;
    bool hasRoom = false;
    if (startCodeLength(packet) > 0) {
        complete = addStart(packet, time);
        hasRoom = hasRoomLeft(packet.size() - kStartGain);
    } else {
        addPiece(packet, time);
        hasRoom = hasRoomLeft(packet.size() + kPieceLoss);
    }
    applyRule(hasRoom, complete);
    return complete;
}

PictureAssembler::Pictures PictureAssembler::addUnits(QByteArrayView units, std::int64_t time)
{
    return addStart(units, time);
}

PictureAssembler::Pictures PictureAssembler::addStart(QByteArrayView units, std::int64_t time)
{
    Pictures complete;
    for (qsizetype begin = 0; begin < units.size();) {
        const qsizetype end = findStartCode(units, begin + kMinStartCode);
        addUnit(units.sliced(begin, end - begin), time, complete);
        begin = end;
    }
    return complete;
}

void PictureAssembler::addUnit(QByteArrayView unit, std::int64_t time, Pictures &complete)
{
    const QByteArrayView header = unit.sliced(startCodeLength(unit));
    if (header.isEmpty())
        return;
    const bool slice = isSlice(header, m_codec);
    if (slice && !isFirstSlice(header))
        meetLaterPart(time);
    if (m_picture.slices > 0 && beginsPicture(header))
        closeAtNext(complete);
    append(unit);
    m_picture.time = time;
    m_picture.slices += slice ? 1 : 0;
    m_picture.endsInSlice = slice;
    m_picture.lastSliceInPieces = !slice && m_picture.lastSliceInPieces;
}

void PictureAssembler::addPiece(QByteArrayView piece, std::int64_t time)
{
    if (m_picture.bytes.isEmpty() || m_picture.endsInSlice)
        meetLaterPart(time);
    if (m_picture.bytes.isEmpty())
        return; // its unit's beginning is lost, or was given away
    append(piece);
    m_picture.lastSliceInPieces = m_picture.lastSliceInPieces || m_picture.endsInSlice;
}

void PictureAssembler::meetLaterPart(std::int64_t time)
{
    if (m_hasClosed && m_picture.slices == 0 && time == m_closedTime)
        m_rule = Rule::Broken;
    // Of another time, it belongs to a picture whose beginning is lost.
    if (time == m_picture.time && std::exchange(m_picture.lookedComplete, false)) {
        m_held = 0;
        m_heldInPieces = 0;
    }
}

void PictureAssembler::append(QByteArrayView bytes)
{
    if (m_picture.bytes.size() + bytes.size() > kMaxPictureBytes)
        m_picture = {};
    m_picture.bytes.append(bytes);
}

bool PictureAssembler::hasRoomLeft(qsizetype payloadBytes)
{
    m_fullBytes = std::max(m_fullBytes, payloadBytes);
    return payloadBytes + kSlackBytes < m_fullBytes;
}

void PictureAssembler::applyRule(bool hasRoom, Pictures &complete)
{
    if (!hasRoom || !m_picture.endsInSlice || m_picture.slices != m_slices)
        return;
    m_picture.lookedComplete = true;
    if (m_rule != Rule::Trusted)
        return;
    m_closedTime = m_picture.time;
    m_hasClosed = true;
    complete.append(takePicture());
}

void PictureAssembler::closeAtNext(Pictures &complete)
{
    if (m_rule == Rule::OnTrial) {
        if (m_picture.slices != m_slices) {
            m_slices = m_picture.slices;
            m_held = 0;
            m_heldInPieces = 0;
        } else if (m_picture.lookedComplete) {
            ++m_held;
            m_heldInPieces += m_picture.lastSliceInPieces ? 1 : 0;
        }
        if (m_held >= kTrialPictures && m_heldInPieces >= kTrialPicturesInPieces)
            m_rule = Rule::Trusted;
    }
    complete.append(takePicture());
}

PictureAssembler::Complete PictureAssembler::takePicture()
{
    Picture picture = std::exchange(m_picture, {});
    return {std::move(picture.bytes), picture.time};
}

bool PictureAssembler::isFirstSlice(QByteArrayView header) const
{
    if (m_codec == Codec::H264
        && (unitType(header, m_codec) == h264::PartitionB
            || unitType(header, m_codec) == h264::PartitionC))
        return false;
    // In both the first bit behind the header: a first macroblock of 0, or the flag of that name.
    const auto byte = static_cast<unsigned char>(header[m_codec == Codec::H264 ? 1 : 2]);
    return (byte & 0x80U) != 0;
}

bool PictureAssembler::beginsPicture(QByteArrayView header) const
{
    if (isSlice(header, m_codec))
        return isFirstSlice(header);
    const int type = unitType(header, m_codec);
    if (m_codec == Codec::H264)
        return type >= h264::Sei && type <= h264::Delimiter;
    return (type >= h265::ParameterSets && type <= h265::Delimiter) || type == h265::PrefixSei;
}
