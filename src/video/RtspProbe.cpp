#include "RtspProbe.h"

#include <QTcpSocket>
#include <QUrl>

namespace {

constexpr quint16 kRtspPort = 554;
constexpr int kConnectMs = 500; // it has just been connected to
constexpr int kAbortStepMs = 20;

} // namespace

bool hangsUpWhenAsked(const QString &rtspUrl, int timeoutMs, const std::atomic<bool> &abort)
{
    const QUrl url(rtspUrl);
    QTcpSocket socket;
    socket.connectToHost(url.host(), quint16(url.port(kRtspPort)));
    if (!socket.waitForConnected(kConnectMs))
        return false;
    socket.write("DESCRIBE " + url.toEncoded(QUrl::RemoveUserInfo)
                 + " RTSP/1.0\r\nCSeq: 1\r\nAccept: application/sdp\r\n\r\n");
    const auto isOpen = [&] { return socket.state() == QAbstractSocket::ConnectedState; };
    for (int waitedMs = 0; waitedMs < timeoutMs && !abort && isOpen(); waitedMs += kAbortStepMs) {
        if (socket.waitForReadyRead(kAbortStepMs))
            return false;
    }
    return !abort && !isOpen();
}
