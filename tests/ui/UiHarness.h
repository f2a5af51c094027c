#pragma once

#include "PodSocket.h"

#include "backend/CMain.h"
#include "video/VideoRenderer.h"

#include <QPoint>
#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTemporaryDir>

#include <memory>

/// The whole interface, run for a test: the real QML in its window, the real backend connected
/// over TCP to a PodSocket, the real video item, a working directory of its own with the settings
/// file. Controls are addressed by their objectName, the window by "window".
///
/// Call UiHarness::prepare() once, in initTestCase, and failOnAnyWarning() in init.
class UiHarness
{
public:
    /// The settings file's text; an empty stream address keeps the video item idle.
    static const QByteArray kNoStream;

    static void prepare();
    /// A warning of Qt or QML fails the test function under way, row by row.
    static void failOnAnyWarning();

    explicit UiHarness(const QByteArray &settings = kNoStream, bool connected = true);
    ~UiHarness();

    CMain &backend() { return *m_backend; }
    PodSocket &pod() { return m_pod; }
    QQuickWindow *window() const { return m_window; }
    VideoRenderer *video() const { return m_window->findChild<VideoRenderer *>(); }
    bool connectPod() { return m_backend->connectTCP(QStringLiteral("127.0.0.1"), m_pod.port()); }

    /// Where there is no such object the case has failed, and gets an item that stands for it.
    QObject *object(const QString &name) const;
    QQuickItem *item(const QString &name) const { return qobject_cast<QQuickItem *>(object(name)); }
    QVariant property(const QString &name, const char *property) const
    {
        return object(name)->property(property);
    }
    /// The window position of a point of the item, or of its centre, once the layout has followed
    /// the window's size.
    QPoint at(const QString &name, QPointF point) const;
    QPoint centre(const QString &name) const
    {
        return at(name, item(name)->boundingRect().center());
    }

    /// Does as the operator would, step by step, separated by "; ", until the test has failed:
    ///     down W, up W, tap W, repeat W   click C, rightclick C, press C, release C, move C
    ///     go C, keys TEXT                 tabs to a control; replaces the text in the one reached
    ///     doubleclick C                   with the left button
    ///     menu C M                        opens the menu M by the button C and waits for it
    ///     pick C INDEX                    picks an entry of a combo box from its list
    ///     type C TEXT                     replaces what stands in a field; no TEXT: empties it
    ///     drag X Y, dragto X Y, drop X Y  presses the video's centre and moves so far from it
    ///     wheel ANGLE                     over the video, a notch up is 120
    ///     page NUMBER                     opens the drawer on that page
    ///     maximise, minimise, deactivate, activate, close, quit, ungrab   done to the window
    ///     set C PROPERTY INT, backend PROPERTY INT   what no operator can do
    ///     connect, cut, reply HEX         done to the link; the frame gets length and checksum
    ///     sent FRAMES                     as EXPECT_FRAMES
    ///     await FRAME                     waits for it, and keeps it
    ///     moved FRAMES                    the same, of a command's repeats only one
    ///     see C PROPERTY VALUE            waits for it; of a URL only the file name counts
    ///     box TEXT, kept KEY VALUE        how the message box begins, what the settings file holds
    void play(const QString &steps);

    /// Between two cases: connected, all boxes shut, nothing of the last case in the pod's record.
    void rest();
    void deactivate();
    void activate();

private:
    QTemporaryDir m_directory;
    PodSocket m_pod;
    std::unique_ptr<CMain> m_backend;
    std::unique_ptr<QQmlApplicationEngine> m_engine;
    std::unique_ptr<QWindow> m_otherWindow;
    QQuickWindow m_noWindow; // stands for one that does not load
    QQuickWindow *m_window = nullptr;
    const std::unique_ptr<QQuickItem> m_nothing = std::make_unique<QQuickItem>();
};
