#include "ReplyFrames.h"

#include "protocol/InboundFrames.h"
#include "protocol/LongFrame.h"
#include "protocol/ModelTable.h"

#include <QRegularExpression>

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>

using namespace Qt::StringLiterals;

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

constexpr int kTargetHeight = 12;                                      // metres
constexpr int kModelCodeMax = 127;                                     // the code is a signed byte
constexpr std::string_view kChannelLetters = "TFC";                    // by their codes
constexpr std::array kWorkModes = {"Follow"_L1, "Lock"_L1, "Down"_L1}; // likewise; more are unknown

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

void aimAtGround(protocol::StatusFrame &status, const PodModel &model)
{
    const double depression = std::max(-model.pitchDegrees(), 0.5) * kDegree;
    const double ground = std::min(kPlaneHeight / std::tan(depression), kFarthest);
    const double heading = model.yawDegrees() * kDegree;
    status.targetLatitude = kPlaneLatitude + ground * std::cos(heading) / kMetresPerDegree;
    status.targetLongitude = kPlaneLongitude + ground * std::sin(heading) / kMetresPerDegree;
    status.targetAltitude = kTargetHeight;
    if (model.continuousRanging)
        status.laserDistance = std::hypot(ground, kPlaneHeight);
}

QString workModeOf(const PodModel &model)
{
    const auto mode = std::size_t(model.mode);
    return mode < kWorkModes.size() ? QString(kWorkModes[mode]) : QStringLiteral("Unknown");
}

protocol::StatusFrame statusOf(const PodModel &model)
{
    protocol::StatusFrame status;
    status.roll = model.rollDegrees();
    status.pitch = model.pitchDegrees();
    status.yaw = model.yawDegrees();
    status.zoomStep = int(std::floor(model.zoomRatio));
    status.tracking = model.tracking;
    aimAtGround(status, model);
    return status;
}

} // namespace

namespace replies {

QByteArray status(const PodModel &model, bool plain)
{
    protocol::StatusFrame told = statusOf(model);
    if (!plain)
        told.camera = {model.zoomRatio, model.recording, workModeOf(model)};
    return status(told);
}

QByteArray status(const protocol::StatusFrame &status)
{
    QByteArray frame =
        emptyFrame(status.camera ? protocol::kStatusWithZoom : protocol::kStatusPlain);
    writeScaled(frame, field::LaserDistance, status.laserDistance);
    writeScaled(frame, field::Roll, status.roll);
    writeScaled(frame, field::Pitch, status.pitch);
    writeScaled(frame, field::Yaw, status.yaw);
    writeScaled(frame, field::ZoomStep, status.zoomStep);
    writeScaled(frame, field::Tracking, status.tracking ? 1 : 0);
    writeScaled(frame, field::TargetLatitude, status.targetLatitude);
    writeScaled(frame, field::TargetLongitude, status.targetLongitude);
    writeScaled(frame, field::TargetAltitude, status.targetAltitude);
    if (status.camera) {
        writeScaled(frame, field::ZoomRatio, status.camera->zoomRatio);
        writeScaled(frame, field::Recording, status.camera->recording ? 1 : 0);
        const auto mode = std::ranges::find(kWorkModes, status.camera->workMode);
        writeScaled(frame, field::WorkMode, double(mode - kWorkModes.begin()));
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

QByteArray version(const QString &text)
{
    static const QRegularExpression pattern(
        QStringLiteral("^([TFC])-(\\w+)-(\\d\\d)(\\d\\d)(\\d\\d)(\\d\\d)(\\d\\d)$"));
    const QRegularExpressionMatch parts = pattern.match(text);
    if (!parts.hasMatch())
        return {};
    int model = 0;
    while (model <= kModelCodeMax && protocol::modelName(model) != parts.capturedView(2))
        ++model;
    QByteArray frame = emptyFrame(protocol::kVersionReply);
    frame[protocol::version_offset::Channel] =
        static_cast<char>(kChannelLetters.find(parts.captured(1).at(0).toLatin1()));
    frame[protocol::version_offset::Model] = static_cast<char>(model);
    for (int i = 0; i < protocol::kVersionNumbers; ++i)
        frame[protocol::version_offset::Numbers + i] =
            static_cast<char>(parts.capturedView(3 + i).toInt());
    return model > kModelCodeMax ? QByteArray() : sealed(frame);
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
