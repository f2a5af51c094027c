#include "InterfaceSetup.h"

#include "compat/KeyRepeat.h"
#include "compat/QtCompat.h"
#include "compat/SceneGraph.h"
#include "help/Manual.h"
#include "input/JoystickInput.h"
#include "motion/MotionGuard.h"
#include "recorder/FlightRecorder.h"
#include "settings/SettingsFile.h"
#include "video/VideoRenderer.h"

#include <QFont>
#include <QGuiApplication>
#include <QQuickStyle>
#include <QtQml>

namespace {

// The interface is Chinese first: a family that has the glyphs, on Linux and on Windows.
void setApplicationFont()
{
    QFont font = QGuiApplication::font();
    font.setFamilies({QStringLiteral("Noto Sans CJK SC"), QStringLiteral("Microsoft YaHei UI"),
                      QStringLiteral("Microsoft YaHei"), font.family()});
    QGuiApplication::setFont(font);
}

} // namespace

void prepareInterface()
{
    qmlRegisterType<VideoRenderer>("VideoRenderer", 1, 0, "VideoRenderer");
    qmlRegisterType<MotionGuard>("MotionGuard", 1, 0, "MotionGuard");
    qmlRegisterType<FlightRecorder>("FlightRecorder", 1, 0, "FlightRecorder");
    qmlRegisterType<SettingsFile>("SettingsFile", 1, 0, "SettingsFile");
    qmlRegisterType<Manual>("Manual", 1, 0, "Manual");
    qmlRegisterType<JoystickInput>("Joystick", 1, 0, "JoystickInput");
    compat::provideSettingsType();
    compat::makeKeyRepeatTellable();
    compat::avoidEmulatedOpenGL();
    QQuickStyle::setStyle(QStringLiteral("Material"));
    setApplicationFont();
}
