#pragma once

class QQmlApplicationEngine;

/// Every difference between the Qt releases we build on (6.4 to 6.8 and later) stands here.
namespace compat {

/// Gives the QML module QtCore the type Settings where Qt does not bring it (before 6.5). To be
/// called before the engine loads anything.
void provideSettingsType();

/// Loads the component Main of the module podconsole; a failure arrives as the engine's
/// objectCreationFailed.
void loadMain(QQmlApplicationEngine &engine);

} // namespace compat
