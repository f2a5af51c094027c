#pragma once

/// Makes ready what the QML of the module podconsole builds on: the types of the backend, the
/// controls' style and the application's font. To be called once, after the QGuiApplication was
/// created and before an engine loads anything.
void prepareInterface();
