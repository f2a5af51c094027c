#pragma once

#include "ChildProcess.h"

/// podsim as a process on free ports; gone with the object.
class PodSim
{
public:
    /// Fails the process with a message when the simulator does not come up.
    explicit PodSim(const QStringList &extraArguments = {});

    QString rtspUrl() const { return m_rtspUrl; }
    /// Of the control link or, in an upgrade mode, of the bootloader.
    QString ptyPath() const { return m_ptyPath; }
    quint16 controlPort() const { return m_controlPort; }
    quint16 upgradePort() const { return m_upgradePort; }
    /// Sends one fault line and returns the answer without its "ok"; an "error" fails the process.
    QString fault(const QString &line);

private:
    ChildProcess m_process;
    QString m_rtspUrl;
    QString m_ptyPath;
    quint16 m_controlPort = 0;
    quint16 m_upgradePort = 0;
    quint16 m_faultPort = 0;
};
