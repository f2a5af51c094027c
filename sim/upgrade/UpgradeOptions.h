#pragma once

#include <QHostAddress>
#include <QString>

/// The far ends of a server-assisted upgrade; either may be wanted alone.
struct UpgradeOptions
{
    bool bootloader = false;
    QString ptyLink;
    QString imageFile;  ///< where a received image goes; empty: nowhere
    int askDelayMs = 0; ///< pause before the bootloader asks for the UUID

    QString serverFile; ///< the image that the server hands out; empty: no server
    QHostAddress bindAddress;
    quint16 serverPort = 7003;

    QString logFile;

    bool wanted() const { return bootloader || !serverFile.isEmpty(); }
};
