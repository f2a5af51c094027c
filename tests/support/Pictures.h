#pragma once

#include "Ffmpeg.h"
#include "Files.h"

#include <QTemporaryDir>

/// What an independent decoder makes of files, one after the other.
struct Pictures
{
    QList<qint64> times; ///< in 1/90000 s
    QByteArrayList hashes;

    explicit Pictures(const QString &path) { add(path); }
    explicit Pictures(const QStringList &paths)
    {
        for (const QString &path : paths)
            add(path);
    }

private:
    void add(const QString &path)
    {
        const QTemporaryDir folder;
        const QString list = folder.filePath(QStringLiteral("hashes"));
        runFfmpeg(QStringLiteral("-copyts -i %1 -map 0:v -vsync passthrough -enc_time_base 1/90000 "
                                 "-f framemd5")
                      .arg(path),
                  list);
        for (const QByteArray &line : contentOf(list).split('\n')) {
            const QByteArrayList words = line.split(',');
            if (line.startsWith('#') || words.size() != 6)
                continue;
            times.append(words[2].toLongLong());
            hashes.append(words[5]);
        }
    }
};
