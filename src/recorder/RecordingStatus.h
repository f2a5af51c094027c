#pragma once

#include <QObject>
#include <QString>

/// How a recording stands, as a snapshot.
namespace recording {
Q_NAMESPACE

enum class State : quint8 {
    Off,     ///< none was wished for, or it was stopped, or ended by a trouble
    Waiting, ///< there is nothing to be written: no stream, or no key picture yet
    Writing, ///< bytes went to the file within kFreshMs
    Stalled, ///< there is something to be written, and the disk does not take it
};
Q_ENUM_NS(State)

/// Why a recording has ended by itself.
enum class Trouble : quint8 {
    None,
    NoFolder,     ///< it is not there and cannot be made
    CannotCreate, ///< no file can be made in it
    FileGone,     ///< the file, or its folder, was removed
    WriteFailed,
    DiskFull,     ///< down to the reserve
    QuotaReached, ///< by all recordings in the folder
};
Q_ENUM_NS(Trouble)

/// How old the newest written byte may be while a recording counts as being written.
inline constexpr int kFreshMs = 750;

struct Options
{
    QString folder;
    qint64 quotaBytes = qint64(20) * 1000 * 1000 * 1000;
    qint64 reserveBytes = qint64(500) * 1000 * 1000; ///< kept free on the disk
};

struct Status
{
    State state = State::Off;
    Trouble trouble = Trouble::None;
    QString detail; ///< the system's words on the trouble
    QString file;   ///< the newest one's path
    int files = 0;
    qint64 bytes = 0;     ///< of all files
    qint64 bytesLeft = 0; ///< until quota or reserve is reached; 0 before the first look
    qint64 elapsedMs = 0; ///< since start()
    quint64 dropped = 0;  ///< pictures that the disk was too slow for
};

} // namespace recording
