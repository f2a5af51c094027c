#include "InterfaceSetup.h"
#include "KeepAwake.h"
#include "backend/CMain.h"
#include "compat/Heap.h"
#include "compat/QtCompat.h"
#include "log/LogFile.h"

#include <QGuiApplication>
#include <QIcon>
#include <QQmlApplicationEngine>
#include <QQmlContext>
#include <QStandardPaths>

int main(int argc, char *argv[])
{
    compat::shareHeaps();
    QGuiApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("KAVROControl"));
    QCoreApplication::setOrganizationName(QStringLiteral("KAVRO"));
    const LogFile log(QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation)
                      + QStringLiteral("/log"));
    QGuiApplication::setWindowIcon(QIcon(QStringLiteral(":/src/image/logo.png")));

    prepareInterface();

    QQmlApplicationEngine engine;
    auto *backend = new CMain(&app);
    engine.rootContext()->setContextProperty(QStringLiteral("cMain"), backend);
    QObject::connect(
        &engine, &QQmlApplicationEngine::objectCreationFailed, &app,
        [] { QCoreApplication::exit(-1); }, Qt::QueuedConnection);
    compat::loadMain(engine);
    // Where the session ends, Windows ends the process after this signal and runs no destructor:
    // the stops of what still moves must be out by then. Whoever was connected before has sent its
    // own.
    QObject::connect(&app, &QCoreApplication::aboutToQuit, backend, &CMain::disconnect);
    keepAwakeWhileInUse(engine, *backend);
    return QCoreApplication::exec();
}
