#pragma once

#include <QString>

class QSerialPort;

/// Tells a serial device that has vanished where Qt does not. On Unix its reads end as at the end
/// of a file; QSerialPort calls that a ReadError with whatever text was last there, and repeats it
/// at every turn of the event loop. From Qt 6.8 on it says nothing at all and turns all the same.
/// Elsewhere Qt reports a ResourceError, and this never speaks up.
namespace serial_hangup {

/// True when the device behind an open port is gone for good.
bool isGone(const QSerialPort &port);

/// Has the port raise the ReadError that its Qt may keep to itself, within kWatchMs and again until
/// somebody closes it. Lasts as long as the port.
void watch(QSerialPort &port);
inline constexpr int kWatchMs = 250;

/// What the system calls it.
QString text();

} // namespace serial_hangup
