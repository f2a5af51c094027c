#pragma once

#include <QString>

#include <vector>

/// What every benchmark prints: the machine, how it measured, and one line for each quantity.
namespace bench {

struct Summary
{
    std::size_t samples = 0;
    double median = 0;
    double p99 = 0;
    double max = 0;
};

/// Of values in any order and unit; all 0 when there are none.
Summary summarise(std::vector<double> values);

/// Qt, system and processor count, then `method`, a sentence or two.
void printMethod(const char *title, const char *method);

/// printMethod and the head of a table of latencies.
void printHeader(const char *title, const char *method);

/// Median, 99th percentile and maximum of `microseconds`, which may be in any order.
void printLatencies(const char *what, std::vector<double> microseconds);

} // namespace bench
