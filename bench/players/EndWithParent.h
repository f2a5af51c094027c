#pragma once

#include <QProcess>

#include <sys/prctl.h>

#include <csignal>

namespace bench {

/// To be called before the start: the program ends with this one even when that is killed, and is
/// not left behind to disturb the next measurement.
inline void endWithParent(QProcess &process)
{
    process.setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGKILL); });
}

} // namespace bench
