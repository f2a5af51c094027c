#pragma once

#include <QByteArrayList>

/// Packets as a file holds them, each behind its length in two bytes.
namespace packet_file {

QByteArray write(const QByteArrayList &packets);

/// The last packet may be cut short.
QByteArrayList read(const QByteArray &file);

} // namespace packet_file
