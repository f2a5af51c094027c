#pragma once

namespace compat {

/// Where Qt Quick would draw with an OpenGL that has no GPU behind it - a virtual machine, a remote
/// display - lets it draw with its own software renderer instead: that repaints only what changed
/// and never makes the GUI thread wait for a whole window. Leaves an explicit choice in the
/// environment alone. To be called once the QGuiApplication exists and before the first window.
void avoidEmulatedOpenGL();

} // namespace compat
