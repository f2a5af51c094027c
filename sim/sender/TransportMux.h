#pragma once

#include "UnitStream.h"

#include <QByteArray>
#include <QHash>

/// Writes bare units as an MPEG transport stream of one programme, some bytes a PES packet: such
/// packets begin anywhere in a unit.
class TransportMux
{
public:
    static constexpr int kPacketBytes = 188;

    TransportMux(unit_stream::Codec codec, int pesBytes);

    /// The packets of one picture, with the tables ahead of it. `time` in 90000ths of a second.
    QByteArray picture(const unit_stream::Picture &units, quint32 time);

private:
    QByteArray tables();
    void addPes(QByteArray &stream, const QByteArray &content);
    QByteArray packet(int pid, bool begins, const QByteArray &payload);

    quint8 m_streamType;
    int m_pesBytes;
    QHash<int, int> m_counters; // by PID
};
