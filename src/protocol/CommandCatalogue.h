#pragma once

#include <QByteArray>
#include <QByteArrayView>

#include <cstddef>
#include <span>
#include <string_view>

/// The catalogue of short-frame commands: one table row states the bytes of one command.
namespace protocol {

/// In the order of the catalogue, so that a value indexes its own row.
enum class Command : quint8 {
    StopMove,
    MoveRight,
    MoveLeft,
    MoveUp,
    MoveDown,
    MoveRightUp,
    MoveLeftUp,
    MoveRightDown,
    MoveLeftDown,
    ZoomOut,
    ZoomIn,
    ZoomStop,
    Pointmoveto,
    Pointtrack,
    Pointtrackstop,
    TargetCheckOpen,
    TargetCheckClose,
    TakePhoto,
    StartRecord,
    StopRecord,
    ModeYawFollow,
    ModeYawLock,
    OneKeyDown,
    OneKeyCenter,
    YawCenterOnly,
    PitchDownOnly,
    ModeFPV,
    ModeUpward,
    ModeDownward,
    SetHZH,
    SetWC,
    ContinuousDistanceOpen,
    ContinuousDistanceClose,
    SetRcxZoomTo,
    OsdOpen,
    OsdClose,
    TrackAutoZoomOpen,
    TrackAutoZoomClose,
    LaserLightOpen,
    LaserLightClose,
    ElectronicZoomOpen,
    ElectronicZoomClose,
    ClearFrogOpen,
    ClearFrogClose,
    ManualFocusOpen,
    ManualFocusClose,
    ManualFocusNear,
    ManualFocusFar,
    ManualFocusStop,
    QuerySbusData,
    QueryVersion,
    SetKjgZoomTo,
    SetFrequency,
    SetProtocl,
    RtspRecovery,
    QueryB7N,
    GimbalSetOn,
    GimbalSetOff,
    GimbalSetReboot,
    SetFrameSize,
    AdjustLeft,
    AdjustRight,
    AdjustUp,
    AdjustDown,
    Count, ///< no command: new ones stand before it
};

inline constexpr auto kCommandCount = static_cast<std::size_t>(Command::Count);

/// What a data byte of a command carries.
struct DataByte
{
    enum Source : quint8 {
        Constant,
        Argument0, ///< low 8 bits of the first argument
        Argument1, ///< low 8 bits of the second argument
        TrimStep,  ///< the first argument where it is 0 (fine) or 1 (coarse), else 0
    };

    Source source = Constant;
    quint8 constant = 0;
};

struct CommandSpec
{
    Command id;
    std::string_view name; ///< the name of the backend's invokable
    quint8 command1;
    quint8 command2;
    DataByte data1;
    DataByte data2;
};

/// Every row, in the order of `Command`.
std::span<const CommandSpec> commandCatalogue();

const CommandSpec &commandSpec(Command command);

/// The command that a whole short frame carries; null when there is none.
const CommandSpec *commandOf(QByteArrayView frame);

/// Builds the frame of a command. Arguments are cut to their low 8 bits, never clamped; those that
/// the command does not carry are ignored.
QByteArray buildCommand(Command command, int argument0 = 0, int argument1 = 0);

} // namespace protocol
