#include "SerialHangup.h"

#include <QSerialPort>
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

QString text() { return qt_error_string(EIO); }

} // namespace serial_hangup
