#include "SceneGraph.h"

#include <QtGui/qtguiglobal.h>

#if QT_CONFIG(opengl)
#include <QDebug>
#include <QFile>
#include <QGuiApplication>
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QQuickWindow>

#include <algorithm>
#include <array>
#endif

namespace compat {

#if QT_CONFIG(opengl)

namespace {

/// Empty when there is no OpenGL at all; Qt Quick finds that out by itself.
QByteArray openGLRenderer()
{
    QOpenGLContext context;
    QOffscreenSurface surface;
    surface.create();
    if (!context.create() || !context.makeCurrent(&surface))
        return {};
    const GLubyte *name = context.functions()->glGetString(GL_RENDERER);
    return name ? QByteArray(reinterpret_cast<const char *>(name)) : QByteArray();
}

bool isEmulated(const QByteArray &renderer)
{
    constexpr std::array kEmulators = {"llvmpipe", "softpipe", "swrast", "Software Rasterizer"};
    return std::ranges::any_of(kEmulators,
                               [&](const char *name) { return renderer.contains(name); });
}

bool drawsWithOpenGL()
{
    const QString platform = QGuiApplication::platformName();
    return platform == QLatin1String("xcb") || platform.startsWith(QLatin1String("wayland"));
}

/// Where the kernel shows graphics devices. Without any, asking OpenGL would take a fifth of the
/// console's start, most of it for loading the emulator, only to hear that it is one.
bool hasGraphicsDevice()
{
    constexpr std::array kDevices = {"/dev/dri", "/dev/dxg", "/dev/nvidiactl"};
    return std::ranges::any_of(
        kDevices, [](const char *path) { return QFile::exists(QString::fromLatin1(path)); });
}

bool isChosenAlready()
{
    constexpr std::array kChoices = {"QT_QUICK_BACKEND", "QMLSCENE_DEVICE", "QSG_RHI_BACKEND",
                                     "QSG_RENDER_LOOP"};
    return std::ranges::any_of(kChoices,
                               [](const char *name) { return qEnvironmentVariableIsSet(name); });
}

} // namespace

#endif

void avoidEmulatedOpenGL()
{
#if QT_CONFIG(opengl)
    if (isChosenAlready() || !drawsWithOpenGL())
        return;
    if (hasGraphicsDevice() && !isEmulated(openGLRenderer()))
        return;
    qDebug() << "[SceneGraph] 无GPU，使用软件渲染";
    QQuickWindow::setSceneGraphBackend(QStringLiteral("software"));
#endif
}

} // namespace compat
