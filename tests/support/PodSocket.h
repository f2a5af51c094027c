#pragma once

#include "TcpPeer.h"

#include <QStringList>
#include <QTest>

#include <numeric>
#include <utility>

inline char sumOf(QByteArrayView bytes)
{
    return char(std::accumulate(bytes.begin(), bytes.end(), 0));
}

/// The pod's end of a TCP control link, nothing but a socket: takes the console's connection and
/// keeps every frame. A short frame with the right address and checksum is told by the four bytes
/// between them ("00 08 00 80"), any other frame in full ("ee 84 08 00 ...").
class PodSocket : public TcpPeer
{
public:
    /// The frames received so far.
    const QStringList &frames()
    {
        // Straight from the socket: what the console has written is in, without the event loop.
        while (accept(0))
            m_rest.clear();
        while (m_client && (m_client->bytesAvailable() > 0 || m_client->waitForReadyRead(0)))
            m_rest += m_client->readAll();
        for (QByteArray frame; !(frame = firstFrame(m_rest)).isEmpty();) {
            m_rest.remove(0, frame.size());
            if (frame.startsWith("\xff\x01") && sumOf(frame.mid(1, 5)) == frame.back())
                frame = frame.mid(2, 4);
            m_frames += QString::fromLatin1(frame.toHex(' '));
        }
        return m_frames;
    }
    qsizetype count(const QString &frame) { return frames().count(frame); }
    /// The frames received so far, joined by ", "; forgets them.
    QString take()
    {
        frames();
        return std::exchange(m_frames, {}).join(QStringLiteral(", "));
    }
    /// Waits until `count` frames are there, and no longer; then as take.
    QString next(qsizetype count)
    {
        Q_UNUSED(QTest::qWaitFor([&] { return frames().size() >= count; }, kWaitMs));
        return take();
    }
    void reply(const QByteArray &frame)
    {
        frames();
        send(frame);
    }
    /// Ends the console's connection; it may come again.
    void drop()
    {
        frames();
        delete std::exchange(m_client, nullptr);
    }

private:
    /// Nothing while it is not whole.
    static QByteArray firstFrame(const QByteArray &bytes)
    {
        const bool isShort = bytes.startsWith('\xff');
        const qsizetype length = isShort ? 7 : bytes.size() > 2 ? uchar(bytes[2]) : 0;
        return bytes.size() < length ? QByteArray() : bytes.first(length);
    }

    QByteArray m_rest;
    QStringList m_frames;
};

/// Compares the frames to come, as many as are expected, with those expected.
#define EXPECT_FRAMES(pod, expected)                                                               \
    QCOMPARE((pod).next(QString(expected).count(u',') + 1), QString(expected))

/// Sets the length byte and appends the checksum of a long frame.
inline QByteArray sealed(QByteArray frame)
{
    frame[2] = char(frame.size() + 1);
    return frame + sumOf(frame);
}
