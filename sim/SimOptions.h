#pragma once

#include "bootloader/BootOptions.h"
#include "upgrade/UpgradeOptions.h"
#include "video/VideoFormat.h"

#include <QHostAddress>
#include <QString>
#include <QStringList>

/// What the command line asks of the simulator.
struct SimOptions
{
    QHostAddress bindAddress = QHostAddress(QHostAddress::LocalHost);
    quint16 controlPort = 2000;
    bool pty = false;
    QString ptyLink;

    bool plainStatus = false; ///< type 0x03 instead of 0x01
    int statusRateHz = 25;    ///< 0 sends none
    bool b7nAddressOnly = false;
    int modelCode = 45;

    bool video = true;
    quint16 rtspPort = 8554;
    QString rtspPath = QStringLiteral("/live0");
    bool rtspTcpOnly = false;
    VideoFormat format;
    QString senderFolder; ///< not empty: serve the streams in it instead of the pod's
    QString udpHost;      ///< empty: no UDP stream
    quint16 udpPort = 0;

    QString replayFile; ///< not empty: what the pod sees and tells comes from this recording
    QString exportFile; ///< not empty: write the track of this recording, and nothing else

    bool bootloader = false; ///< be the bootloader alone, as `boot` says
    BootOptions boot;

    quint16 faultPort = 2100;
    QStringList faults; ///< lines for the fault port, carried out at the start
    QString logFile;
    bool exitWithParent = false;

    UpgradeOptions upgrade; ///< wanted: these peers instead of the pod
};

/// Ends the process for --help, --version and (with status 2 and a message) for bad input.
SimOptions parseSimOptions(const QStringList &arguments);
