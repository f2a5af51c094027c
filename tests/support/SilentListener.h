#pragma once

#include <QTcpServer>
#include <QTcpSocket>

#include <array>

/// A loopback address that answers no connect: its queue of pending ones is full.
class SilentListener
{
public:
    SilentListener()
    {
        m_server.setListenBacklogSize(0);
        if (!m_server.listen(QHostAddress::LocalHost))
            qFatal("SilentListener: no port");
        m_server.pauseAccepting();
        for (QTcpSocket &filler : m_fillers)
            filler.connectToHost(m_server.serverAddress(), m_server.serverPort());
    }

    int port() const { return m_server.serverPort(); }

private:
    QTcpServer m_server;
    std::array<QTcpSocket, 4> m_fillers; // a queue of length 0 takes one or two
};
