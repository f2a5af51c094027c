#include "DataPids.h"

#include <QByteArray>

namespace {

constexpr int kPacketBytes = 188;
constexpr int kPacketsADatagram = 7;
constexpr int kIntervalMs = 1;

QByteArray packetOf(quint16 pid)
{
    // Sync byte; start of a unit and PID; payload only; then private stream 1 of unknown length.
    QByteArray packet;
    packet.append('\x47');
    packet.append(char(0x40 | (pid >> 8)));
    packet.append(char(pid & 0xFF));
    packet.append('\x10');
    packet.append(QByteArray::fromHex("000001BD0000800000"));
    return packet.leftJustified(kPacketBytes, char(pid));
}

} // namespace

DataPids::DataPids(const QHostAddress &host, quint16 port)
    : m_host(host)
    , m_port(port)
{
    QObject::connect(&m_timer, &QTimer::timeout, &m_socket, [this] { send(); });
}

void DataPids::setOn(bool on)
{
    if (on)
        m_timer.start(kIntervalMs);
    else
        m_timer.stop();
}

void DataPids::send()
{
    QByteArray datagram;
    for (int i = 0; i < kPacketsADatagram; ++i) {
        datagram += packetOf(m_pid);
        m_pid = m_pid < kLastPid ? quint16(m_pid + 1) : kFirstPid;
    }
    m_socket.writeDatagram(datagram, m_host, m_port);
}
