#pragma once

#include "Flight.h"

#include <unistd.h>

using namespace Qt::StringLiterals;

/// Runs a program to its end; true for status 0.
inline bool run(const QString &program, const QStringList &arguments)
{
    return ChildProcess(program, arguments, ChildProcess::End::Anyhow).succeeds(Flight::kWaitMs);
}

/// A link in a network of its own, so that it can be cut without a word to either end.
class CutLink
{
public:
    CutLink()
        : m_name(u"pod%1"_s.arg(getpid() % 100000))
        , m_net(u"10.231.%1."_s.arg(getpid() % 250))
    {
        const QString commands =
            u"ip netns add %1 && ip link add %1 type veth peer name pod0 netns %1 && "
            "ip addr add %2/30 dev %1 && ip link set %1 up && ip -n %1 addr add %3/30 dev pod0 && "
            "ip -n %1 link set pod0 up"_s;
        m_made = geteuid() == 0 && sh(commands.arg(m_name, host(), m_net + u'2'));
    }
    ~CutLink() { sh(u"ip link del %1; ip netns del %1"_s.arg(m_name)); }
    CutLink(const CutLink &) = delete;
    CutLink &operator=(const CutLink &) = delete;

    bool isMade() const { return m_made; }
    QString host() const { return m_net + u'1'; }
    QStringList launcher() const { return {u"ip"_s, u"netns"_s, u"exec"_s, m_name}; }
    /// Without the pod's address what the console sends goes nowhere, and nobody tells it.
    void cut() { sh(u"ip addr del %2/30 dev %1"_s.arg(m_name, host())); }
    void mend() { sh(u"ip addr add %2/30 dev %1"_s.arg(m_name, host())); }

private:
    static bool sh(const QString &line) { return run(u"sh"_s, {u"-c"_s, line + u" 2>&1"_s}); }

    QString m_name;
    QString m_net;
    bool m_made;
};

/// A small file system, for what a full or read-only disk does.
class SmallDisk
{
public:
    explicit SmallDisk(const char *size)
        : m_made(
            geteuid() == 0
            && run(u"mount"_s, {u"-t"_s, u"tmpfs"_s, u"-o"_s, u"size="_s + QLatin1StringView(size),
                                u"podfaults"_s, m_folder.path()}))
    {
    }
    ~SmallDisk()
    {
        if (m_made)
            run(u"umount"_s, {m_folder.path()});
    }
    SmallDisk(const SmallDisk &) = delete;
    SmallDisk &operator=(const SmallDisk &) = delete;

    bool isMade() const { return m_made; }
    QString path() const { return m_folder.path(); }

private:
    QTemporaryDir m_folder;
    bool m_made;
};
