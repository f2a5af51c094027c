#pragma once

#include <QByteArray>
#include <QDeadlineTimer>
#include <QTcpServer>
#include <QTcpSocket>

#include <sys/socket.h>

/// The far end of a TCP link on a free loopback port, in the test's own thread; serves one client
/// at a time, the newest.
class TcpPeer
{
public:
    TcpPeer()
    {
        if (!m_server.listen(QHostAddress::LocalHost))
            qFatal("TcpPeer: no port");
    }

    int port() const { return m_server.serverPort(); }
    /// Waits until the client that connected is taken. False when none comes.
    bool accept(int waitMs = kWaitMs)
    {
        if (!m_server.hasPendingConnections() && !m_server.waitForNewConnection(waitMs))
            return false;
        m_client = m_server.nextPendingConnection();
        m_client->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        return true;
    }
    /// One write, on the wire when it returns.
    void send(const QByteArray &bytes)
    {
        if (!m_client)
            qFatal("TcpPeer: nobody is connected");
        m_client->write(bytes);
        if (!m_client->flush() && m_client->bytesToWrite() > 0)
            qFatal("TcpPeer: cannot send");
    }
    /// Waits until `count` bytes are there and takes all that came.
    QByteArray receive(qsizetype count)
    {
        const QDeadlineTimer deadline(kWaitMs);
        QByteArray bytes = m_client->readAll();
        while (bytes.size() < count && m_client->waitForReadyRead(int(deadline.remainingTime())))
            bytes += m_client->readAll();
        return bytes;
    }
    void close() { m_client->disconnectFromHost(); }
    /// Ends the connection with a reset instead of an orderly close.
    void reset()
    {
        const linger now = {1, 0};
        setsockopt(int(m_client->socketDescriptor()), SOL_SOCKET, SO_LINGER, &now, sizeof now);
        m_client->abort();
    }
    /// Leaves everything the client sends in the kernel, so that its sends come to a halt.
    void stopReading() { m_client->setReadBufferSize(1); }

protected:
    static constexpr int kWaitMs = 20000;
    QTcpSocket *m_client = nullptr; // a child of the server

private:
    QTcpServer m_server;
};
