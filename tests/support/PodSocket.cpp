#include "PodSocket.h"

#include <QTcpSocket>
#include <QTest>

#include <numeric>

using namespace Qt::StringLiterals;

namespace {

constexpr int kWaitMs = 10000;
constexpr qsizetype kShortFrameLength = 7;
constexpr qsizetype kLengthOffset = 2; // of a long frame

quint8 sumOf(QByteArrayView bytes)
{
    return quint8(std::accumulate(bytes.begin(), bytes.end(), 0));
}

/// 0 while not enough is there to tell.
qsizetype frameLength(const QByteArray &bytes)
{
    if (bytes.startsWith('\xff'))
        return kShortFrameLength;
    return bytes.size() > kLengthOffset ? uchar(bytes.at(kLengthOffset)) : 0;
}

QString told(const QByteArray &frame)
{
    const bool isSound = frame.startsWith("\xff\x01")
                         && sumOf(QByteArrayView(frame).sliced(1, 5)) == quint8(frame.back());
    return QString::fromLatin1((isSound ? frame.mid(2, 4) : frame).toHex(' '));
}

} // namespace

PodSocket::PodSocket()
{
    if (!m_server.listen(QHostAddress::LocalHost))
        qFatal("PodSocket: no port");
}

const QStringList &PodSocket::frames()
{
    // Straight from the socket: what the console has written is in, without an event loop's turn.
    while (m_server.hasPendingConnections() || m_server.waitForNewConnection(0)) {
        m_client = m_server.nextPendingConnection();
        m_rest.clear();
    }
    while (m_client && (m_client->bytesAvailable() > 0 || m_client->waitForReadyRead(0)))
        m_rest += m_client->readAll();
    for (qsizetype length = frameLength(m_rest); length > 0 && m_rest.size() >= length;
         length = frameLength(m_rest)) {
        m_frames += told(m_rest.first(length));
        m_rest.remove(0, length);
    }
    return m_frames;
}

QString PodSocket::take()
{
    frames();
    return std::exchange(m_frames, {}).join(u", "_s);
}

QString PodSocket::next(qsizetype count)
{
    [[maybe_unused]] const bool reached =
        QTest::qWaitFor([&] { return frames().size() >= count; }, kWaitMs);
    return take();
}

void PodSocket::send(const QByteArray &frame)
{
    frames();
    if (!m_client)
        qFatal("PodSocket: nobody is connected");
    m_client->write(frame);
    m_client->waitForBytesWritten(kWaitMs);
}

void PodSocket::drop()
{
    frames();
    delete std::exchange(m_client, nullptr);
}

QByteArray sealed(QByteArray frame)
{
    frame[kLengthOffset] = char(frame.size() + 1);
    return frame + char(sumOf(frame));
}

QByteArray statusFrame(std::initializer_list<std::pair<int, int>> bytes)
{
    QByteArray frame(28, '\0');
    frame.replace(0, 2, "\xee\x01");
    for (const auto &[offset, value] : bytes)
        frame[offset] = char(value);
    return sealed(frame);
}
