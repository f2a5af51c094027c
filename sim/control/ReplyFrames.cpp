#include "ReplyFrames.h"

#include "protocol/InboundFrames.h"
#include "protocol/LongFrame.h"

#include <array>
#include <cmath>

namespace {

using protocol::writeScaled;
namespace field = protocol::status_field;

// Where the simulated aircraft hangs: a round place over the sea, facing north.
constexpr double kPlaneLatitude = 22.5;
constexpr double kPlaneLongitude = 114.0;
constexpr double kPlaneHeight = 150.0; // metres
constexpr double kMetresPerDegree = 111320.0;
constexpr double kFarthest = 5000.0; // metres
constexpr double kDegree = M_PI / 180.0;

constexpr std::array<qint8, protocol::kVersionNumbers> kVersionNumbers = {1, 2, 0, 3, 7};

// A whole frame of that kind, all zero between the header and the checksum to come.
QByteArray emptyFrame(const protocol::FrameKind &kind)
{
    QByteArray frame(kind.length, '\0');
    frame[protocol::long_offset::Sync] = static_cast<char>(protocol::kLongSync);
    frame[protocol::long_offset::Type] = static_cast<char>(kind.type);
    frame[protocol::long_offset::Length] = static_cast<char>(kind.length);
    return frame;
}

QByteArray sealed(QByteArray frame)
{
    frame[frame.size() - 1] = static_cast<char>(protocol::longChecksum(frame));
    return frame;
}

template<typename Values>
void writeBytes(QByteArray &frame, qsizetype offset, const Values &values)
{
    for (const auto value : values)
        frame[offset++] = static_cast<char>(value & 0xFF);
}

int workModeCode(PodModel::FollowMode mode)
{
    return mode == PodModel::FollowMode::Fpv ? 3 : static_cast<int>(mode);
}

void writeTarget(QByteArray &frame, const PodModel &model)
{
    const double depression = std::max(-model.pitchDegrees(), 0.5) * kDegree;
    const double ground = std::min(kPlaneHeight / std::tan(depression), kFarthest);
    const double heading = model.yawDegrees() * kDegree;
    writeScaled(frame, field::TargetLatitude,
                kPlaneLatitude + ground * std::cos(heading) / kMetresPerDegree);
    writeScaled(frame, field::TargetLongitude,
                kPlaneLongitude + ground * std::sin(heading) / kMetresPerDegree);
    writeScaled(frame, field::TargetAltitude, 12.3);
    if (model.continuousRanging)
        writeScaled(frame, field::LaserDistance, std::hypot(ground, kPlaneHeight));
}

} // namespace

namespace replies {

QByteArray status(const PodModel &model, bool plain)
{
    QByteArray frame = emptyFrame(plain ? protocol::kStatusPlain : protocol::kStatusWithZoom);
    writeScaled(frame, field::Roll, model.rollDegrees());
    writeScaled(frame, field::Pitch, model.pitchDegrees());
    writeScaled(frame, field::Yaw, model.yawDegrees());
    writeScaled(frame, field::ZoomStep, std::floor(model.zoomRatio));
    writeScaled(frame, field::Tracking, model.tracking ? 1 : 0);
    writeTarget(frame, model);
    if (!plain) {
        writeScaled(frame, field::ZoomRatio, model.zoomRatio);
        writeScaled(frame, field::Recording, model.recording ? 1 : 0);
        writeScaled(frame, field::WorkMode, workModeCode(model.mode));
    }
    return sealed(frame);
}

QByteArray sbus(const PodModel &model)
{
    QByteArray frame = emptyFrame(protocol::kSbusReply);
    writeBytes(frame, protocol::kSbusOffset, model.sbus);
    return sealed(frame);
}

QByteArray version(const PodModel &model)
{
    QByteArray frame = emptyFrame(protocol::kVersionReply);
    frame[protocol::version_offset::Channel] = 0;
    frame[protocol::version_offset::Model] = static_cast<char>(model.modelCode);
    writeBytes(frame, protocol::version_offset::Numbers, kVersionNumbers);
    return sealed(frame);
}

QByteArray b7n(const PodModel &model)
{
    // The settings travel in the reply as they do in the command.
    QByteArray frame = emptyFrame(protocol::kB7NReply);
    writeBytes(frame, protocol::b7n_offset::Address, model.b7n);
    return sealed(frame);
}

QByteArray b7nAddress(const PodModel &model)
{
    QByteArray frame = emptyFrame(protocol::kB7NAddressReply);
    for (qsizetype i = 0; i < 4; ++i)
        frame[protocol::b7n_offset::Address + i] = static_cast<char>(model.b7n[std::size_t(i)]);
    return sealed(frame);
}

} // namespace replies
