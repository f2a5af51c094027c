#include "PodSim.h"

#include <QTcpSocket>

using namespace Qt::StringLiterals;

namespace {

constexpr int kSimWaitMs = 20000;
const QString kArguments =
    u"--exit-with-parent --port 0 --rtsp-port 0 --fault-port 0 --log /dev/null"_s;

} // namespace

PodSim::PodSim(const QStringList &extraArguments)
    : m_process(QStringLiteral(PODSIM_EXECUTABLE), kArguments.split(u' ') + extraArguments)
{
    for (QString line; line != "ready"_L1;) {
        const auto output = m_process.readLine(kSimWaitMs);
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

QString PodSim::fault(const QString &line)
{
    QTcpSocket socket;
    socket.connectToHost(u"127.0.0.1"_s, m_faultPort);
    socket.waitForConnected(kSimWaitMs);
    socket.write(line.toUtf8() + '\n');
    while (!socket.canReadLine() && socket.waitForReadyRead(kSimWaitMs)) {
    }
    const QString answer = QString::fromUtf8(socket.readLine()).trimmed();
    if (!answer.startsWith("ok"_L1))
        qFatal("podsim: %s: %s", qPrintable(line), qPrintable(answer));
    return answer.mid(3);
}
