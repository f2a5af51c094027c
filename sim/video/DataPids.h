#pragma once

#include <QHostAddress>
#include <QTimer>
#include <QUdpSocket>

/// Mixes into an MPEG transport stream over UDP packets of streams that its tables do not name,
/// each beginning like a packet of private data, on ever new PIDs.
class DataPids
{
public:
    DataPids(const QHostAddress &host, quint16 port);

    void setOn(bool on);

private:
    void send();

    QHostAddress m_host;
    quint16 m_port;
    QUdpSocket m_socket;
    QTimer m_timer;
    quint16 m_pid = kFirstPid;

    static constexpr quint16 kFirstPid = 0x200; // above what the muxer uses
    static constexpr quint16 kLastPid = 0x9FF;  // twice as many as FFmpeg takes streams
};
