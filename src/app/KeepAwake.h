#pragma once

class CMain;
class QQmlApplicationEngine;

/// Lets neither the system fall asleep nor its display go dark while the pod's link is open or its
/// video plays, keys or none: an operator may only look on for a long time. To be called once,
/// after the interface was loaded. On Windows only; elsewhere that is the desktop's own setting.
void keepAwakeWhileInUse(QQmlApplicationEngine &engine, CMain &backend);
