#pragma once

#include <QHash>
#include <QString>

/// The tables of docs/protocol.md by name, made from the tables and the functions with which the
/// console itself speaks.
using Tables = QHash<QString, QString>;

/// What goes over the control link.
void addPodTables(Tables &tables);
/// What goes to the bootloader and to the upgrade server.
void addUpgradeTables(Tables &tables);
