#pragma once

#include "klv/UasDatalink.h"
#include "protocol/InboundFrames.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

/// What was recorded of a flight beside its pictures.
struct Flight
{
    struct Command
    {
        qint64 timeMs = 0; ///< since 1970, UTC
        QString name;
        QString bytes; ///< hexadecimal
    };

    struct Status
    {
        qint64 timeMs = 0;            ///< as above
        protocol::StatusFrame status; ///< zoom, tracking and the camera's part alone
    };

    QList<klv::UasDatalinkSet> sets; ///< in the order of the files
    QList<Command> commands;         ///< of the console's log, where there is one
    QList<Status> statuses;          ///< likewise
};

/// The files of the recording that `file` is one of, in their order: those of its name with other
/// numbers; a file that another program has named stands alone.
QStringList filesOfRecording(const QString &file);

/// The name of that recording, with its folder, without number and ending.
QString nameOfRecording(const QString &file);

/// Reads all of them, and the console's log beside them. Any MPEG-TS with ST 0601 as KLV will do.
/// Nothing, and a text in `error`, when a file cannot be read or holds neither.
std::optional<Flight> readFlight(const QString &file, QString &error);

/// Reads the log alone into `flight`, where there is one.
void readLogOf(const QString &file, Flight &flight);
