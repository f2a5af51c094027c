#include "InboundFrames.h"

#include "Bytes.h"
#include "LongFrame.h"
#include "ModelTable.h"

#include <charconv>

namespace protocol {
namespace {

constexpr std::array kChannelLetters = {'T', 'F'};
constexpr char kOtherChannelLetter = 'C';
constexpr qsizetype kLongestVersion = 40; // characters; a longer text costs a second allocation

bool flag(QByteArrayView frame, const Field &field) { return readRaw(frame, field) == 1; }

int truncated(QByteArrayView frame, const Field &field)
{
    return static_cast<int>(readScaled(frame, field));
}

/// Decimal with at least two digits; the settings page shows and edits addresses in this form.
void appendPadded(QString &text, int byte)
{
    std::array<char, 4> digits{}; // a byte of either sign
    const char *const end = std::to_chars(digits.data(), digits.data() + digits.size(), byte).ptr;
    if (end == digits.data() + 1)
        text += u'0';
    text += QLatin1String(digits.data(), end);
}

QString addressText(QByteArrayView frame, qsizetype offset)
{
    constexpr qsizetype kParts = 4;
    QString text;
    text.reserve(sizeof "255.255.255.255");
    for (qsizetype i = 0; i < kParts; ++i) {
        if (i > 0)
            text += u'.';
        appendPadded(text, byteAt(frame, offset + i));
    }
    return text;
}

/// Comes with every status frame, hence as a literal, which takes no memory.
QString workModeText(QByteArrayView frame)
{
    switch (readRaw(frame, status_field::WorkMode)) {
    case 0:
        return QStringLiteral("Follow");
    case 1:
        return QStringLiteral("Lock");
    case 2:
        return QStringLiteral("Down");
    default:
        return QStringLiteral("Unknown");
    }
}

SbusMap decodeSbus(QByteArrayView frame)
{
    SbusMap map;
    for (qsizetype i = 0; i < kSbusChannels; ++i)
        map.channels[static_cast<std::size_t>(i)] = byteAt(frame, kSbusOffset + i);
    return map;
}

VersionReply decodeVersion(QByteArrayView frame)
{
    const std::size_t channel = byteAt(frame, version_offset::Channel);
    const char letter =
        channel < kChannelLetters.size() ? kChannelLetters[channel] : kOtherChannelLetter;
    const auto model = static_cast<qint8>(byteAt(frame, version_offset::Model));
    QString text;
    text.reserve(kLongestVersion);
    text += QLatin1Char(letter);
    text += u'-';
    text += modelName(model);
    text += u'-';
    for (qsizetype i = 0; i < kVersionNumbers; ++i)
        appendPadded(text, static_cast<qint8>(byteAt(frame, version_offset::Numbers + i)));
    return {text};
}

B7NReply decodeB7N(QByteArrayView frame, const FrameKind &kind)
{
    B7NReply reply{addressText(frame, b7n_offset::Address), std::nullopt};
    if (kind == kB7NReply) {
        reply.settings = B7NSettings{
            byteAt(frame, b7n_offset::BitRate) - 1, byteAt(frame, b7n_offset::Resolution) - 1,
            byteAt(frame, b7n_offset::EncodeType) - 1, addressText(frame, b7n_offset::Gateway)};
    }
    return reply;
}

using Decoder = InboundFrame (*)(QByteArrayView, const FrameKind &);

struct Dispatch
{
    FrameKind kind;
    Decoder decode;
};

InboundFrame dispatchStatus(QByteArrayView frame, const FrameKind &kind)
{
    return decodeStatus(frame, kind);
}

// clang-format off
constexpr std::array<Dispatch, 6> kDispatch = {{
    {kStatusWithZoom,  dispatchStatus},
    {kStatusPlain,     dispatchStatus},
    {kSbusReply,       [](QByteArrayView f, const FrameKind &) -> InboundFrame { return decodeSbus(f); }},
    {kVersionReply,    [](QByteArrayView f, const FrameKind &) -> InboundFrame { return decodeVersion(f); }},
    {kB7NReply,        [](QByteArrayView f, const FrameKind &k) -> InboundFrame { return decodeB7N(f, k); }},
    {kB7NAddressReply, [](QByteArrayView f, const FrameKind &k) -> InboundFrame { return decodeB7N(f, k); }},
}};
// clang-format on

} // namespace

StatusFrame decodeStatus(QByteArrayView frame, const FrameKind &kind)
{
    StatusFrame status;
    status.laserDistance = readScaled(frame, status_field::LaserDistance);
    status.roll = readScaled(frame, status_field::Roll);
    status.pitch = readScaled(frame, status_field::Pitch);
    status.yaw = readScaled(frame, status_field::Yaw);
    status.zoomStep = static_cast<int>(readRaw(frame, status_field::ZoomStep));
    status.tracking = flag(frame, status_field::Tracking);
    status.targetLatitude = readScaled(frame, status_field::TargetLatitude);
    status.targetLongitude = readScaled(frame, status_field::TargetLongitude);
    status.targetAltitude = truncated(frame, status_field::TargetAltitude);
    if (kind == kStatusWithZoom) {
        status.camera = CameraStatus{readScaled(frame, status_field::ZoomRatio),
                                     flag(frame, status_field::Recording), workModeText(frame)};
    }
    if (kind == kStatusWithPlane) {
        status.plane = PlaneStatus{readScaled(frame, status_field::PlaneLatitude),
                                   readScaled(frame, status_field::PlaneLongitude),
                                   truncated(frame, status_field::PlaneAltitude),
                                   readScaled(frame, status_field::PlaneYaw)};
    }
    return status;
}

InboundFrame decodeInbound(QByteArrayView delivery)
{
    if (delivery.size() < long_offset::Payload || byteAt(delivery, long_offset::Sync) != kLongSync)
        return UnknownFrame{};
    const FrameKind kind = {byteAt(delivery, long_offset::Type),
                            byteAt(delivery, long_offset::Length)};
    for (const Dispatch &row : kDispatch) {
        if (row.kind == kind)
            return delivery.size() < kind.length ? InboundFrame(TruncatedFrame{kind})
                                                 : row.decode(delivery, kind);
    }
    return UnknownFrame{};
}

} // namespace protocol
