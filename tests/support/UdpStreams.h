#pragma once

#include <QUdpSocket>

/// FFmpeg's UDP input cancels its receiving thread in the middle of a call, at which the thread
/// sanitizer gives up; under it the UDP cases are left out.
#ifdef __SANITIZE_THREAD__
inline constexpr bool kUdpStreamsCanRun = false;
#else
inline constexpr bool kUdpStreamsCanRun = true;
#endif

/// An address that nobody sends to.
inline QString freeUdpUrl()
{
    QUdpSocket socket;
    socket.bind(QHostAddress::LocalHost, 0);
    return QStringLiteral("udp://127.0.0.1:%1").arg(socket.localPort());
}
