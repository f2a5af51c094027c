#pragma once

#include "PartReader.h"
#include "protocol/InboundFrames.h"

#include <QList>
#include <QString>

#include <optional>

/// What is needed to replay a recording: where its pictures are, and the pod's state along them.
/// All times are microseconds from its beginning, over all of its files.
struct Recording
{
    struct Part
    {
        QString file;
        AVCodecID codec = AV_CODEC_ID_NONE; ///< none: it has no pictures
        qint64 beginUs = 0;
    };

    struct Key
    {
        qsizetype part = 0;
        PartReader::Key place; ///< with the part's own time
        qint64 us = 0;
    };

    struct Moment
    {
        qint64 us = 0;
        protocol::StatusFrame status;
    };

    QList<Part> parts;
    QList<Key> keys; ///< by their times, as the next
    QList<Moment> moments;
    qint64 durationUs = 0;
    QString version; ///< the pod's version text; empty where it is not told
    QString lacks;   ///< what the replay must do without, in words
};

/// Reads the files that `file` belongs to, in full. Nothing, and a text in `error`, where there are
/// neither pictures nor telemetry to be replayed.
std::optional<Recording> readRecording(const QString &file, QString &error);
