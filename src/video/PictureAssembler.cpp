#include "PictureAssembler.h"

#include <algorithm>
#include <utility>

namespace {

constexpr qsizetype kMinStartCode = 3;
constexpr qsizetype kMinSliceHeader = 3; // as much of a slice as is looked at
constexpr qsizetype kMaxPictureBytes = qsizetype(16) * 1024 * 1024;

// What the RTP payload of a packet was larger by than what is left of it: a first piece has gained
// four bytes of start code and one of header for two that all pieces have lost.
constexpr qsizetype kStartGain = 3;
constexpr qsizetype kPieceLoss = 2;
// A payload this much below the fullest counts as full; units that fill one exactly are rare.
constexpr qsizetype kSlackBytes = 8;
constexpr int kTrialPicturesInPieces = 2;

namespace h264 {
enum UnitType : std::uint8_t {
    Slice = 1,
    PartitionB = 3,
    PartitionC = 4,
    KeySlice = 5,
    Sei = 6,
    Delimiter = 9,
};
}

namespace h265 {
enum UnitType : std::uint8_t { LastSlice = 31, ParameterSets = 32, Delimiter = 35, PrefixSei = 39 };
}

int startCodeLength(QByteArrayView bytes)
{
    if (bytes.startsWith(QByteArrayView("\0\0\0\1", 4)))
        return 4;
    return bytes.startsWith(QByteArrayView("\0\0\1", 3)) ? 3 : 0;
}

/// Where the next unit's start code begins, from `from` on; the size when there is none.
qsizetype findStartCode(QByteArrayView bytes, qsizetype from)
{
    const qsizetype found = bytes.indexOf(QByteArrayView("\0\0\1", kMinStartCode), from);
    if (found < 0)
        return bytes.size();
    return found > from && bytes[found - 1] == '\0' ? found - 1 : found;
}

} // namespace

PictureAssembler::PictureAssembler(Codec codec)
    : m_codec(codec)
{
}

QByteArrayList PictureAssembler::addPacket(QByteArrayView packet, std::int64_t time)
{
    QByteArrayList complete;
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

QByteArrayList PictureAssembler::addUnits(QByteArrayView units, std::int64_t time)
{
    return addStart(units, time);
}

QByteArrayList PictureAssembler::addStart(QByteArrayView units, std::int64_t time)
{
    QByteArrayList complete;
    for (qsizetype begin = 0; begin < units.size();) {
        const qsizetype end = findStartCode(units, begin + kMinStartCode);
        addUnit(units.sliced(begin, end - begin), time, complete);
        begin = end;
    }
    return complete;
}

void PictureAssembler::addUnit(QByteArrayView unit, std::int64_t time, QByteArrayList &complete)
{
    const QByteArrayView header = unit.sliced(startCodeLength(unit));
    if (header.isEmpty())
        return;
    const bool slice = isSlice(header);
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

void PictureAssembler::applyRule(bool hasRoom, QByteArrayList &complete)
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

void PictureAssembler::closeAtNext(QByteArrayList &complete)
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

QByteArray PictureAssembler::takePicture() { return std::exchange(m_picture, {}).bytes; }

int PictureAssembler::unitType(QByteArrayView header) const
{
    const auto byte = static_cast<unsigned char>(header[0]);
    return m_codec == Codec::H264 ? byte & 0x1F : (byte >> 1) & 0x3F;
}

bool PictureAssembler::isSlice(QByteArrayView header) const
{
    const int type = unitType(header);
    if (header.size() < kMinSliceHeader)
        return false;
    return m_codec == Codec::H264 ? type >= h264::Slice && type <= h264::KeySlice
                                  : type <= h265::LastSlice;
}

bool PictureAssembler::isFirstSlice(QByteArrayView header) const
{
    if (m_codec == Codec::H264
        && (unitType(header) == h264::PartitionB || unitType(header) == h264::PartitionC))
        return false;
    // In both the first bit behind the header: a first macroblock of 0, or the flag of that name.
    const auto byte = static_cast<unsigned char>(header[m_codec == Codec::H264 ? 1 : 2]);
    return (byte & 0x80U) != 0;
}

bool PictureAssembler::beginsPicture(QByteArrayView header) const
{
    if (isSlice(header))
        return isFirstSlice(header);
    const int type = unitType(header);
    if (m_codec == Codec::H264)
        return type >= h264::Sei && type <= h264::Delimiter;
    return (type >= h265::ParameterSets && type <= h265::Delimiter) || type == h265::PrefixSei;
}
