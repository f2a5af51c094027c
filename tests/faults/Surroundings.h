#pragma once

#include "Flight.h"

#include <unistd.h>

#include <memory>

/// Flights in surroundings that can be spoiled; they need root.
namespace surroundings {

/// What a line of shell does and, with the object, another undoes.
class Change
{
public:
    Change(const QString &make, const QString &undo)
        : m_undo(undo)
        , m_isMade(geteuid() == 0 && sh(make))
    {
    }
    ~Change()
    {
        if (geteuid() == 0)
            sh(m_undo);
    }
    Q_DISABLE_COPY(Change)

    bool isMade() const { return m_isMade; }

    static bool sh(const QString &line)
    {
        return ChildProcess(u"sh"_s, {u"-c"_s, line + u" 2>&1"_s}, ChildProcess::End::Anyhow)
            .succeeds(Flight::kWaitMs);
    }

private:
    QString m_undo;
    bool m_isMade;
};

/// A console in a network of its own, so that its link to the pod can be cut without a word to
/// either end: without the pod's address what it sends goes nowhere, and nobody tells it.
inline Flight::Setup cutLink()
{
    const QString name = u"pod%1"_s.arg(getpid() % 100000);
    const QString host = u"10.231.%1.1"_s.arg(getpid() % 250);
    const QString console = u"10.231.%1.2"_s.arg(getpid() % 250);
    const auto net = std::make_shared<Change>(
        u"ip netns add %1 && ip link add %1 type veth peer name pod0 netns %1 && "
        "ip addr add %2/30 dev %1 && ip link set %1 up && ip -n %1 addr add %3/30 dev pod0 && "
        "ip -n %1 link set pod0 up"_s.arg(name, host, console),
        u"ip link del %1; ip netns del %1"_s.arg(name));
    const auto address = [&](const QString &verb) {
        return
            [net, line = u"ip addr %1 %2/30 dev %3"_s.arg(verb, host, name)] { Change::sh(line); };
    };
    return {.podArguments = {u"--bind"_s, u"0.0.0.0"_s},
            .host = host,
            .launcher = u"ip netns exec "_s + name,
            .spoil = address(u"del"_s),
            .mend = address(u"add"_s),
            .missing = net->isMade() ? QString() : u"needs root and network namespaces"_s};
}

struct SmallDisk
{
    QTemporaryDir folder;
    Change mount{u"mount -t tmpfs -o size=64k podfaults "_s + folder.path(),
                 u"umount "_s + folder.path()};
};

/// Settings in a small file system, to which the line of shell does something bad.
inline Flight::Setup smallDisk(const QString &spoil)
{
    const auto disk = std::make_shared<SmallDisk>();
    const QString path = disk->folder.path();
    return {.folder = path,
            .spoil = [disk, line = spoil.arg(path)] { Change::sh(line); },
            .missing = disk->mount.isMade() ? QString() : u"needs root and mount"_s};
}

} // namespace surroundings
