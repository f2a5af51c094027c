#include "SerialLine.h"

#include <QTimer>
#include <QtGlobal>

#include <cerrno>

#ifdef Q_OS_UNIX
#include <poll.h>
#endif

namespace serial_line {
namespace {

#ifdef Q_OS_UNIX
bool isHungUp(const QSerialPort &port)
{
    if (!port.isOpen())
        return false;
    pollfd line{port.handle(), 0, 0};
    return poll(&line, 1, 0) > 0 && (line.revents & (POLLHUP | POLLERR)) != 0;
}
#else
bool isHungUp(const QSerialPort &) { return false; }
#endif

} // namespace

void apply(const Settings &settings, QSerialPort &port)
{
    port.setBaudRate(settings.baudRate, QSerialPort::AllDirections);
    port.setDataBits(settings.dataBits);
    port.setParity(settings.parity);
    port.setStopBits(settings.stopBits);
    port.setFlowControl(settings.flowControl);
}

void watch(QSerialPort &port)
{
#ifdef Q_OS_UNIX
    auto *timer = new QTimer(&port);
    QObject::connect(timer, &QTimer::timeout, &port, [&port] {
        if (isHungUp(port))
            emit port.errorOccurred(QSerialPort::ReadError);
    });
    timer->start(kWatchMs);
#else
    Q_UNUSED(port);
#endif
}

bool meansLoss(QSerialPort::SerialPortError error)
{
    return error == QSerialPort::DeviceNotFoundError || error == QSerialPort::PermissionError
           || error == QSerialPort::ResourceError;
}

std::optional<QString> loss(const QSerialPort &port, QSerialPort::SerialPortError error)
{
    if (error == QSerialPort::ReadError && isHungUp(port))
        return qt_error_string(EIO);
    if (meansLoss(error))
        return port.errorString();
    return std::nullopt;
}

} // namespace serial_line
