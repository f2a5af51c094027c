#include "BenchReport.h"

#include <QSysInfo>
#include <QThread>

#include <algorithm>
#include <cstdio>

namespace bench {

void printHeader(const char *title, const char *method)
{
    std::printf("%s\n%s, %s, %d processors, Qt %s\n%s\n\n", title,
                qPrintable(QSysInfo::prettyProductName()),
                qPrintable(QSysInfo::currentCpuArchitecture()), QThread::idealThreadCount(),
                qVersion(), method);
    std::printf("%-44s %8s %10s %10s %10s\n", "", "samples", "median us", "p99 us", "max us");
}

void printLatencies(const char *what, std::vector<double> microseconds)
{
    if (microseconds.empty()) {
        std::printf("%-44s %8d\n", what, 0);
        return;
    }
    std::ranges::sort(microseconds);
    const auto share = [&](double part) {
        return microseconds[std::size_t(part * double(microseconds.size() - 1))];
    };
    std::printf("%-44s %8zu %10.1f %10.1f %10.1f\n", what, microseconds.size(), share(0.5),
                share(0.99), microseconds.back());
}

} // namespace bench
