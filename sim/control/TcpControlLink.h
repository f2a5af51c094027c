#pragma once

#include "ControlLink.h"

#include <QHostAddress>
#include <QList>
#include <QTcpServer>
#include <QTcpSocket>

class TcpControlLink : public ControlLink
{
    Q_OBJECT

public:
    explicit TcpControlLink(QObject *parent = nullptr);
    ~TcpControlLink() override;

    /// Port 0 takes any free one. False when the port cannot be had.
    bool listen(const QHostAddress &address, quint16 port);
    quint16 port() const { return m_port; }
    QString errorString() const { return m_server.errorString(); }

    void send(const QByteArray &bytes) override;
    bool hasClient() const override { return !m_clients.isEmpty(); }

    enum class Drop : quint8 { Fin, Reset };
    void dropClients(Drop how);
    /// Refusing closes the listening socket, so that connects fail at once.
    bool setRefusing(bool refusing);
    /// Not reading leaves what the clients send in the kernel, and soon no room for more.
    void setReading(bool reading);

private:
    void takeClient();

    QTcpServer m_server;
    QHostAddress m_address;
    quint16 m_port = 0;
    QList<QTcpSocket *> m_clients;
};
