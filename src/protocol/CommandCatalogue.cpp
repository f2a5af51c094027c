#include "CommandCatalogue.h"

#include "Bytes.h"
#include "ShortFrame.h"

#include <algorithm>
#include <array>

namespace protocol {
namespace {

constexpr DataByte constant(quint8 value) { return {DataByte::Constant, value}; }

constexpr DataByte kNone = constant(0);
constexpr DataByte kFirst = {DataByte::Argument0, 0};
constexpr DataByte kSecond = {DataByte::Argument1, 0};
constexpr DataByte kTrim = {DataByte::TrimStep, 0};

// zoomIn, zoomOut and zoomStop keep the pod's own use of the zoom bits: in is 0x40, out is 0x20,
// and the stop sends both instead of an all-zero frame.
// clang-format off
constexpr auto kCatalogue = std::to_array<CommandSpec>({
    {Command::StopMove, "stopMove", 0x00, 0x00, kNone, kNone},
    {Command::MoveRight, "moveRight", 0x00, 0x02, kFirst, kNone},
    {Command::MoveLeft, "moveLeft", 0x00, 0x04, kFirst, kNone},
    {Command::MoveUp, "moveUp", 0x00, 0x08, kNone, kFirst},
    {Command::MoveDown, "moveDown", 0x00, 0x10, kNone, kFirst},
    {Command::MoveRightUp, "moveRightUp", 0x00, 0x0A, kFirst, kSecond},
    {Command::MoveLeftUp, "moveLeftUp", 0x00, 0x0C, kFirst, kSecond},
    {Command::MoveRightDown, "moveRightDown", 0x00, 0x12, kFirst, kSecond},
    {Command::MoveLeftDown, "moveLeftDown", 0x00, 0x14, kFirst, kSecond},
    {Command::ZoomOut, "zoomOut", 0x00, 0x20, kFirst, kNone},
    {Command::ZoomIn, "zoomIn", 0x00, 0x40, kFirst, kNone},
    {Command::ZoomStop, "zoomStop", 0x00, 0x60, kNone, kNone},
    {Command::Pointmoveto, "pointmoveto", 0x10, 0x00, kFirst, kSecond},
    {Command::Pointtrack, "pointtrack", 0x11, 0x00, kFirst, kSecond},
    {Command::Pointtrackstop, "pointtrackstop", 0x11, 0x01, kNone, kNone},
    {Command::TargetCheckOpen, "targetCheckOpen", 0x11, 0x02, kNone, kNone},
    {Command::TargetCheckClose, "targetCheckClose", 0x11, 0x03, kNone, kNone},
    {Command::TakePhoto, "takePhoto", 0x12, 0x00, kNone, kNone},
    {Command::StartRecord, "startRecord", 0x12, 0x01, kNone, kNone},
    {Command::StopRecord, "stopRecord", 0x12, 0x02, kNone, kNone},
    {Command::ModeYawFollow, "modeYawFollow", 0x13, 0x00, kNone, kNone},
    {Command::ModeYawLock, "modeYawLock", 0x13, 0x01, kNone, kNone},
    {Command::OneKeyDown, "oneKeyDown", 0x13, 0x02, kNone, kNone},
    {Command::OneKeyCenter, "oneKeyCenter", 0x13, 0x03, kNone, kNone},
    {Command::YawCenterOnly, "yawCenterOnly", 0x13, 0x04, kNone, kNone},
    {Command::PitchDownOnly, "pitchDownOnly", 0x13, 0x05, kNone, kNone},
    {Command::ModeFPV, "modeFPV", 0x13, 0x06, kNone, kNone},
    {Command::ModeUpward, "modeUpward", 0x13, 0x07, kNone, kNone},
    {Command::ModeDownward, "modeDownward", 0x13, 0x08, kNone, kNone},
    {Command::SetHZH, "setHZH", 0x14, 0x00, kFirst, kNone},
    {Command::SetWC, "setWC", 0x15, 0x00, kFirst, kNone},
    {Command::ContinuousDistanceOpen, "continuousDistanceOpen", 0x16, 0x01, kNone, kNone},
    {Command::ContinuousDistanceClose, "continuousDistanceClose", 0x16, 0x02, kNone, kNone},
    {Command::SetRcxZoomTo, "setRcxZoomTo", 0x17, 0x00, kFirst, kNone},
    {Command::OsdOpen, "osdOpen", 0x19, 0x00, kNone, kNone},
    {Command::OsdClose, "osdClose", 0x19, 0x01, kNone, kNone},
    {Command::TrackAutoZoomOpen, "trackAutoZoomOpen", 0x1A, 0x00, kNone, kNone},
    {Command::TrackAutoZoomClose, "trackAutoZoomClose", 0x1A, 0x01, kNone, kNone},
    {Command::LaserLightOpen, "laserLightOpen", 0x1B, 0x00, kNone, kNone},
    {Command::LaserLightClose, "laserLightClose", 0x1B, 0x01, kNone, kNone},
    {Command::ElectronicZoomOpen, "electronicZoomOpen", 0x1C, 0x00, kNone, kNone},
    {Command::ElectronicZoomClose, "electronicZoomClose", 0x1C, 0x01, kNone, kNone},
    {Command::ClearFrogOpen, "clearFrogOpen", 0x1C, 0x05, constant(3), kNone},
    {Command::ClearFrogClose, "clearFrogClose", 0x1C, 0x06, kNone, kNone},
    {Command::ManualFocusOpen, "manualFocusOpen", 0x1D, 0x00, kNone, kNone},
    {Command::ManualFocusClose, "manualFocusClose", 0x1D, 0x01, kNone, kNone},
    {Command::ManualFocusNear, "manualFocusNear", 0x1D, 0x02, kNone, kNone},
    {Command::ManualFocusFar, "manualFocusFar", 0x1D, 0x03, kNone, kNone},
    {Command::ManualFocusStop, "manualFocusStop", 0x1D, 0x04, kNone, kNone},
    {Command::QuerySbusData, "querySbusData", 0x1E, 0x00, kNone, kNone},
    {Command::QueryVersion, "queryVersion", 0x1E, 0x02, kNone, kNone},
    {Command::SetKjgZoomTo, "setKjgZoomTo", 0x1F, 0x00, kFirst, kNone},
    {Command::SetFrequency, "setFrequency", 0x20, 0x00, kFirst, kNone},
    {Command::SetProtocl, "setProtocl", 0x20, 0x01, kFirst, kNone},
    {Command::RtspRecovery, "rtspRecovery", 0x21, 0x00, kNone, kNone},
    {Command::QueryB7N, "queryB7N", 0x21, 0x01, kNone, kNone},
    {Command::GimbalSetOn, "gimbalSetOn", 0x22, 0x00, kNone, kNone},
    {Command::GimbalSetOff, "gimbalSetOff", 0x22, 0x01, kNone, kNone},
    {Command::GimbalSetReboot, "gimbalSetReboot", 0x22, 0x02, kNone, kNone},
    {Command::SetFrameSize, "setFrameSize", 0x24, 0x00, kFirst, kNone},
    {Command::AdjustLeft, "adjust_left", 0x27, 0x00, constant(0), kTrim},
    {Command::AdjustRight, "adjust_right", 0x27, 0x00, constant(1), kTrim},
    {Command::AdjustUp, "adjust_up", 0x27, 0x00, constant(2), kTrim},
    {Command::AdjustDown, "adjust_down", 0x27, 0x00, constant(3), kTrim},
});
// clang-format on

constexpr bool rowsMatchTheirIds()
{
    for (std::size_t i = 0; i < kCatalogue.size(); ++i) {
        if (static_cast<std::size_t>(kCatalogue[i].id) != i)
            return false;
    }
    return true;
}
static_assert(kCatalogue.size() == kCommandCount && rowsMatchTheirIds());

quint8 dataValue(DataByte data, int argument0, int argument1)
{
    switch (data.source) {
    case DataByte::Constant:
        return data.constant;
    case DataByte::Argument0:
        return static_cast<quint8>(argument0 & 0xFF);
    case DataByte::Argument1:
        return static_cast<quint8>(argument1 & 0xFF);
    case DataByte::TrimStep:
        return argument0 == 1 ? 1 : 0;
    }
    Q_UNREACHABLE();
}

bool constantHolds(const DataByte &data, quint8 byte)
{
    return data.source != DataByte::Constant || data.constant == byte;
}

} // namespace

std::span<const CommandSpec> commandCatalogue() { return kCatalogue; }

const CommandSpec &commandSpec(Command command)
{
    return kCatalogue[static_cast<std::size_t>(command)];
}

const CommandSpec *commandOf(QByteArrayView frame)
{
    using namespace short_offset;
    const auto *const row = std::ranges::find_if(kCatalogue, [&](const CommandSpec &spec) {
        return spec.command1 == byteAt(frame, Command1) && spec.command2 == byteAt(frame, Command2)
               && constantHolds(spec.data1, byteAt(frame, Data1))
               && constantHolds(spec.data2, byteAt(frame, Data2));
    });
    return row == kCatalogue.end() ? nullptr : row;
}

QByteArray buildCommand(Command command, int argument0, int argument1)
{
    const CommandSpec &spec = commandSpec(command);
    return buildShortFrame(spec.command1, spec.command2,
                           dataValue(spec.data1, argument0, argument1),
                           dataValue(spec.data2, argument0, argument1));
}

} // namespace protocol
