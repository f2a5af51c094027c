#pragma once

namespace compat {

/// Has Qt Quick draw with the processor by itself where it would do so through a graphics driver
/// that only emulates one: that costs several times as much. Before the first window; leaves a
/// choice made by the environment alone.
void avoidEmulatedGraphics();

} // namespace compat
