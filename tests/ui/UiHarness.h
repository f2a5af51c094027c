#pragma once

#include "PodSocket.h"

#include "CMain.h"
#include "video/VideoRenderer.h"

#include <QPoint>
#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTemporaryDir>

#include <memory>

/// The whole interface, run for a test: the real QML in its window, the real backend connected
/// over TCP to a PodSocket, the real video item, a working directory of its own with the settings
/// file. Controls are addressed by their objectName, which is their id. Input goes through the
/// window system's door, as a real mouse and keyboard do.
///
///     UiHarness ui;                          // no stream, connected, window active
///     ui.click(u"photobutton"_s);
///     QCOMPARE(ui.pod().waitForFrames(1), QStringList{u"ff 01 ..."_s});
///
/// Call UiHarness::prepare() once, in initTestCase.
class UiHarness
{
public:
    /// The settings file's text; an empty stream address keeps the video item idle.
    static const QByteArray kNoStream;

    static void prepare();

    explicit UiHarness(const QByteArray &settings = kNoStream, bool connected = true);
    ~UiHarness();

    CMain &backend() { return *m_backend; }

    PodSocket &pod() { return m_pod; }

    QQuickWindow *window() const { return m_window; }

    VideoRenderer *video() const;

    /// Connects over TCP; true when the backend says so.
    bool connectPod();

    /// The object of this name, wherever in the window; the test process ends if there is none.
    QObject *object(const QString &name) const;
    QQuickItem *item(const QString &name) const;
    QVariant property(const QString &name, const char *property) const;
    /// The window position of the item's centre, or of a point of the item.
    QPoint centre(const QString &name) const;
    QPoint at(const QString &name, QPointF point) const;

    void press(const QString &name, Qt::MouseButton button = Qt::LeftButton);
    void release(const QString &name, Qt::MouseButton button = Qt::LeftButton);
    void click(const QString &name, Qt::MouseButton button = Qt::LeftButton);
    /// Opens a tool strip menu or another popup by its button and waits until it is open.
    void openMenu(const QString &button, const QString &menu);
    /// Turns the wheel over the item by one notch up (120) or down (-120).
    void wheel(const QString &name, int angle = 120);
    /// Takes the window's focus away, as another program would.
    void deactivate();
    void activate();

    /// The window's rectangle of the tooltip that is open; null when none is.
    QRect shownTip() const;

    /// The settings file as it stands on disk.
    QVariant setting(const QString &key) const;

    /// Warnings and errors that Qt or QML logged since prepare(); the tests end with it empty.
    static QStringList warnings();

private:
    QString m_oldDirectory;
    QTemporaryDir m_directory;
    PodSocket m_pod;
    std::unique_ptr<CMain> m_backend;
    std::unique_ptr<QQmlApplicationEngine> m_engine;
    std::unique_ptr<QWindow> m_otherWindow;
    QQuickWindow *m_window = nullptr;
};
