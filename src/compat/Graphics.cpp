#include "compat/Graphics.h"

#include <QQuickWindow>
#include <QSGRendererInterface>

#if QT_CONFIG(opengl) && !defined(Q_OS_WIN) && !defined(Q_OS_MACOS)
#define PODCONSOLE_DRAWS_WITH_OPENGL
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
#endif

#include <algorithm>
#include <array>

namespace compat {
namespace {

#ifdef PODCONSOLE_DRAWS_WITH_OPENGL
bool openGlIsEmulated()
{
    QOpenGLContext context;
    QOffscreenSurface surface;
    surface.create();
    if (!context.create() || !context.makeCurrent(&surface))
        return true; // or not there at all
    const QByteArray renderer(
        reinterpret_cast<const char *>(context.functions()->glGetString(GL_RENDERER)));
    context.doneCurrent();
    constexpr std::array kEmulators = {"llvmpipe", "softpipe", "swrast", "Software Rasterizer"};
    return std::ranges::any_of(kEmulators,
                               [&](const char *name) { return renderer.contains(name); });
}
#else
bool openGlIsEmulated() { return false; } // what Qt draws with here finds its own way
#endif

} // namespace

void avoidEmulatedGraphics()
{
    if (qEnvironmentVariableIsSet("QT_QUICK_BACKEND")
        || qEnvironmentVariableIsSet("QSG_RHI_BACKEND"))
        return;
    if (openGlIsEmulated())
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
}

} // namespace compat
