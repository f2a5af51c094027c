#include "Interpreter.h"

#include "protocol/Bytes.h"
#include "protocol/CommandCatalogue.h"
#include "protocol/LongFrame.h"
#include "protocol/SettingFrames.h"
#include "protocol/ShortFrame.h"

#include <QtEndian>

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

using protocol::byteAt;

namespace {

using protocol::Command;
using protocol::CommandSpec;
using protocol::DataByte;

struct Context
{
    PodModel &model;
    const Interpreter::Hooks &hooks;
    int data1;
    int data2;
};

using Action = void (*)(Context &);

constexpr double kTrimFine = 0.1;   // degrees
constexpr double kTrimCoarse = 1.0; // degrees
constexpr double kDown = -90.0;

double trimStep(const Context &c) { return c.data2 == 1 ? kTrimCoarse : kTrimFine; }

struct Row
{
    Command command;
    Action action;
};

// What the pod does, a row for each command in the order of the catalogue.
// clang-format off
constexpr auto kActions = std::to_array<Row>({
    {Command::StopMove,       [](Context &c) { c.model.stopMove(); }},
    {Command::MoveRight,      [](Context &c) { c.model.move(1, 0, c.data1, 0); }},
    {Command::MoveLeft,       [](Context &c) { c.model.move(-1, 0, c.data1, 0); }},
    {Command::MoveUp,         [](Context &c) { c.model.move(0, 1, 0, c.data2); }},
    {Command::MoveDown,       [](Context &c) { c.model.move(0, -1, 0, c.data2); }},
    {Command::MoveRightUp,    [](Context &c) { c.model.move(1, 1, c.data1, c.data2); }},
    {Command::MoveLeftUp,     [](Context &c) { c.model.move(-1, 1, c.data1, c.data2); }},
    {Command::MoveRightDown,  [](Context &c) { c.model.move(1, -1, c.data1, c.data2); }},
    {Command::MoveLeftDown,   [](Context &c) { c.model.move(-1, -1, c.data1, c.data2); }},
    {Command::ZoomOut,        [](Context &c) { c.model.zoom(-1, c.data1); }},
    {Command::ZoomIn,         [](Context &c) { c.model.zoom(1, c.data1); }},
    {Command::ZoomStop,       [](Context &c) { c.model.zoom(0, 0); }},
    {Command::Pointmoveto,    [](Context &c) { c.model.pointTo(c.data1, c.data2); }},
    {Command::Pointtrack,     [](Context &c) { c.model.track(c.data1, c.data2); }},
    {Command::Pointtrackstop, [](Context &c) { c.model.stopTracking(); }},
    {Command::TargetCheckOpen,  [](Context &c) { c.model.targetDetection = true; }},
    {Command::TargetCheckClose, [](Context &c) { c.model.targetDetection = false; }},
    {Command::TakePhoto,      [](Context &c) { ++c.model.photos; }},
    {Command::StartRecord,    [](Context &c) { c.model.recording = true; }},
    {Command::StopRecord,     [](Context &c) { c.model.recording = false; }},
    {Command::ModeYawFollow,  [](Context &c) { c.model.mode = PodModel::FollowMode::Follow; }},
    {Command::ModeYawLock,    [](Context &c) { c.model.mode = PodModel::FollowMode::Lock; }},
    {Command::OneKeyDown,     [](Context &c) { c.model.mode = PodModel::FollowMode::Down;
                                               c.model.turnTo(kDown, 0); }},
    {Command::OneKeyCenter,   [](Context &c) { c.model.turnTo(0, 0); }},
    {Command::YawCenterOnly,  [](Context &c) { c.model.turnTo(c.model.pitchDegrees(), 0); }},
    {Command::PitchDownOnly,  [](Context &c) { c.model.turnTo(kDown, c.model.yawDegrees()); }},
    {Command::ModeFPV,        [](Context &c) { c.model.mode = PodModel::FollowMode::Fpv; }},
    {Command::ModeUpward,     [](Context &c) { c.model.inverted = false; }},
    {Command::ModeDownward,   [](Context &c) { c.model.inverted = true; }},
    {Command::SetHZH,         [](Context &c) { c.model.pictureMode = std::min(c.data1, 3); }},
    {Command::SetWC,          [](Context &c) { c.model.palette = std::min(c.data1, 2); }},
    {Command::ContinuousDistanceOpen,  [](Context &c) { c.model.continuousRanging = true; }},
    {Command::ContinuousDistanceClose, [](Context &c) { c.model.continuousRanging = false; }},
    {Command::SetRcxZoomTo,   [](Context &c) { c.model.zoomTo(c.data1); }},
    {Command::OsdOpen,        [](Context &c) { c.model.osd = true; }},
    {Command::OsdClose,       [](Context &c) { c.model.osd = false; }},
    {Command::TrackAutoZoomOpen,  [](Context &c) { c.model.autoZoomTracking = true; }},
    {Command::TrackAutoZoomClose, [](Context &c) { c.model.autoZoomTracking = false; }},
    {Command::LaserLightOpen,  [](Context &c) { c.model.laserLight = true; }},
    {Command::LaserLightClose, [](Context &c) { c.model.laserLight = false; }},
    {Command::ElectronicZoomOpen,  [](Context &c) { c.model.electronicZoom = true; }},
    {Command::ElectronicZoomClose, [](Context &c) { c.model.electronicZoom = false; }},
    {Command::ClearFrogOpen,   [](Context &c) { c.model.defog = true; }},
    {Command::ClearFrogClose,  [](Context &c) { c.model.defog = false; }},
    {Command::ManualFocusOpen, [](Context &c) { c.model.manualFocus = true; }},
    {Command::ManualFocusClose, [](Context &c) { c.model.manualFocus = false;
                                                 c.model.focusDirection = 0; }},
    {Command::ManualFocusNear, [](Context &c) { c.model.focusDirection = -1; }},
    {Command::ManualFocusFar,  [](Context &c) { c.model.focusDirection = 1; }},
    {Command::ManualFocusStop, [](Context &c) { c.model.focusDirection = 0; }},
    {Command::QuerySbusData,  [](Context &c) { c.hooks.answer(Interpreter::Query::Sbus); }},
    {Command::QueryVersion,   [](Context &c) { c.hooks.answer(Interpreter::Query::Version); }},
    {Command::SetKjgZoomTo,   [](Context &c) { c.model.zoomTo(c.data1); }},
    {Command::SetFrequency,   [](Context &c) { c.hooks.setStatusFrequency(c.data1); }},
    {Command::SetProtocl,     [](Context &c) { c.hooks.setStatusType(c.data1 != 0); }},
    {Command::RtspRecovery,   [](Context &c) { c.hooks.restartStream(); }},
    {Command::QueryB7N,       [](Context &c) { c.hooks.answer(Interpreter::Query::B7N); }},
    {Command::GimbalSetOn,    [](Context &c) { c.model.motor = PodModel::Motor::On; }},
    {Command::GimbalSetOff,   [](Context &c) { c.model.motor = PodModel::Motor::Off; }},
    {Command::GimbalSetReboot, [](Context &c) { c.model.reboot(); }},
    {Command::SetFrameSize,   [](Context &c) { c.model.frameSize = c.data1; }},
    {Command::AdjustLeft,     [](Context &c) { c.model.trim(-trimStep(c), 0); }},
    {Command::AdjustRight,    [](Context &c) { c.model.trim(trimStep(c), 0); }},
    {Command::AdjustUp,       [](Context &c) { c.model.trim(0, trimStep(c)); }},
    {Command::AdjustDown,     [](Context &c) { c.model.trim(0, -trimStep(c)); }},
});
// clang-format on

constexpr bool everyCommandHasItsRow()
{
    for (std::size_t i = 0; i < kActions.size(); ++i) {
        if (static_cast<std::size_t>(kActions[i].command) != i)
            return false;
    }
    return kActions.size() == protocol::kCommandCount;
}
static_assert(everyCommandHasItsRow());

double angleAt(const QByteArray &frame, qsizetype offset)
{
    return qFromLittleEndian<qint16>(frame.constData() + offset)
           / double(protocol::kAngleUnitsPerDegree);
}

bool matches(const QByteArray &frame, const protocol::LongCommandSpec &spec)
{
    return byteAt(frame, protocol::long_offset::Type) == spec.type
           && frame.size() == spec.payloadLength + protocol::kLongOverhead;
}

template<typename Array>
void copyPayload(const QByteArray &frame, Array &values)
{
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] = byteAt(frame, protocol::long_offset::Payload + qsizetype(i));
}

QDateTime clockOf(const QByteArray &frame)
{
    const auto field = [&](qsizetype i) {
        return int(byteAt(frame, protocol::long_offset::Payload + i));
    };
    return {QDate(protocol::kClockEpochYear + field(0), field(1), field(2)),
            QTime(field(3), field(4), field(5))};
}

} // namespace

Interpreter::Interpreter(PodModel &model, Hooks hooks)
    : m_model(model)
    , m_hooks(std::move(hooks))
{
}

QString Interpreter::execute(const QByteArray &frame)
{
    return byteAt(frame, 0) == protocol::kShortSync ? executeShort(frame) : executeLong(frame);
}

QString Interpreter::executeShort(const QByteArray &frame)
{
    const CommandSpec *spec = protocol::commandOf(frame);
    if (!spec || byteAt(frame, protocol::short_offset::Address) != protocol::kPodAddress)
        return {};
    Context context{m_model, m_hooks, byteAt(frame, protocol::short_offset::Data1),
                    byteAt(frame, protocol::short_offset::Data2)};
    kActions[static_cast<std::size_t>(spec->id)].action(context);
    return QStringLiteral("%1(%2, %3)")
        .arg(QString::fromLatin1(spec->name.data(), qsizetype(spec->name.size())))
        .arg(context.data1)
        .arg(context.data2);
}

QString Interpreter::executeLong(const QByteArray &frame)
{
    using protocol::long_offset::Payload;
    if (matches(frame, protocol::kSetSbus)) {
        copyPayload(frame, m_model.sbus);
        return QStringLiteral("setSbus");
    }
    if (matches(frame, protocol::kSetB7N)) {
        copyPayload(frame, m_model.b7n);
        m_hooks.setEncoder();
        return QStringLiteral("setB7N");
    }
    if (matches(frame, protocol::kSetTime)) {
        m_model.clock = clockOf(frame);
        return QStringLiteral("setTime(%1)").arg(m_model.clock.toString(Qt::ISODate));
    }
    if (matches(frame, protocol::kSetPitchYaw)) {
        const double pitch = angleAt(frame, Payload);
        const double yaw = angleAt(frame, Payload + 2);
        m_model.turnTo(pitch, yaw);
        return QStringLiteral("gimbalSetToPitchYaw(%1, %2)").arg(pitch).arg(yaw);
    }
    return {};
}
