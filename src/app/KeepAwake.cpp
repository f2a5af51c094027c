#include "KeepAwake.h"

#include "backend/CMain.h"
#include "video/VideoRenderer.h"

#include <QQmlApplicationEngine>

#ifdef Q_OS_WIN
#include <qt_windows.h>
#endif

namespace {

void keepAwake([[maybe_unused]] bool isInUse)
{
#ifdef Q_OS_WIN
    SetThreadExecutionState(ES_CONTINUOUS
                            | (isInUse ? ES_SYSTEM_REQUIRED | ES_DISPLAY_REQUIRED : 0));
#endif
}

} // namespace

void keepAwakeWhileInUse(QQmlApplicationEngine &engine, CMain &backend)
{
    const QList<QObject *> roots = engine.rootObjects();
    auto *video = roots.isEmpty() ? nullptr : roots.first()->findChild<VideoRenderer *>();
    if (video == nullptr)
        return; // the interface did not load
    const auto update = [&backend, video] { keepAwake(backend.isConnected() || video->playing()); };
    QObject::connect(&backend, &CMain::connectionChanged, video, update);
    QObject::connect(video, &VideoRenderer::playingChanged, video, update);
}
