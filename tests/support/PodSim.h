#pragma once

#include "ChildProcess.h"

#include <QTcpSocket>

/// podsim as a process on free ports; gone with the object.
class PodSim
{
public:
    /// Fails the process with a message when the simulator does not come up.
    explicit PodSim(const QStringList &extraArguments = {})
        : m_process(QStringLiteral(PODSIM_EXECUTABLE), kArguments.split(u' ') + extraArguments)
    {
        using namespace Qt::StringLiterals;
        for (QString line; line != "ready"_L1;) {
            const auto output = m_process.readLine(kWaitMs);
            if (!output)
                qFatal("podsim did not start");
            line = QString::fromUtf8(*output);
            const quint16 port = line.section(u':', -1).toUShort();
            if (line.startsWith("control tcp"_L1))
                m_controlPort = port;
            else if (line.contains(" pty "_L1))
                m_ptyPath = line.section(u' ', -1);
            else if (line.startsWith("video rtsp"_L1))
                m_rtspUrl = line.section(u' ', -1);
            else if (line.startsWith("upgrade server"_L1))
                m_upgradePort = port;
            else if (line.startsWith("faults"_L1))
                m_faultPort = port;
        }
    }

    QString rtspUrl() const { return m_rtspUrl; }
    /// Of the control link or, in an upgrade mode, of the bootloader.
    QString ptyPath() const { return m_ptyPath; }
    quint16 controlPort() const { return m_controlPort; }
    quint16 upgradePort() const { return m_upgradePort; }
    /// Sends one fault line and returns the answer without its "ok"; an "error" fails the process.
    QString fault(const QString &line)
    {
        QTcpSocket socket;
        socket.connectToHost(QStringLiteral("127.0.0.1"), m_faultPort);
        socket.waitForConnected(kWaitMs);
        socket.write(line.toUtf8() + '\n');
        while (!socket.canReadLine() && socket.waitForReadyRead(kWaitMs)) {
        }
        const QString answer = QString::fromUtf8(socket.readLine()).trimmed();
        if (!answer.startsWith(QStringLiteral("ok")))
            qFatal("podsim: %s: %s", qPrintable(line), qPrintable(answer));
        return answer.mid(3);
    }

private:
    static constexpr int kWaitMs = 20000;
    static inline const QString kArguments =
        QStringLiteral("--exit-with-parent --port 0 --rtsp-port 0 --fault-port 0 --log /dev/null");

    ChildProcess m_process;
    QString m_rtspUrl;
    QString m_ptyPath;
    quint16 m_controlPort = 0;
    quint16 m_upgradePort = 0;
    quint16 m_faultPort = 0;
};
