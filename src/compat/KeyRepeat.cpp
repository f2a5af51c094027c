#include "KeyRepeat.h"

#include <QGuiApplication>
#include <QLibrary>

namespace compat {

void makeKeyRepeatTellable()
{
#if QT_CONFIG(xcb)
    auto *const x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    if (!x11 || !x11->display())
        return;
    // Qt has the library loaded; looking the one function up spares us its headers.
    using SetDetectableAutoRepeat = int (*)(void *display, int on, int *supported);
    QLibrary xlib(QStringLiteral("X11"), 6);
    const auto set =
        reinterpret_cast<SetDetectableAutoRepeat>(xlib.resolve("XkbSetDetectableAutoRepeat"));
    if (set)
        set(x11->display(), 1, nullptr);
#endif
}

} // namespace compat
