#include "KeepAlive.h"

#include <QTcpSocket>

#ifdef Q_OS_WIN
#include <winsock2.h>

#include <mstcpip.h>
#else
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#endif

namespace keep_alive {

#ifdef Q_OS_WIN

void enable(QTcpSocket &socket)
{
    // The number of probes is the system's (10).
    tcp_keepalive settings{1, kIdleSeconds * 1000, 500};
    DWORD returned = 0;
    WSAIoctl(static_cast<SOCKET>(socket.socketDescriptor()), SIO_KEEPALIVE_VALS, &settings,
             sizeof(settings), nullptr, 0, &returned, nullptr, nullptr);
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
