#pragma once

#include <QString>
#include <QStringList>

/// One of the things that podsim can be: the flying pod, its bootloader.
class SimMode
{
public:
    SimMode() = default;
    virtual ~SimMode() = default;
    SimMode(const SimMode &) = delete;
    SimMode &operator=(const SimMode &) = delete;

    /// Binds every endpoint. False with a text in `error`.
    virtual bool start(QString &error) = 0;
    /// One line for each endpoint, for programs to read.
    virtual QStringList endpoints() const = 0;
    /// Carries out a line of the fault port; the answer begins with "ok" or "error".
    virtual QString execute(const QString &faultLine) = 0;
};
