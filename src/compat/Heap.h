#pragma once

namespace compat {

/// The GNU C library gives each new thread a heap of its own, up to eight per processor, and each
/// keeps what was freed into it: a console that has played, lost and reopened many streams holds
/// far more than it uses. Two heaps are enough for our few threads. To be called before any thread
/// is started; does nothing with other libraries.
void shareHeaps();

} // namespace compat
