#pragma once

#include <QList>
#include <QString>

#include <functional>
#include <optional>

/// A serial port of this computer; the USB ids are missing for a port that is no USB device.
struct SerialPortEntry
{
    QString name;
    std::optional<quint16> vendorId;
    std::optional<quint16> productId;
};

using SerialPortLister = std::function<QList<SerialPortEntry>()>;

/// The pod's serial port among others: the USB device with these ids. COM1 is never it.
namespace pod_port {

inline constexpr quint16 kVendorId = 0x0483;
inline constexpr quint16 kProductId = 0x56CE;

QList<SerialPortEntry> systemPorts();
/// A USB id as texts name it: upper-case hexadecimal, no leading zeros.
QString idText(quint16 id);
/// The first that fits, if any.
std::optional<SerialPortEntry> find(const QList<SerialPortEntry> &ports);

} // namespace pod_port
