#include "PacketFile.h"

#include <QtEndian>

#include <array>

namespace packet_file {

QByteArray write(const QByteArrayList &packets)
{
    QByteArray file;
    for (const QByteArray &packet : packets) {
        std::array<char, 2> length{};
        qToBigEndian(quint16(packet.size()), length.data());
        file += QByteArray(length.data(), qsizetype(length.size())) + packet;
    }
    return file;
}

QByteArrayList read(const QByteArray &file)
{
    constexpr qsizetype kLengthBytes = 2;
    QByteArrayList packets;
    for (qsizetype at = 0; at + kLengthBytes <= file.size();) {
        const qsizetype length = qFromBigEndian<quint16>(file.constData() + at);
        packets.append(file.mid(at + kLengthBytes, length));
        at += kLengthBytes + length;
    }
    return packets;
}

} // namespace packet_file
