#pragma once

#include <QProcess>

#include <sys/prctl.h>
#include <sys/resource.h>

#include <csignal>

namespace bench {

/// To be called before the start. The program ends with this one even when that is killed, and is
/// not left behind to disturb the next measurement. And it has no more than ordinary priority: this
/// one, which sends and watches as other machines would, may be given more.
inline void setUpWatched(QProcess &process)
{
    process.setChildProcessModifier([] {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        setpriority(PRIO_PROCESS, 0, 0);
    });
}

} // namespace bench
