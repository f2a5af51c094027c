#pragma once

#include "SenderManner.h"
#include "UnitStream.h"

#include <QByteArrayList>

/// Cuts streams into RTP packets in a sender's manner.
class RtpPackets
{
public:
    static constexpr int kUnitsType = 96;
    static constexpr int kTransportStreamType = 33;

    explicit RtpPackets(const SenderManner &manner);

    /// The packets of each picture of a bare stream; of those that are lost nothing is left.
    QList<QByteArrayList> of(const QByteArray &stream, unit_stream::Codec codec);

private:
    void addTransportPackets(const QByteArray &packets);
    void addPicture(const unit_stream::Picture &picture);
    void addParameterSets(const QByteArrayList &sets);
    void addUnit(const QByteArray &unit);
    void addPayload(const QByteArray &payload);
    void finishPicture();
    bool isLost();
    qsizetype pieceBytes(qsizetype unitBytes) const;

    SenderManner m_manner;
    unit_stream::Codec m_codec = unit_stream::Codec::H264;
    QByteArrayList m_parameterSets; // of the newest key picture
    QByteArrayList m_payloads;      // of the picture that is being cut
    QList<quint32> m_times;         // of each of them
    QList<QByteArrayList> m_packets;
    quint16 m_sequence = 0;
    quint32 m_time = 0; // in 90000ths of a second
    quint32 m_luck = 1;
};
