#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QMetaType>

#include <variant>

/// One message to or from the upgrade server: magic, payload length, payload; integers
/// little-endian.
struct NetPacket
{
    static constexpr quint32 kMagic = 0xFC55AA33;
    static constexpr qsizetype kHeaderLength = 8; // bytes
    static constexpr quint32 kPayloadMax =
        256U * 1024 * 1024; // bytes taken; the wire could tell more

    quint32 header = kMagic;
    quint32 length = 0; ///< bytes of the payload
    QByteArray payload;

    static NetPacket of(const QByteArray &payload);
    QByteArray toBytes() const;
};
Q_DECLARE_METATYPE(NetPacket)

/// Finds packets in a byte stream, whatever the pieces it comes in. An impossible header empties
/// the buffer: the next packet is found only where it starts a later piece. Memory stays within
/// what has arrived; a length is never trusted with an allocation.
class NetPacketAssembler
{
public:
    struct NeedsMore
    {
    };

    struct HeaderRead
    {
        quint32 length;
    };

    struct InvalidMagic
    {
        quint32 magic;
    };

    struct InvalidLength
    {
        quint32 length;
    };

    using Step = std::variant<NeedsMore, HeaderRead, InvalidMagic, InvalidLength, NetPacket>;

    void append(const QByteArray &bytes) { m_buffer.append(bytes); }

    /// The next thing found. Call until NeedsMore; append() and reset() may come in between.
    Step next();
    void reset();

private:
    Step readHeader();
    Step readPayload();

    QByteArray m_buffer;
    bool m_waitingForHeader = true;
    qsizetype m_expectedLength = 0;
};
