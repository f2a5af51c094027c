#include "TcpPeer.h"

#include <QDeadlineTimer>
#include <QHostAddress>

#include <sys/socket.h>

static constexpr int kPeerWaitMs = 20000;

TcpPeer::TcpPeer()
{
    if (!m_server.listen(QHostAddress::LocalHost))
        qFatal("TcpPeer: no port");
}

bool TcpPeer::accept()
{
    if (!m_server.hasPendingConnections() && !m_server.waitForNewConnection(kPeerWaitMs))
        return false;
    m_client = m_server.nextPendingConnection();
    m_client->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    return true;
}

void TcpPeer::send(const QByteArray &bytes)
{
    m_client->write(bytes);
    if (!m_client->flush() && m_client->bytesToWrite() > 0)
        qFatal("TcpPeer: cannot send");
}

QByteArray TcpPeer::receive(qsizetype count)
{
    const QDeadlineTimer deadline(kPeerWaitMs);
    QByteArray bytes = m_client->readAll();
    while (bytes.size() < count && m_client->waitForReadyRead(int(deadline.remainingTime())))
        bytes += m_client->readAll();
    return bytes;
}

void TcpPeer::reset()
{
    const linger atOnce = {1, 0};
    setsockopt(int(m_client->socketDescriptor()), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    m_client->abort();
}
