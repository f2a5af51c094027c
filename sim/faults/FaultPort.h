#pragma once

#include <QObject>
#include <QTcpServer>

class SimMode;

/// Takes fault lines over TCP and answers each with one line.
class FaultPort : public QObject
{
    Q_OBJECT

public:
    explicit FaultPort(SimMode &mode, QObject *parent = nullptr);

    bool listen(quint16 port);
    quint16 port() const { return m_server.serverPort(); }

private:
    void takeClient();

    SimMode &m_mode;
    QTcpServer m_server;
};
