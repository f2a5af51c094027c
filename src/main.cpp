#include "CMain.h"
#include "compat/QtCompat.h"
#include "input/JoystickInput.h"
#include "video/VideoRenderer.h"

#include <QGuiApplication>
#include <QIcon>
#include <QQmlApplicationEngine>
#include <QQmlContext>

int main(int argc, char *argv[])
{
    QGuiApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("KAVROControl"));
    QCoreApplication::setOrganizationName(QStringLiteral("KAVRO"));
    QGuiApplication::setWindowIcon(QIcon(QStringLiteral(":/src/image/logo.png")));

    qmlRegisterType<VideoRenderer>("VideoRenderer", 1, 0, "VideoRenderer");
    qmlRegisterType<JoystickInput>("Joystick", 1, 0, "JoystickInput");
    compat::provideSettingsType();

    QQmlApplicationEngine engine;
    auto *backend = new CMain(&app);
    engine.rootContext()->setContextProperty(QStringLiteral("cMain"), backend);
    QObject::connect(
        &engine, &QQmlApplicationEngine::objectCreationFailed, &app,
        [] { QCoreApplication::exit(-1); }, Qt::QueuedConnection);
    compat::loadMain(engine);
    return QCoreApplication::exec();
}
