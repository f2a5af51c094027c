#include "TcpControlLink.h"

#include <sys/socket.h>

#include <utility>

namespace {

constexpr qint64 kUnreadMax = qint64(64) * 1024; // bytes waiting for a client that does not read
constexpr int kNarrowBytes = 2304;               // the least that the kernel keeps for a socket

} // namespace

TcpControlLink::TcpControlLink(QObject *parent)
    : ControlLink(parent)
{
    connect(&m_server, &QTcpServer::newConnection, this, &TcpControlLink::takeClient);
}

TcpControlLink::~TcpControlLink()
{
    // The server ends its clients, and they would tell a list that is gone by then.
    for (QTcpSocket *client : std::as_const(m_clients))
        client->disconnect(this);
}

bool TcpControlLink::listen(const QHostAddress &address, quint16 port)
{
    if (!m_server.listen(address, port))
        return false;
    m_address = address;
    m_port = m_server.serverPort();
    return true;
}

void TcpControlLink::takeClient()
{
    while (QTcpSocket *client = m_server.nextPendingConnection()) {
        client->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        connect(client, &QTcpSocket::readyRead, this,
                [this, client] { Q_EMIT received(client->readAll()); });
        connect(client, &QTcpSocket::disconnected, this, [this, client] {
            m_clients.removeOne(client);
            client->deleteLater();
            Q_EMIT clientChanged();
        });
        m_clients.append(client);
        Q_EMIT clientChanged();
    }
}

void TcpControlLink::send(const QByteArray &bytes)
{
    for (QTcpSocket *client : std::as_const(m_clients)) {
        if (client->bytesToWrite() > kUnreadMax)
            continue;
        client->write(bytes);
        client->flush();
    }
}

void TcpControlLink::dropClients(Drop how)
{
    const QList<QTcpSocket *> clients = m_clients;
    for (QTcpSocket *client : clients) {
        if (how == Drop::Reset) {
            const linger atOnce = {1, 0}; // makes the close a reset
            setsockopt(int(client->socketDescriptor()), SOL_SOCKET, SO_LINGER, &atOnce,
                       sizeof atOnce);
            client->abort();
        } else {
            client->disconnectFromHost();
        }
    }
}

bool TcpControlLink::setRefusing(bool refusing)
{
    if (refusing) {
        m_server.close();
        return true;
    }
    return m_server.isListening() || m_server.listen(m_address, m_port);
}

void TcpControlLink::setReading(bool reading)
{
    for (QTcpSocket *client : std::as_const(m_clients)) {
        if (!reading)
            setsockopt(int(client->socketDescriptor()), SOL_SOCKET, SO_RCVBUF, &kNarrowBytes,
                       sizeof kNarrowBytes);
        client->setReadBufferSize(reading ? 0 : 1);
    }
}
