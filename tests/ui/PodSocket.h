#pragma once

#include <QByteArray>
#include <QStringList>
#include <QTcpServer>

class QTcpSocket;

/// A command frame as PodSocket tells it, sync, address and checksum added.
QString shortFrame(int command1, int command2, int data1 = 0, int data2 = 0);

/// The pod's end of a TCP control link, nothing but a socket: takes the console's connection,
/// keeps every frame that arrives and sends what the test wants said.
class PodSocket
{
public:
    PodSocket();

    quint16 port() const { return m_server.serverPort(); }

    /// Frames received so far, as spaced hexadecimal digits ("ff 01 00 08 00 80 89").
    QStringList frames();
    /// Hands over the frames received so far and forgets them.
    QStringList takeFrames();
    /// Waits until `count` frames are there, and no longer; then as takeFrames.
    QStringList waitForFrames(qsizetype count);
    /// True after the console's connection ended.
    bool wasClosed();

    void send(const QByteArray &frame);
    /// Ends the console's connection; it may come again.
    void drop();

private:
    void read();

    QTcpServer m_server;
    QTcpSocket *m_client = nullptr; // a child of the server
    QByteArray m_rest;
    QStringList m_frames;
};
