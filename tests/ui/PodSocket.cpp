#include "PodSocket.h"

#include <QTcpSocket>
#include <QTest>

namespace {

constexpr int kWaitMs = 10000;
constexpr char kShortFrameStart = char(0xff);
constexpr qsizetype kShortFrameLength = 7;
constexpr qsizetype kLengthOffset = 2; // of a long frame

/// 0 while not enough is there to tell.
qsizetype frameLength(const QByteArray &bytes)
{
    if (bytes.isEmpty())
        return 0;
    if (bytes.front() == kShortFrameStart)
        return kShortFrameLength;
    return bytes.size() > kLengthOffset ? uchar(bytes.at(kLengthOffset)) : 0;
}

} // namespace

QString shortFrame(int command1, int command2, int data1, int data2)
{
    QByteArray frame;
    for (const int byte :
         {0xff, 0x01, command1, command2, data1, data2, 0x01 + command1 + command2 + data1 + data2})
        frame += char(byte);
    return QString::fromLatin1(frame.toHex(' '));
}

PodSocket::PodSocket()
{
    if (!m_server.listen(QHostAddress::LocalHost))
        qFatal("PodSocket: no port");
}

void PodSocket::read()
{
    // Straight from the socket: what the console has written is in, without an event loop's turn.
    while (m_server.hasPendingConnections() || m_server.waitForNewConnection(0)) {
        m_client = m_server.nextPendingConnection();
        m_rest.clear();
    }
    if (!m_client)
        return;
    while (m_client->bytesAvailable() > 0 || m_client->waitForReadyRead(0))
        m_rest += m_client->readAll();
    for (qsizetype length = frameLength(m_rest); length > 0 && m_rest.size() >= length;
         length = frameLength(m_rest)) {
        m_frames += QString::fromLatin1(m_rest.first(length).toHex(' '));
        m_rest.remove(0, length);
    }
}

QStringList PodSocket::frames()
{
    read();
    return m_frames;
}

QStringList PodSocket::takeFrames()
{
    read();
    return std::exchange(m_frames, {});
}

QStringList PodSocket::waitForFrames(qsizetype count)
{
    [[maybe_unused]] const bool reached =
        QTest::qWaitFor([&] { return frames().size() >= count; }, kWaitMs);
    return takeFrames();
}

bool PodSocket::wasClosed()
{
    read();
    return m_client && m_client->state() == QAbstractSocket::UnconnectedState;
}

void PodSocket::send(const QByteArray &frame)
{
    read();
    if (!m_client)
        qFatal("PodSocket: nobody is connected");
    m_client->write(frame);
    m_client->waitForBytesWritten(kWaitMs);
}

void PodSocket::drop()
{
    read();
    delete std::exchange(m_client, nullptr);
}
