#pragma once

#include "SimMode.h"
#include "UpgradeBootloader.h"
#include "UpgradeOptions.h"
#include "UpgradeServer.h"

#include <QFile>
#include <QStringList>

#include <optional>

/// The far ends that the options ask for, with one log. Fault lines begin with "boot" or "server".
class UpgradePeers : public SimMode
{
public:
    explicit UpgradePeers(const UpgradeOptions &options);

    bool start(QString &error) override;
    QStringList endpoints() const override;
    QString execute(const QString &faultLine) override;

private:
    bool addFault(const QString &line);
    void log(const QString &line);

    UpgradeOptions m_options;
    QFile m_log;
    std::optional<UpgradeBootloader> m_bootloader;
    std::optional<UpgradeServer> m_server;
};
