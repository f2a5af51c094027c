#pragma once

#include "Field.h"

#include <QByteArrayView>
#include <QString>

#include <array>
#include <optional>
#include <variant>

/// The frames that the pod sends, as plain values. One delivery of a link is one frame: only its
/// start is looked at, and the checksum is not examined.
namespace protocol {

/// The header that tells a frame's kind; anything else is not ours.
struct FrameKind
{
    quint8 type;
    quint8 length; ///< whole frame, sync and checksum included

    friend bool operator==(const FrameKind &, const FrameKind &) = default;
};

inline constexpr FrameKind kStatusWithZoom = {0x01, 29};
inline constexpr FrameKind kStatusPlain = {0x03, 37};
inline constexpr FrameKind kStatusWithPlane = {0x0A, 49}; ///< not dispatched, see decodeInbound
inline constexpr FrameKind kSbusReply = {0x04, 28};
inline constexpr FrameKind kVersionReply = {0x06, 11};
inline constexpr FrameKind kB7NReply = {0x09, 15};
inline constexpr FrameKind kB7NAddressReply = {0x08, 8};

namespace status_field {
inline constexpr Field LaserDistance = {3, Encoding::U16, 0.1}; ///< metres
inline constexpr Field Roll = {5, Encoding::I16, 0.1};          ///< degrees, as all angles here
inline constexpr Field Pitch = {7, Encoding::I16, 0.1};
inline constexpr Field Yaw = {9, Encoding::I16, 0.1};
inline constexpr Field ZoomStep = {11, Encoding::U8};
inline constexpr Field Tracking = {12, Encoding::U8};
inline constexpr Field TargetLatitude = {13, Encoding::I32, 1e-7};
inline constexpr Field TargetLongitude = {17, Encoding::I32, 1e-7};
inline constexpr Field TargetAltitude = {21, Encoding::I16, 0.1}; ///< metres
// Only in kStatusWithZoom:
inline constexpr Field ZoomRatio = {23, Encoding::U16, 0.1};
inline constexpr Field Recording = {25, Encoding::U8};
inline constexpr Field WorkMode = {27, Encoding::U8};
// Only in kStatusWithPlane:
inline constexpr Field PlaneLatitude = {36, Encoding::I32, 1e-7};
inline constexpr Field PlaneLongitude = {40, Encoding::I32, 1e-7};
inline constexpr Field PlaneAltitude = {44, Encoding::I16, 0.1}; ///< metres
inline constexpr Field PlaneYaw = {46, Encoding::I16, 0.1};
} // namespace status_field

namespace b7n_offset {
inline constexpr qsizetype Address = 3; ///< four bytes, IPv4
inline constexpr qsizetype BitRate = 7; ///< this and the next two are 1-based codes
inline constexpr qsizetype Resolution = 8;
inline constexpr qsizetype EncodeType = 9;
inline constexpr qsizetype Gateway = 10; ///< four bytes, IPv4
} // namespace b7n_offset

namespace version_offset {
inline constexpr qsizetype Channel = 3;
inline constexpr qsizetype Model = 4;
inline constexpr qsizetype Numbers = 5; ///< five signed bytes
} // namespace version_offset

inline constexpr qsizetype kSbusOffset = 3;
inline constexpr qsizetype kSbusChannels = 24;
inline constexpr qsizetype kVersionNumbers = 5;

struct CameraStatus
{
    double zoomRatio = 1.0;
    bool recording = false;
    QString workMode; ///< "Follow", "Lock", "Down" or "Unknown"
};

struct PlaneStatus
{
    double latitude = 0;  ///< degrees
    double longitude = 0; ///< degrees
    int altitude = 0;     ///< metres, truncated towards zero
    double yaw = 0;       ///< degrees
};

struct StatusFrame
{
    double laserDistance = 0; ///< metres
    double roll = 0;          ///< degrees
    double pitch = 0;
    double yaw = 0;
    int zoomStep = 0;
    bool tracking = false;
    double targetLatitude = 0; ///< degrees
    double targetLongitude = 0;
    int targetAltitude = 0;             ///< metres, truncated towards zero
    std::optional<CameraStatus> camera; ///< kStatusWithZoom only
    std::optional<PlaneStatus> plane;   ///< kStatusWithPlane only
};

struct SbusMap
{
    std::array<int, kSbusChannels> channels{};
};

struct VersionReply
{
    QString text; ///< channel letter, model name and version digits, joined by '-'
};

struct B7NSettings
{
    int bitRateIndex = -1; ///< 0-based, as the two below
    int resolutionIndex = -1;
    int encodeTypeIndex = -1;
    QString gateway;
};

struct B7NReply
{
    QString address;                     ///< four decimal parts of at least two digits each
    std::optional<B7NSettings> settings; ///< absent in kB7NAddressReply
};

struct UnknownFrame
{
};

/// A frame of a known kind that ends before its announced length: nothing of it is used.
struct TruncatedFrame
{
    FrameKind kind;
};

using InboundFrame =
    std::variant<UnknownFrame, TruncatedFrame, StatusFrame, SbusMap, VersionReply, B7NReply>;

/// Decodes one delivery by its first three bytes. The status variant with the aircraft's position
/// counts as unknown, on purpose: decodeStatus alone can read it.
InboundFrame decodeInbound(QByteArrayView delivery);

/// `kind` is one of the three status kinds, and `frame` at least as long as it says.
StatusFrame decodeStatus(QByteArrayView frame, const FrameKind &kind);

} // namespace protocol
