#include "PictureAssembler.h"

#include <algorithm>
#include <utility>

using namespace annexb;

namespace {

constexpr qsizetype kMaxPictureBytes = qsizetype(16) * 1024 * 1024;
// More would take the decoder longer than the damage lasts.
constexpr qsizetype kMaxGroupPictures = 64;
constexpr qsizetype kMaxGroupBytes = qsizetype(16) * 1024 * 1024;

// What the RTP payload of a packet was larger by than what is left of it: a first piece has gained
// four bytes of start code and one of header for two that all pieces have lost.
constexpr qsizetype kStartGain = 3;
constexpr qsizetype kPieceLoss = 2;

/// A sender that never ends a picture must not fill the memory.
void append(QByteArray &bytes, QByteArrayView more)
{
    if (bytes.size() + more.size() > kMaxPictureBytes)
        bytes.clear();
    bytes.append(more);
}

bool isDelimiter(int type, Codec codec)
{
    return type == (codec == Codec::H264 ? int(h264::Delimiter) : int(h265::Delimiter));
}

/// Whether a unit that is no slice stands ahead of the slices of its picture.
bool precedesSlices(int type, Codec codec)
{
    return codec == Codec::H264 ? type >= h264::Sei && type <= h264::Delimiter
                                : (type >= h265::ParameterSets && type <= h265::Delimiter)
                                      || type == h265::PrefixSei;
}

PictureKind kindOf(const SliceStart &slice)
{
    return slice.isKey ? PictureKind::Key : PictureKind::Other;
}

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
        hasRoom = m_habits.hasRoom(packet.size() - kStartGain);
    } else {
        addPiece(packet, time, complete);
        hasRoom = m_habits.hasRoom(packet.size() + kPieceLoss);
    }
    applyRule(hasRoom, complete);
    return complete;
}

PictureAssembler::Pictures PictureAssembler::addUnits(QByteArrayView units, std::int64_t time)
{
    Pictures complete = addStart(units, time);
    m_picturesOfTimeMax = 0; // the times of what was parsed before are guesses
    return complete;
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
    const int type = unitType(header, m_codec);
    if (m_codec == Codec::H264 && (type == h264::PartitionB || type == h264::PartitionC))
        addPiece(unit, time, complete); // of what partition A has begun
    else if (isSlice(header, m_codec))
        addSlice(unit, header, time, complete);
    else
        addBetweenSlices(unit, header, complete);
}

// Parameter sets may come ahead of every slice, so they do not tell that a picture begins. Between
// its slices a decoder would refuse them; the next picture gets those.
void PictureAssembler::addBetweenSlices(QByteArrayView unit, QByteArrayView header,
                                        Pictures &complete)
{
    const int type = unitType(header, m_codec);
    if (isDelimiter(type, m_codec) && m_picture.end.slices > 0)
        closeAtNext(complete);
    m_pieceIsAhead =
        precedesSlices(type, m_codec) || !m_ahead.isEmpty() || m_picture.end.slices == 0;
    append(m_pieceIsAhead ? m_ahead : m_picture.bytes, unit);
    m_picture.endsInSlice = false;
}

void PictureAssembler::addSlice(QByteArrayView unit, QByteArrayView header, std::int64_t time,
                                Pictures &complete)
{
    const SliceStart slice = readSliceStart(header, m_codec);
    const bool begins = beginsPicture(slice, time);
    if (begins && m_picture.end.slices > 0)
        closeAtNext(complete);
    if (!slice.isFirst)
        meetLaterPart(time, m_habits.cutsSlices(kindOf(slice)));
    if (m_picture.end.slices == 0) {
        beginPicture(slice, time);
        append(m_picture.bytes, std::exchange(m_ahead, {}));
    }
    append(m_picture.bytes, unit);
    m_picture.macroblock = slice.macroblock;
    m_picture.endsInSlice = true;
    ++m_picture.end.slices;
    m_picture.end.lastSliceInPieces = false;
    m_picture.end.timesDiffer = m_picture.end.timesDiffer || time != m_picture.time;
    m_pieceIsAhead = false;
}

bool PictureAssembler::beginsPicture(const SliceStart &slice, std::int64_t time) const
{
    const bool startsOver = m_codec == Codec::H264 && slice.macroblock <= m_picture.macroblock;
    return slice.isFirst || startsOver || isOfAnotherPicture(time);
}

// All packets of a picture bear its time, or the rule would not have been trusted.
bool PictureAssembler::isOfAnotherPicture(std::int64_t time) const
{
    return m_picture.end.slices > 0 && m_habits.isTrusted(m_picture.end.kind)
           && time != m_picture.time;
}

void PictureAssembler::beginPicture(const SliceStart &slice, std::int64_t time)
{
    if (m_hasClosed)
        m_habits.settle(m_isDoubtful);
    m_hasClosed = false;
    m_isDoubtful = false;
    m_picture.time = time;
    m_picture.lacksBeginning = !slice.isFirst;
    m_picture.mayRestart = slice.mayRestart && slice.isFirst;
    m_picture.end.kind = kindOf(slice);
    if (!slice.isFirst)
        return;
    m_picturesOfTime = time == m_begunTime ? m_picturesOfTime + 1 : 1;
    m_picturesOfTimeMax = std::max(m_picturesOfTimeMax, m_picturesOfTime);
    m_begunTime = time;
}

void PictureAssembler::addPiece(QByteArrayView piece, std::int64_t time, Pictures &complete)
{
    if (m_pieceIsAhead) {
        append(m_ahead, piece);
        return;
    }
    if (isOfAnotherPicture(time))
        closeAtNext(complete);
    meetLaterPart(time, true);
    if (m_picture.end.slices == 0)
        return; // its unit's beginning is lost
    append(m_picture.bytes, piece);
    m_picture.end.lastSliceInPieces = m_picture.end.lastSliceInPieces || m_picture.endsInSlice;
    m_picture.end.timesDiffer = m_picture.end.timesDiffer || time != m_picture.time;
}

// `isKnown` where pictures are known to have such parts; then all of a picture bear one time.
void PictureAssembler::meetLaterPart(std::int64_t time, bool isKnown)
{
    if (std::exchange(m_picture.end.lookedComplete, false))
        m_picture.end.brokeRule = true;
    if (!m_hasClosed || m_picture.end.slices > 0)
        return;
    // Of fields, the beginning of the second one may be lost.
    if (!isKnown || (time == m_closed.time && m_picturesOfTime == m_picturesOfTimeMax))
        takeBack();
    else
        m_isDoubtful = true;
}

void PictureAssembler::takeBack()
{
    m_habits.breach();
    m_picture = std::exchange(m_closed, {});
    m_hasClosed = false;
    m_repeats = !m_group.isEmpty();
    if (m_repeats)
        m_group.removeLast();
    else
        m_picture = {}; // the decoder gets what it has not seen yet
}

void PictureAssembler::applyRule(bool hasRoom, Pictures &complete)
{
    const SenderHabits::Ended &end = m_picture.end;
    if (!hasRoom || !m_picture.endsInSlice || m_picture.lacksBeginning
        || !m_habits.looksComplete(end.kind, end.slices))
        return;
    m_picture.end.lookedComplete = true;
    if (!m_habits.isTrusted(end.kind))
        return;
    give(m_picture, complete);
    m_closed = std::exchange(m_picture, {});
    m_hasClosed = true;
}

void PictureAssembler::closeAtNext(Pictures &complete)
{
    if (!m_picture.lacksBeginning)
        m_habits.learn(m_picture.end);
    give(m_picture, complete);
    m_picture = {};
}

void PictureAssembler::give(const Picture &picture, Pictures &complete)
{
    if (std::exchange(m_repeats, false)) {
        Pictures again = std::exchange(m_group, {});
        for (Complete &one : again)
            one.isRepeated = true;
        again.append({picture.bytes, picture.time});
        again.first().restarts = true;
        complete += again;
        return;
    }
    keepForRepetition(picture);
    complete.append({picture.bytes, picture.time});
}

void PictureAssembler::keepForRepetition(const Picture &picture)
{
    if (picture.mayRestart && m_picturesOfTime == 1) {
        m_group.clear();
        m_groupBytes = 0;
    } else if (m_group.isEmpty()) {
        return;
    }
    m_groupBytes += picture.bytes.size();
    m_group.append({picture.bytes, picture.time});
    if (m_group.size() > kMaxGroupPictures || m_groupBytes > kMaxGroupBytes || m_habits.isBroken())
        m_group.clear();
}
