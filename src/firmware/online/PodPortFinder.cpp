#include "PodPortFinder.h"

#include <QSerialPortInfo>

#include <algorithm>

namespace pod_port {

QList<SerialPortEntry> systemPorts()
{
    QList<SerialPortEntry> ports;
    for (const QSerialPortInfo &info : QSerialPortInfo::availablePorts()) {
        SerialPortEntry port{info.portName(), {}, {}};
        if (info.hasVendorIdentifier())
            port.vendorId = info.vendorIdentifier();
        if (info.hasProductIdentifier())
            port.productId = info.productIdentifier();
        ports.append(port);
    }
    return ports;
}

QString idText(quint16 id) { return QString::number(id, 16).toUpper(); }

std::optional<SerialPortEntry> find(const QList<SerialPortEntry> &ports)
{
    const auto found = std::ranges::find_if(ports, [](const SerialPortEntry &port) {
        return port.name.toUpper() != QLatin1String("COM1") && port.vendorId == kVendorId
               && port.productId == kProductId;
    });
    return found == ports.end() ? std::nullopt : std::optional(*found);
}

} // namespace pod_port
