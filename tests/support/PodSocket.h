#pragma once

#include <QByteArray>
#include <QStringList>
#include <QTcpServer>

#include <initializer_list>
#include <utility>

class QTcpSocket;

/// The pod's end of a TCP control link, nothing but a socket: takes the console's connection and
/// keeps every frame. A short frame with the right address and checksum is told by the four bytes
/// between them ("00 08 00 80"), any other frame in full ("ee 84 08 00 ...").
class PodSocket
{
public:
    PodSocket();

    quint16 port() const { return m_server.serverPort(); }

    /// The frames received so far.
    const QStringList &frames();
    qsizetype count(const QString &frame) { return frames().count(frame); }
    /// The frames received so far, joined by ", "; forgets them.
    QString take();
    /// Waits until `count` frames are there, and no longer; then as take.
    QString next(qsizetype count);

    void send(const QByteArray &frame);
    /// Ends the console's connection; it may come again.
    void drop();

private:
    QTcpServer m_server;
    QTcpSocket *m_client = nullptr; // a child of the server
    QByteArray m_rest;
    QStringList m_frames;
};

/// Compares the frames to come, as many as are expected, with those expected.
#define EXPECT_FRAMES(pod, expected)                                                               \
    QCOMPARE((pod).next(QString(expected).count(u',') + 1), QString(expected))

/// Sets the length byte and appends the checksum of a long frame.
QByteArray sealed(QByteArray frame);
/// The status frame with camera state: 29 bytes, zero but those given by offset.
QByteArray statusFrame(std::initializer_list<std::pair<int, int>> bytes);
