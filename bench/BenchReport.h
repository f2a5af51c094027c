#pragma once

#include <QString>

#include <vector>

/// What every benchmark prints: the machine, how it measured, and one line for each quantity.
namespace bench {

/// Qt, system and processor count, then `method`, a sentence or two.
void printHeader(const char *title, const char *method);

/// Median, 99th percentile and maximum of `microseconds`, which may be in any order.
void printLatencies(const char *what, std::vector<double> microseconds);

} // namespace bench
