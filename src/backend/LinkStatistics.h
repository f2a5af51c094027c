#pragma once

#include <QObject>

/// What has gone over the control link since the backend was made. A delivery counts as one frame.
struct LinkStatistics
{
    Q_GADGET
    // clang-format off
    Q_PROPERTY(quint64 statusFrames MEMBER statusFrames)
    Q_PROPERTY(quint64 framesIn MEMBER framesIn)
    Q_PROPERTY(quint64 bytesIn MEMBER bytesIn)
    Q_PROPERTY(quint64 framesOut MEMBER framesOut)
    Q_PROPERTY(quint64 bytesOut MEMBER bytesOut)
    Q_PROPERTY(double statusAgeMs MEMBER statusAgeMs)
    // clang-format on

public:
    quint64 statusFrames = 0;
    quint64 framesIn = 0;
    quint64 bytesIn = 0;
    quint64 framesOut = 0; ///< handed to the link
    quint64 bytesOut = 0;
    double statusAgeMs = -1; ///< since the newest status frame; -1 before the first
};
