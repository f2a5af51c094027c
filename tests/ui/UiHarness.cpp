#include "UiHarness.h"

#include "InterfaceSetup.h"
#include "compat/QtCompat.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QHash>
#include <QQmlContext>
#include <QRegularExpression>
#include <QSettings>
#include <QStyleHints>
#include <QTest>
#include <QWheelEvent>

#include <functional>

using namespace Qt::StringLiterals;

namespace {

constexpr int kWaitMs = 10000;
const QString kSettingsFile = u"device_config.ini"_s;
const QString kVideo = u"videoRenderer"_s;
const QString kDrawer = u"podControlDrawer"_s;

/// Also finds what a Repeater made, which stands in no object tree.
QQuickItem *visibleItem(QQuickItem *parent, const QString &name)
{
    for (QQuickItem *child : parent->childItems()) {
        if (child->objectName() == name)
            return child;
        if (QQuickItem *found = visibleItem(child, name))
            return found;
    }
    return nullptr;
}

void await(const std::function<bool()> &condition, const QString &what)
{
    if (!QTest::qWaitFor(condition, kWaitMs))
        qFatal("UiHarness: in vain: %s", qPrintable(what));
}

using MouseAct = void (*)(QWindow *, Qt::MouseButton, Qt::KeyboardModifiers, QPoint, int);
using KeyAct = void (*)(QWindow *, Qt::Key, Qt::KeyboardModifiers, int);
using Step = std::function<void(UiHarness &, const QStringList &)>;

void mouse(UiHarness &ui, MouseAct act, QPoint position)
{
    act(ui.window(), Qt::LeftButton, {}, position, -1);
}

Step atCentre(MouseAct act, Qt::MouseButton button = Qt::LeftButton)
{
    return [=](UiHarness &ui, const QStringList &words) {
        act(ui.window(), button, {}, ui.centre(words[1]), -1);
    };
}

Qt::Key keyOf(const QString &name) { return QKeySequence(name)[0].key(); }

Step withKey(KeyAct act)
{
    return
        [=](UiHarness &ui, const QStringList &words) { act(ui.window(), keyOf(words[1]), {}, -1); };
}

void pick(UiHarness &ui, const QString &box, int index)
{
    // An editable combo box has its arrow on the right, and its text on the left.
    mouse(ui, QTest::mouseClick, ui.at(box, {ui.item(box)->width() - 10, 15}));
    const auto *popup = ui.property(box, "popup").value<QObject *>();
    await([&] { return popup->property("opened").toBool(); }, box + u" opens"_s);
    auto *list = popup->property("contentItem").value<QQuickItem *>();
    QMetaObject::invokeMethod(list, "positionViewAtIndex", Q_ARG(int, index), Q_ARG(int, 4));
    QQuickItem *entry = nullptr;
    const auto findEntry = [&] {
        QMetaObject::invokeMethod(list, "itemAtIndex", Q_RETURN_ARG(QQuickItem *, entry),
                                  Q_ARG(int, index));
        return entry != nullptr;
    };
    await(findEntry, box + u" has the entry"_s);
    mouse(ui, QTest::mouseClick, entry->mapToScene(entry->boundingRect().center()).toPoint());
    await([&] { return !popup->property("visible").toBool(); }, box + u" closes"_s);
}

void type(UiHarness &ui, const QString &field, const QString &text)
{
    mouse(ui, QTest::mouseClick, ui.at(field, {12, 15}));
    QTest::keySequence(ui.window(), QKeySequence::SelectAll);
    QTest::keyClick(ui.window(), Qt::Key_Delete);
    for (const QChar character : text)
        QTest::keyClick(ui.window(), character.toLatin1());
}

void turnWheel(UiHarness &ui, int angle)
{
    const QPointF position = ui.centre(kVideo);
    QWheelEvent event(position, ui.window()->mapToGlobal(position), {}, {0, angle}, Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(ui.window(), &event);
}

QPoint dragged(const UiHarness &ui, const QStringList &words)
{
    return ui.centre(kVideo) + QPoint(words.at(1).toInt(), words.at(2).toInt());
}

/// The system's repeat of a held key, then a press not marked as one, as X11 tells it when asked
/// to.
void repeatKey(UiHarness &ui, Qt::Key key)
{
    for (const auto &[type, isRepeat] : {std::pair(QEvent::KeyRelease, true),
                                         {QEvent::KeyPress, true},
                                         {QEvent::KeyPress, false}}) {
        QKeyEvent event(type, key, Qt::NoModifier, {}, isRepeat);
        QCoreApplication::sendEvent(ui.window(), &event);
    }
}

void openPage(UiHarness &ui, const QString &page)
{
    ui.item(kDrawer)->setVisible(true);
    mouse(ui, QTest::mouseClick, ui.centre(u"pageButton"_s + page));
    await([&] { return ui.property(kDrawer, "currentPage").toString() == page; },
          u"page "_s + page);
}

const QHash<QString, Step> kSteps = {
    {u"down"_s, withKey(QTest::keyPress)},
    {u"up"_s, withKey(QTest::keyRelease)},
    {u"tap"_s, withKey(QTest::keyClick)},
    {u"repeat"_s, [](auto &ui, auto &words) { repeatKey(ui, keyOf(words[1])); }},
    {u"click"_s, atCentre(QTest::mouseClick)},
    {u"rightclick"_s, atCentre(QTest::mouseClick, Qt::RightButton)},
    {u"press"_s, atCentre(QTest::mousePress)},
    {u"release"_s, atCentre(QTest::mouseRelease)},
    {u"move"_s, [](auto &ui, auto &words) { QTest::mouseMove(ui.window(), ui.centre(words[1])); }},
    {u"drag"_s,
     [](auto &ui, auto &words) {
         mouse(ui, QTest::mousePress, ui.centre(kVideo));
         QTest::mouseMove(ui.window(), dragged(ui, words));
     }},
    {u"drop"_s, [](auto &ui, auto &words) { mouse(ui, QTest::mouseRelease, dragged(ui, words)); }},
    {u"wheel"_s, [](auto &ui, auto &words) { turnWheel(ui, words[1].toInt()); }},
    {u"pick"_s, [](auto &ui, auto &words) { pick(ui, words[1], words[2].toInt()); }},
    {u"type"_s, [](auto &ui, auto &words) { type(ui, words[1], words.value(2)); }},
    {u"page"_s, [](auto &ui, auto &words) { openPage(ui, words[1]); }},
    {u"menu"_s,
     [](auto &ui, auto &words) {
         mouse(ui, QTest::mouseClick, ui.centre(words[1]));
         await([&] { return ui.property(words[2], "opened").toBool(); }, words[2] + u" opens"_s);
     }},
    {u"set"_s,
     [](auto &ui, auto &words) {
         ui.object(words[1])->setProperty(qPrintable(words[2]), words[3].toInt());
     }},
    {u"backend"_s,
     [](auto &ui, auto &words) {
         ui.backend().setProperty(qPrintable(words[1]), words[2].toInt());
     }},
    {u"dismiss"_s,
     [](auto &ui, auto &) {
         const QString box = u"customDialog"_s;
         ui.object(box)->setProperty("visible", false);
         await([&] { return !ui.property(box, "visible").toBool(); }, u"dismiss the message"_s);
     }},
    {u"deactivate"_s, [](auto &ui, auto &) { ui.deactivate(); }},
    {u"activate"_s, [](auto &ui, auto &) { ui.activate(); }},
    {u"minimise"_s, [](auto &ui, auto &) { ui.window()->showMinimized(); }},
    {u"close"_s, [](auto &ui, auto &) { ui.window()->close(); }},
    {u"quit"_s,
     [](auto &, auto &) {
         QMetaObject::invokeMethod(qApp, &QCoreApplication::quit, Qt::QueuedConnection);
         QCoreApplication::exec();
     }},
    {u"ungrab"_s,
     [](auto &ui, auto &) {
         for (auto *item : ui.window()->template findChildren<QQuickItem *>())
             item->ungrabMouse();
     }},
};

} // namespace

const QByteArray UiHarness::kNoStream = QByteArrayLiteral("[RTSP]\nrtspIp=\n");

void UiHarness::prepare()
{
    prepareInterface();
    // The window of one case, closing, must not end the event loops of the next.
    QGuiApplication::setQuitOnLastWindowClosed(false);
    // A platform without a theme has none, and then no control is ever hovered.
    QGuiApplication::styleHints()->setUseHoverEffects(true);
}

void UiHarness::failOnAnyWarning() { QTest::failOnWarning(QRegularExpression(u"."_s)); }

UiHarness::UiHarness(const QByteArray &settings, bool connected)
    : m_oldDirectory(QDir::currentPath())
    , m_backend(std::make_unique<CMain>())
    , m_engine(std::make_unique<QQmlApplicationEngine>())
{
    QDir::setCurrent(m_directory.path());
    QFile file(kSettingsFile);
    if (!file.open(QIODevice::WriteOnly) || file.write(settings) != settings.size())
        qFatal("UiHarness: no settings file");
    file.close();
    m_engine->rootContext()->setContextProperty(u"cMain"_s, m_backend.get());
    compat::loadMain(*m_engine);
    if (m_engine->rootObjects().isEmpty())
        qFatal("UiHarness: Main.qml does not load");
    m_window = qobject_cast<QQuickWindow *>(m_engine->rootObjects().constFirst());
    activate();
    await([this] { return property({}, "streamStarted").toBool(); }, u"paint the window"_s);
    if (connected && !connectPod())
        qFatal("UiHarness: the pod's socket was not reached");
}

UiHarness::~UiHarness()
{
    m_engine.reset();
    m_backend.reset();
    QDir::setCurrent(m_oldDirectory);
}

VideoRenderer *UiHarness::video() const { return qobject_cast<VideoRenderer *>(object(kVideo)); }

bool UiHarness::connectPod() { return m_backend->connectTCP(u"127.0.0.1"_s, m_pod.port()); }

QObject *UiHarness::object(const QString &name) const
{
    QObject *found = name.isEmpty() ? m_window : m_window->findChild<QObject *>(name);
    if (!found)
        found = visibleItem(m_window->contentItem(), name);
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
    QPoint place;
    const auto isLaidOut = [&] {
        place = item(name)->mapToScene(point).toPoint();
        return m_window->contentItem()->size().toSize() == m_window->size()
               && QRect({}, m_window->size()).contains(place);
    };
    await(isLaidOut, name + u" is in the window"_s);
    return place;
}

QPoint UiHarness::centre(const QString &name) const
{
    return at(name, item(name)->boundingRect().center());
}

void UiHarness::play(const QString &steps)
{
    for (const QString &step : steps.split(u"; "_s, Qt::SkipEmptyParts)) {
        const QStringList words = step.split(u' ');
        const auto perform = kSteps.value(words.first());
        if (!perform)
            qFatal("UiHarness: no step %s", qPrintable(step));
        perform(*this, words);
        QCoreApplication::processEvents();
    }
}

QString UiHarness::boxText() const
{
    return property(u"customDialog"_s, "opened").toBool() ? text(u"dialogText"_s) : QString();
}

void UiHarness::deactivate()
{
    m_otherWindow = std::make_unique<QWindow>();
    m_otherWindow->resize(50, 50);
    m_otherWindow->show();
    m_otherWindow->requestActivate();
    await([this] { return !m_window->isActive(); }, u"take the focus"_s);
}

void UiHarness::activate()
{
    m_otherWindow.reset();
    m_window->requestActivate();
    await([this] { return m_window->isActive(); }, u"give the focus"_s);
}

QVariant UiHarness::setting(const QString &key) const
{
    return QSettings(m_directory.filePath(kSettingsFile), QSettings::IniFormat).value(key);
}
