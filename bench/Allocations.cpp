#include "Allocations.h"

#include <cstddef>

namespace {

thread_local std::int64_t allocations = 0;

} // namespace

std::int64_t bench::allocationCount() { return allocations; }

// The C library's own functions under the names that it keeps for replacements of this kind.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming)
extern "C" {
void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *memory, std::size_t size);

void *malloc(std::size_t size)
{
    ++allocations;
    return __libc_malloc(size);
}

void *calloc(std::size_t count, std::size_t size)
{
    ++allocations;
    return __libc_calloc(count, size);
}

void *realloc(void *memory, std::size_t size)
{
    ++allocations;
    return __libc_realloc(memory, size);
}
}
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)
