#pragma once

#include <QSerialPort>
#include <QString>

#include <optional>

/// What every serial port of the console has in common: how its line is set up, and how the loss of
/// its device is noticed and told. On Unix the reads of a vanished device end as at the end of a
/// file; QSerialPort calls that a ReadError with whatever text was last there, and repeats it at
/// every turn of the event loop. From Qt 6.8 on it says nothing at all and turns all the same.
/// Elsewhere Qt reports a ResourceError by itself.
namespace serial_line {

/// 8N1 without flow control, unless told otherwise.
struct Settings
{
    qint32 baudRate = QSerialPort::Baud115200; ///< both directions
    QSerialPort::DataBits dataBits = QSerialPort::Data8;
    QSerialPort::Parity parity = QSerialPort::NoParity;
    QSerialPort::StopBits stopBits = QSerialPort::OneStop;
    QSerialPort::FlowControl flowControl = QSerialPort::NoFlowControl;
};

void apply(const Settings &settings, QSerialPort &port);

/// Has the port raise the ReadError that its Qt may keep to itself, within kWatchMs and again until
/// somebody closes it. Lasts as long as the port; does nothing where Qt tells of the loss.
void watch(QSerialPort &port);
inline constexpr int kWatchMs = 250;

/// The errors after which a port's device is gone, by their number alone.
bool meansLoss(QSerialPort::SerialPortError error);

/// Whether an error that the port has just raised tells that its device is gone: then what the
/// system calls it.
std::optional<QString> loss(const QSerialPort &port, QSerialPort::SerialPortError error);

} // namespace serial_line
