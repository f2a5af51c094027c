#pragma once

#include <QByteArray>
#include <QTcpServer>
#include <QTcpSocket>

/// The far end of a TCP link on a free loopback port, in the test's own thread; serves one client
/// at a time, the newest.
class TcpPeer
{
public:
    TcpPeer();

    int port() const { return m_server.serverPort(); }

    /// Waits until the client that connected is taken. False when none comes.
    bool accept();
    /// One write, on the wire when it returns.
    void send(const QByteArray &bytes);
    /// Waits until `count` bytes are there and takes all that came.
    QByteArray receive(qsizetype count);

    void close() { m_client->disconnectFromHost(); }
    /// Ends the connection with a reset instead of an orderly close.
    void reset();

    /// Leaves everything the client sends in the kernel, so that its sends come to a halt.
    void stopReading() { m_client->setReadBufferSize(1); }

private:
    QTcpServer m_server;
    QTcpSocket *m_client = nullptr; // a child of the server
};
