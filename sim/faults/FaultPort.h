#pragma once

#include <QObject>
#include <QTcpServer>

class Simulator;

/// Takes fault lines over TCP and answers each with one line.
class FaultPort : public QObject
{
    Q_OBJECT

public:
    explicit FaultPort(Simulator &simulator, QObject *parent = nullptr);

    bool listen(quint16 port);
    quint16 port() const { return m_server.serverPort(); }

private:
    void takeClient();

    Simulator &m_simulator;
    QTcpServer m_server;
};
