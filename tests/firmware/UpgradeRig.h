#pragma once

#include "CMain.h"
#include "PodSim.h"
#include "firmware/online/OnlineUpgrade.h"

#include <QTemporaryDir>

#include <memory>
#include <optional>

/// A backend between podsim's bootloader and upgrade server, with times short enough for a test.
class UpgradeRig
{
public:
    struct Setup
    {
        QByteArray image = QByteArray(233, 'x');
        QStringList faults = {};
        int askDelayMs = 500;
        QtSerialPortThread::Settings times = {
            .settleMs = 20, .serverWaitMs = 10000, .reconnectMs = 100};
        bool serverReachable = true;
    };

    explicit UpgradeRig(const Setup &setup);

    void begin() { backend->beginUpdate(); }

    /// Ends the peers, and with them the bootloader's port.
    void unplug() { m_sim.reset(); }

    /// True once bootloader and backend have the whole image behind them.
    bool isFinished() const;
    bool imageArrived() const;
    UpgradeExchange::Stage stage() const;

    /// "P" in place of the port's name.
    QStringList messages() const;

    QString lastMessage() const { return messages().value(messages().size() - 1); }

    /// Lines of the peers' log that begin so.
    QStringList peerLines(const QString &start) const;
    /// Types of the commands that the bootloader received, in order.
    QString commandTypes() const;

    /// What a faultless run of `chunks` chunks tells, from the choice of the port on.
    static QStringList expectedMessages(int chunks);
    static QList<int> expectedProgress(int chunks);
    /// The same for the same size.
    static QByteArray randomBytes(qsizetype size);
    /// Types of the commands of a faultless run of three chunks.
    static constexpr QLatin1String kThreeChunkRun{"00 01 0f 21 22 23 23 23"};

    std::unique_ptr<CMain> backend;
    QList<int> progress;

private:
    QString path(const char *name) const { return m_folder.filePath(QString::fromLatin1(name)); }

    QTemporaryDir m_folder;
    Setup m_setup;
    std::optional<PodSim> m_sim;
    QString m_port;
    QStringList m_messages;
};
