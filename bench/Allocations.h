#pragma once

#include <cstdint>

/// Counts what a program takes from the heap: linking Allocations.cpp puts a counter in front of
/// the C library's malloc, calloc and realloc, and with them of `new`, QByteArray and FFmpeg.
namespace bench {

/// Of this thread since it began.
std::int64_t allocationCount();

} // namespace bench
