#include "PodSim.h"

#include <QTcpSocket>

namespace {

constexpr int kWaitMs = 20000;

quint16 portOf(const QString &endpoint) { return endpoint.section(u':', -1).toUShort(); }

} // namespace

PodSim::PodSim(const QStringList &extraArguments)
    : m_process(QStringLiteral(PODSIM_EXECUTABLE),
                QStringList{QStringLiteral("--exit-with-parent"), QStringLiteral("--port"),
                            QStringLiteral("0"), QStringLiteral("--rtsp-port"), QStringLiteral("0"),
                            QStringLiteral("--fault-port"), QStringLiteral("0"),
                            QStringLiteral("--log"), QStringLiteral("/dev/null")}
                    + extraArguments)
{
    while (true) {
        const auto output = m_process.readLine(kWaitMs);
        if (!output)
            qFatal("podsim did not start");
        const QString line = QString::fromUtf8(*output);
        if (line.startsWith(QLatin1String("control tcp")))
            m_controlPort = portOf(line);
        else if (line.contains(QLatin1String(" pty ")))
            m_ptyPath = line.section(u' ', -1);
        else if (line.startsWith(QLatin1String("video rtsp")))
            m_rtspUrl = line.section(u' ', -1);
        else if (line.startsWith(QLatin1String("upgrade server")))
            m_upgradePort = portOf(line);
        else if (line.startsWith(QLatin1String("faults")))
            m_faultPort = portOf(line);
        else if (line == QLatin1String("ready"))
            return;
    }
}

QString PodSim::fault(const QString &line)
{
    QTcpSocket socket;
    socket.connectToHost(QStringLiteral("127.0.0.1"), m_faultPort);
    socket.waitForConnected(kWaitMs);
    socket.write(line.toUtf8() + '\n');
    while (!socket.canReadLine()) {
        if (!socket.waitForReadyRead(kWaitMs))
            qFatal("podsim did not answer: %s", qPrintable(line));
    }
    const QString answer = QString::fromUtf8(socket.readLine()).trimmed();
    if (!answer.startsWith(QLatin1String("ok")))
        qFatal("podsim: %s: %s", qPrintable(line), qPrintable(answer));
    return answer.mid(3);
}
