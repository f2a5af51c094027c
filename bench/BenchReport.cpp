#include "BenchReport.h"

#include <QSysInfo>
#include <QThread>

#include <algorithm>
#include <cstdio>
#include <utility>

namespace bench {

Summary summarise(std::vector<double> values)
{
    if (values.empty())
        return {};
    std::ranges::sort(values);
    const auto share = [&](double part) {
        return values[std::size_t(part * double(values.size() - 1))];
    };
    return {values.size(), share(0.5), share(0.99), values.back()};
}

void printMethod(const char *title, const char *method)
{
    std::printf("%s\n%s, %s, %d processors, Qt %s\n%s\n\n", title,
                qPrintable(QSysInfo::prettyProductName()),
                qPrintable(QSysInfo::currentCpuArchitecture()), QThread::idealThreadCount(),
                qVersion(), method);
}

void printHeader(const char *title, const char *method)
{
    printMethod(title, method);
    std::printf("%-44s %8s %10s %10s %10s\n", "", "samples", "median us", "p99 us", "max us");
}

void printLatencies(const char *what, std::vector<double> microseconds)
{
    const Summary summary = summarise(std::move(microseconds));
    if (summary.samples == 0) {
        std::printf("%-44s %8d\n", what, 0);
        return;
    }
    std::printf("%-44s %8zu %10.1f %10.1f %10.1f\n", what, summary.samples, summary.median,
                summary.p99, summary.max);
}

} // namespace bench
