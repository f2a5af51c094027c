#include "KeepAlive.h"

#include <QTcpSocket>

#ifdef Q_OS_WIN
#include <winsock2.h>

#include <mstcpip.h>
#include <ws2tcpip.h>
#else
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#endif

namespace keep_alive {

#ifdef Q_OS_WIN

void enable(QTcpSocket &socket)
{
    const auto handle = static_cast<SOCKET>(socket.socketDescriptor());
    [[maybe_unused]] const auto set = [handle](int option, DWORD value) {
        return setsockopt(handle, IPPROTO_TCP, option, reinterpret_cast<const char *>(&value),
                          sizeof(value))
               == 0;
    };
    // As many probes as the system makes (10), so fast that they fit. Newer systems take the rest.
    tcp_keepalive settings{1, kIdleSeconds * 1000, 500};
    DWORD returned = 0;
    WSAIoctl(handle, SIO_KEEPALIVE_VALS, &settings, sizeof(settings), nullptr, 0, &returned,
             nullptr, nullptr);
#if defined(TCP_KEEPCNT) && defined(TCP_KEEPINTVL)
    if (set(TCP_KEEPCNT, kProbes))
        set(TCP_KEEPINTVL, kIntervalSeconds);
#endif
#ifdef TCP_MAXRT
    set(TCP_MAXRT, kNoticeMs / 1000); // for what was sent and never acknowledged
#endif
}

#else

void enable(QTcpSocket &socket)
{
    socket.setSocketOption(QAbstractSocket::KeepAliveOption, 1);
    [[maybe_unused]] const auto set = [&](int option, int value) {
        setsockopt(static_cast<int>(socket.socketDescriptor()), IPPROTO_TCP, option, &value,
                   sizeof(value));
    };
#ifdef TCP_KEEPIDLE
    set(TCP_KEEPIDLE, kIdleSeconds);
    set(TCP_KEEPINTVL, kIntervalSeconds);
    set(TCP_KEEPCNT, kProbes);
#endif
#ifdef TCP_USER_TIMEOUT
    set(TCP_USER_TIMEOUT, kNoticeMs); // for what was sent and never acknowledged
#endif
}

#endif

} // namespace keep_alive
