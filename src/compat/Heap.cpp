#include "Heap.h"

#include <cstdlib> // tells which C library this is

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace compat {

void shareHeaps()
{
#ifdef __GLIBC__
    constexpr int kHeaps = 2;
    mallopt(M_ARENA_MAX, kHeaps);
#endif
}

} // namespace compat
