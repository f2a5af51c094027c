#include "QtCompat.h"

#include <QQmlApplicationEngine>
#include <QtGlobal>

#if QT_VERSION < QT_VERSION_CHECK(6, 5, 0)
#include "Settings.h"
#endif

namespace compat {

void provideSettingsType()
{
#if QT_VERSION < QT_VERSION_CHECK(6, 5, 0)
    qmlRegisterType<Settings>("QtCore", 1, 0, "Settings");
#endif
}

void loadMain(QQmlApplicationEngine &engine)
{
#if QT_VERSION < QT_VERSION_CHECK(6, 5, 0)
    engine.load(QUrl(QStringLiteral("qrc:/qt/qml/podconsole/Main.qml")));
#else
    engine.loadFromModule("podconsole", "Main");
#endif
}

} // namespace compat
