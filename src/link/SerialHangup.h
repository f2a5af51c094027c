#pragma once

#include <QString>

class QSerialPort;

/// Tells a serial device that has vanished where Qt does not. On Unix its reads end as at the end
/// of a file; QSerialPort calls that a ReadError with whatever text was last there, and repeats it
/// at every turn of the event loop. Elsewhere Qt reports a ResourceError, and this never speaks up.
namespace serial_hangup {

/// True when the device behind an open port is gone for good.
bool isGone(const QSerialPort &port);

/// What the system calls it.
QString text();

} // namespace serial_hangup
