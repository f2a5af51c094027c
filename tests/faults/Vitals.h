#pragma once

#include "Files.h"

#include <QDir>

/// What a process holds.
struct Vitals
{
    qint64 residentKib = 0;
    int descriptors = 0;
    int threads = 0;

    /// Of a process that is gone: nothing.
    static Vitals of(pid_t pid)
    {
        using namespace Qt::StringLiterals;
        const QString proc = u"/proc/%1/"_s.arg(pid);
        const QByteArray status = contentOf(proc + u"status"_s);
        const auto valueOf = [&status](QByteArrayView name) {
            return status.sliced(status.indexOf(name) + name.size()).simplified().split(' ')[0];
        };
        if (status.isEmpty())
            return {};
        return {valueOf("VmRSS:").toLongLong(),
                int(QDir(proc + u"fd"_s).entryList(QDir::System | QDir::Files).size()),
                valueOf("Threads:").toInt()};
    }
    /// Memory in MiB, descriptors and threads, then and now.
    QString changeTo(const Vitals &now) const
    {
        const auto mib = [](qint64 kib) { return QString::number(double(kib) / 1024, 'f', 1); };
        return QStringLiteral("%1 → %2 | %3 → %4 | %5 → %6")
            .arg(mib(residentKib), mib(now.residentKib))
            .arg(descriptors)
            .arg(now.descriptors)
            .arg(threads)
            .arg(now.threads);
    }
};
