#include "NetPacket.h"

#include <QDataStream>
#include <QIODevice>
#include <QtEndian>

NetPacket NetPacket::of(const QByteArray &payload)
{
    return {kMagic, static_cast<quint32>(payload.size()), payload};
}

QByteArray NetPacket::toBytes() const
{
    QByteArray bytes;
    bytes.reserve(kHeaderLength + payload.size());
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setByteOrder(QDataStream::LittleEndian);
    stream << header << length;
    return bytes + payload;
}

NetPacketAssembler::Step NetPacketAssembler::next()
{
    return m_waitingForHeader ? readHeader() : readPayload();
}

NetPacketAssembler::Step NetPacketAssembler::readHeader()
{
    if (m_buffer.size() < NetPacket::kHeaderLength)
        return NeedsMore{};
    const auto magic = qFromLittleEndian<quint32>(m_buffer.constData());
    const auto length = qFromLittleEndian<quint32>(m_buffer.constData() + sizeof magic);
    if (magic != NetPacket::kMagic) {
        m_buffer.clear();
        return InvalidMagic{magic};
    }
    if (length > NetPacket::kPayloadMax) {
        m_buffer.clear();
        return InvalidLength{length};
    }
    m_buffer.remove(0, NetPacket::kHeaderLength);
    m_expectedLength = length;
    m_waitingForHeader = false;
    return HeaderRead{length};
}

NetPacketAssembler::Step NetPacketAssembler::readPayload()
{
    if (m_buffer.size() < m_expectedLength)
        return NeedsMore{};
    NetPacket packet = NetPacket::of(m_buffer.first(m_expectedLength));
    m_buffer.remove(0, m_expectedLength);
    m_expectedLength = 0;
    m_waitingForHeader = true;
    return packet;
}

void NetPacketAssembler::reset()
{
    m_buffer.clear();
    m_waitingForHeader = true;
    m_expectedLength = 0;
}
