#pragma once

#include "video/VideoFormat.h"

#include <QProcess>
#include <QTemporaryDir>

#include <memory>
#include <vector>

namespace bench {

/// What a process has used up so far, as the kernel tells.
struct Usage
{
    double cpuMs = 0;
    double memoryMb = 0; ///< its proportional share of what it has in memory
};

Usage usageOf(qint64 pid);

/// A program that shows an RTSP stream, with the settings that its users take for low latency.
struct PlayerKind
{
    QString name;
    QString program;
    QStringList (*arguments)(const QString &url, VideoFormat::Codec codec);
    bool isConsole = false;
};

/// The console at `console`, and the players to compare it with. All of them draw by processor,
/// which costs each of them less than a driver that emulates a graphics card.
std::vector<PlayerKind> playerKinds(const QString &console);

/// One such program while it runs, in a folder of its own.
class Player
{
public:
    Player(const PlayerKind &kind, const QString &url, VideoFormat::Codec codec,
           const QString &display);
    ~Player();
    Player(const Player &) = delete;
    Player &operator=(const Player &) = delete;

    qint64 pid() const { return m_process.processId(); }

    bool isRunning() const { return m_process.state() == QProcess::Running; }

private:
    QTemporaryDir m_folder;
    QProcess m_process;
};

} // namespace bench
