#pragma once

#include "ChildProcess.h"

/// Runs ffmpeg, its arguments separated by spaces; the last is the output's path.
inline bool runFfmpeg(const QString &arguments, const QString &output)
{
    const QString quiet = QStringLiteral("-nostdin -y -loglevel error ");
    ChildProcess process(QStringLiteral("ffmpeg"), (quiet + arguments).split(u' ') << output,
                         ChildProcess::End::Anyhow);
    return process.succeeds(60000);
}

/// Two seconds of H.264, 320 by 240.
inline bool makeVideo(const QString &path)
{
    return runFfmpeg(
        QStringLiteral("-f lavfi -i testsrc=size=320x240:rate=25:duration=2 -c:v libx264"), path);
}
