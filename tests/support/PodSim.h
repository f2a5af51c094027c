#pragma once

#include "ChildProcess.h"

#include <QJsonDocument>
#include <QTcpSocket>
#include <QVariant>

/// podsim as a process on free ports; gone with the object.
class PodSim
{
public:
    /// Fails the process with a message when the simulator does not come up.
    explicit PodSim(const QStringList &extraArguments = {})
        : m_process(QStringLiteral(PODSIM_EXECUTABLE), kArguments.split(u' ') + extraArguments)
    {
        while (!m_told.contains(u"ready")) {
            const auto line = m_process.readLine(kWaitMs);
            if (!line)
                qFatal("podsim did not start");
            m_told.append(QString::fromUtf8(*line));
        }
    }

    QString rtspUrl() const { return address(u"video rtsp:"); }
    /// Of the control link or, in an upgrade mode, of the bootloader.
    QString ptyPath() const { return address(u" pty "); }
    quint16 controlPort() const { return port(u"control tcp "); }
    quint16 upgradePort() const { return port(u"upgrade server "); }
    /// Sends one fault line and returns the answer without its "ok"; an "error" fails the process.
    QString fault(const QString &line)
    {
        QTcpSocket socket;
        socket.connectToHost(QStringLiteral("127.0.0.1"), port(u"faults "));
        socket.waitForConnected(kWaitMs);
        socket.write(line.toUtf8() + '\n');
        while (!socket.canReadLine() && socket.waitForReadyRead(kWaitMs)) {
        }
        const QString answer = QString::fromUtf8(socket.readLine()).trimmed();
        if (!answer.startsWith(QStringLiteral("ok")))
            qFatal("podsim: %s: %s", qPrintable(line), qPrintable(answer));
        return answer.mid(3);
    }
    /// What it tells under this name of itself or, with "replay state", of its replay.
    QVariant state(const QString &name, const QString &line = QStringLiteral("state"))
    {
        return QJsonDocument::fromJson(fault(line).toUtf8())[name].toVariant();
    }

private:
    static constexpr int kWaitMs = 20000;
    static inline const QString kArguments =
        QStringLiteral("--exit-with-parent --port 0 --rtsp-port 0 --fault-port 0 --log /dev/null");

    /// The end of the line that tells of this.
    QString address(QStringView of) const { return m_told.filter(of).value(0).section(u' ', -1); }
    quint16 port(QStringView of) const { return address(of).section(u':', -1).toUShort(); }

    ChildProcess m_process;
    QStringList m_told; // once ready
};
