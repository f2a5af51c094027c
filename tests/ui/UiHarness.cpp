#include "UiHarness.h"

#include "InterfaceSetup.h"
#include "compat/QtCompat.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QQmlContext>
#include <QSettings>
#include <QStyleHints>
#include <QTest>
#include <QWheelEvent>

#include <mutex>

namespace {

constexpr int kWaitMs = 10000;
const QString kSettingsFile = QStringLiteral("device_config.ini");

std::mutex s_mutex;
QStringList s_warnings;
QtMessageHandler s_previous = nullptr;

void collectWarnings(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    if (type != QtDebugMsg && type != QtInfoMsg) {
        const std::lock_guard lock(s_mutex);
        s_warnings.append(text);
    }
    s_previous(type, context, text);
}

} // namespace

const QByteArray UiHarness::kNoStream = QByteArrayLiteral("[RTSP]\nrtspIp=\n");

void UiHarness::prepare()
{
    prepareInterface();
    // The window of one case, closing, must not end the event loops of the next.
    QGuiApplication::setQuitOnLastWindowClosed(false);
    // A platform without a theme has none, and then no control is ever hovered.
    QGuiApplication::styleHints()->setUseHoverEffects(true);
    s_previous = qInstallMessageHandler(collectWarnings);
}

QStringList UiHarness::warnings()
{
    const std::lock_guard lock(s_mutex);
    return s_warnings;
}

UiHarness::UiHarness(const QByteArray &settings, bool connected)
    : m_oldDirectory(QDir::currentPath())
    , m_backend(std::make_unique<CMain>())
    , m_engine(std::make_unique<QQmlApplicationEngine>())
{
    QDir::setCurrent(m_directory.path());
    if (!settings.isEmpty()) {
        QFile file(kSettingsFile);
        if (!file.open(QIODevice::WriteOnly) || file.write(settings) != settings.size())
            qFatal("UiHarness: no settings file");
    }
    m_engine->rootContext()->setContextProperty(QStringLiteral("cMain"), m_backend.get());
    compat::loadMain(*m_engine);
    if (m_engine->rootObjects().isEmpty())
        qFatal("UiHarness: Main.qml does not load");
    m_window = qobject_cast<QQuickWindow *>(m_engine->rootObjects().constFirst());
    activate();
    if (!QTest::qWaitFor([this] { return property(QString(), "streamStarted").toBool(); }, kWaitMs))
        qFatal("UiHarness: the window was never painted");
    if (connected && !connectPod())
        qFatal("UiHarness: the pod's socket was not reached");
}

UiHarness::~UiHarness()
{
    m_engine.reset();
    m_backend.reset();
    QDir::setCurrent(m_oldDirectory);
}

VideoRenderer *UiHarness::video() const
{
    return qobject_cast<VideoRenderer *>(object(QStringLiteral("videoRenderer")));
}

bool UiHarness::connectPod()
{
    return m_backend->connectTCP(QStringLiteral("127.0.0.1"), m_pod.port());
}

QObject *UiHarness::object(const QString &name) const
{
    if (name.isEmpty())
        return m_window;
    auto *found = m_window->findChild<QObject *>(name);
    if (!found)
        qFatal("UiHarness: no object %s", qPrintable(name));
    return found;
}

QQuickItem *UiHarness::item(const QString &name) const
{
    auto *found = qobject_cast<QQuickItem *>(object(name));
    if (!found)
        qFatal("UiHarness: %s is no item", qPrintable(name));
    return found;
}

QVariant UiHarness::property(const QString &name, const char *property) const
{
    return object(name)->property(property);
}

QPoint UiHarness::at(const QString &name, QPointF point) const
{
    return item(name)->mapToScene(point).toPoint();
}

QPoint UiHarness::centre(const QString &name) const
{
    return at(name, item(name)->boundingRect().center());
}

void UiHarness::press(const QString &name, Qt::MouseButton button)
{
    QTest::mousePress(m_window, button, {}, centre(name));
}

void UiHarness::release(const QString &name, Qt::MouseButton button)
{
    QTest::mouseRelease(m_window, button, {}, centre(name));
}

void UiHarness::click(const QString &name, Qt::MouseButton button)
{
    QTest::mouseClick(m_window, button, {}, centre(name));
}

void UiHarness::openMenu(const QString &button, const QString &menu)
{
    click(button);
    if (!QTest::qWaitFor([&] { return property(menu, "opened").toBool(); }, kWaitMs))
        qFatal("UiHarness: %s did not open", qPrintable(menu));
}

void UiHarness::wheel(const QString &name, int angle)
{
    const QPointF position = centre(name);
    QWheelEvent event(position, m_window->mapToGlobal(position), {}, {0, angle}, Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(m_window, &event);
}

void UiHarness::deactivate()
{
    m_otherWindow = std::make_unique<QWindow>();
    m_otherWindow->resize(50, 50);
    m_otherWindow->show();
    m_otherWindow->requestActivate();
    if (!QTest::qWaitFor([this] { return !m_window->isActive(); }, kWaitMs))
        qFatal("UiHarness: the window keeps the focus");
}

void UiHarness::activate()
{
    m_otherWindow.reset();
    m_window->requestActivate();
    if (!QTest::qWaitForWindowActive(m_window, kWaitMs))
        qFatal("UiHarness: the window does not become active");
}

QRect UiHarness::shownTip() const
{
    const QQuickItem *bubble = nullptr;
    for (const QQuickItem *layer : m_window->contentItem()->childItems()) {
        for (const QQuickItem *item : layer->childItems()) {
            if (item->objectName() == u"tipBubble" && item->isVisible())
                bubble = item;
        }
    }
    return bubble ? bubble->mapRectToScene(bubble->boundingRect()).toAlignedRect() : QRect();
}

QVariant UiHarness::setting(const QString &key) const
{
    return QSettings(m_directory.filePath(kSettingsFile), QSettings::IniFormat).value(key);
}
