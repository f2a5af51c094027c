#include "InterfaceSetup.h"
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
    return QCoreApplication::exec();
}
