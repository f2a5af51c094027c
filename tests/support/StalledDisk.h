#pragma once

#include <QString>

/// A disk that takes nothing for as long as this lives: whoever writes to a file in the folder
/// waits in the call. One at a time.
class StalledDisk
{
public:
    explicit StalledDisk(const QString &folder);
    ~StalledDisk();
    Q_DISABLE_COPY(StalledDisk)
};
