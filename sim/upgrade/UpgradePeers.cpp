#include "UpgradePeers.h"

#include <cstdio>

UpgradePeers::UpgradePeers(const UpgradeOptions &options)
    : m_options(options)
{
    const auto logAs = [this](const QString &who) {
        return [this, who](const QString &line) { log(who + line); };
    };
    if (options.bootloader)
        m_bootloader.emplace(options, logAs(QStringLiteral("boot ")));
    if (!options.serverFile.isEmpty())
        m_server.emplace(options, logAs(QStringLiteral("server ")));
}

bool UpgradePeers::start(QString &error)
{
    if (!m_options.logFile.isEmpty()) {
        m_log.setFileName(m_options.logFile);
        if (!m_log.open(QIODevice::WriteOnly | QIODevice::Append)) {
            error = QStringLiteral("cannot write %1").arg(m_options.logFile);
            return false;
        }
    }
    return (!m_bootloader || m_bootloader->open(error)) && (!m_server || m_server->listen(error));
}

QStringList UpgradePeers::endpoints() const
{
    QStringList lines;
    if (m_bootloader)
        lines.append(QStringLiteral("upgrade pty ") + m_bootloader->ptyPath());
    if (m_server)
        lines.append(QStringLiteral("upgrade server %1:%2")
                         .arg(m_options.bindAddress.toString())
                         .arg(m_server->port()));
    return lines;
}

QString UpgradePeers::execute(const QString &faultLine)
{
    const QString line = faultLine.simplified();
    return addFault(line) ? QStringLiteral("ok") : QStringLiteral("error: no such fault: ") + line;
}

bool UpgradePeers::addFault(const QString &line)
{
    const QString rest = line.section(u' ', 1);
    if (line.startsWith(QLatin1String("boot ")))
        return m_bootloader && m_bootloader->addFault(rest);
    return line.startsWith(QLatin1String("server ")) && m_server && m_server->addFault(rest);
}

void UpgradePeers::log(const QString &line)
{
    const QByteArray text = line.toUtf8() + '\n';
    if (m_log.isOpen()) {
        m_log.write(text);
        m_log.flush();
    } else {
        std::fputs(text.constData(), stderr);
    }
}
