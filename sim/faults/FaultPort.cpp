#include "FaultPort.h"

#include "SimMode.h"

#include <QTcpSocket>

namespace {

constexpr qint64 kLineMax = 4096; // bytes

} // namespace

FaultPort::FaultPort(SimMode &mode, QObject *parent)
    : QObject(parent)
    , m_mode(mode)
{
    connect(&m_server, &QTcpServer::newConnection, this, &FaultPort::takeClient);
}

bool FaultPort::listen(quint16 port) { return m_server.listen(QHostAddress::LocalHost, port); }

void FaultPort::takeClient()
{
    QTcpSocket *client = m_server.nextPendingConnection();
    connect(client, &QTcpSocket::disconnected, client, &QObject::deleteLater);
    connect(client, &QTcpSocket::readyRead, this, [this, client] {
        while (client->canReadLine()) {
            const QString line = QString::fromUtf8(client->readLine(kLineMax));
            client->write(m_mode.execute(line).toUtf8() + '\n');
        }
        if (client->bytesAvailable() > kLineMax)
            client->abort();
    });
}
