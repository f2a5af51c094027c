#include "SerialHangup.h"

#include <QSerialPort>
#include <QTimer>
#include <QtGlobal>

#include <cerrno>

#ifdef Q_OS_UNIX
#include <poll.h>
#endif

namespace serial_hangup {

bool isGone(const QSerialPort &port)
{
#ifdef Q_OS_UNIX
    if (!port.isOpen())
        return false;
    pollfd line{port.handle(), 0, 0};
    return poll(&line, 1, 0) > 0 && (line.revents & (POLLHUP | POLLERR)) != 0;
#else
    Q_UNUSED(port);
    return false;
#endif
}

void watch(QSerialPort &port)
{
#ifdef Q_OS_UNIX
    auto *timer = new QTimer(&port);
    QObject::connect(timer, &QTimer::timeout, &port, [&port] {
        if (isGone(port))
            emit port.errorOccurred(QSerialPort::ReadError);
    });
    timer->start(kWatchMs);
#else
    Q_UNUSED(port);
#endif
}

QString text() { return qt_error_string(EIO); }

} // namespace serial_hangup
