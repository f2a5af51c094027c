#include "UiHarness.h"

#include "Files.h"
#include "app/InterfaceSetup.h"
#include "compat/QtCompat.h"

#include <QDir>
#include <QGuiApplication>
#include <QHash>
#include <QQmlContext>
#include <QRegularExpression>
#include <QSettings>
#include <QStyleHints>
#include <QTest>
#include <QTimer>
#include <QWheelEvent>

#include <functional>

using namespace Qt::StringLiterals;

namespace {

constexpr int kWaitMs = 10000;
constexpr int kMostTabs = 150;
const QString kSettingsFile = u"device_config.ini"_s;
const QString kVideo = u"videoRenderer"_s;
const QString kDrawer = u"podControlDrawer"_s;
const QStringList kStops = {u"00 00 00 00"_s, u"00 60 00 00"_s, u"1d 04 00 00"_s};
const QString kBox = u"customDialog"_s;

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

/// Fails the case under way, once; ends a program that is no test.
void fail(const QString &problem)
{
    if (!QTest::currentTestFunction())
        qFatal("UiHarness: %s", qPrintable(problem));
    if (!QTest::currentTestFailed())
        QFAIL(qPrintable(problem));
}

bool await(const std::function<bool()> &condition, const QString &what)
{
    if (QTest::qWaitFor([&] { return QTest::currentTestFailed() || condition(); }, kWaitMs))
        return !QTest::currentTestFailed();
    fail(u"in vain: "_s + what);
    return false;
}

using MouseAct = void (*)(QWindow *, Qt::MouseButton, Qt::KeyboardModifiers, QPoint, int);
using KeyAct = void (*)(QWindow *, Qt::Key, Qt::KeyboardModifiers, int);
/// What follows the step's name: mostly the name of a control, and then all the rest.
using Step = std::function<void(UiHarness &ui, const QString &name, const QString &rest)>;

void mouse(UiHarness &ui, MouseAct act, QPoint position, Qt::MouseButton button = Qt::LeftButton)
{
    act(ui.window(), button, {}, position, -1);
}

Step atCentre(MouseAct act, Qt::MouseButton button = Qt::LeftButton)
{
    return [=](UiHarness &ui, auto &name, auto &) { mouse(ui, act, ui.centre(name), button); };
}

QKeyCombination keyOf(const QString &name) { return QKeySequence(name)[0]; }

Step withKey(KeyAct act)
{
    return [=](UiHarness &ui, auto &name, auto &) {
        const QKeyCombination key = keyOf(name);
        act(ui.window(), key.key(), key.keyboardModifiers(), -1);
    };
}

void pick(UiHarness &ui, const QString &box, const QString &index)
{
    // An editable combo box has its arrow on the right, and its text on the left.
    mouse(ui, QTest::mouseClick, ui.at(box, {ui.item(box)->width() - 10, 15}));
    const auto *popup = ui.property(box, "popup").value<QObject *>();
    if (!await([&] { return popup && popup->property("opened").toBool(); }, box + u" opens"_s))
        return;
    auto *list = popup->property("contentItem").value<QQuickItem *>();
    const int row = index.toInt();
    QMetaObject::invokeMethod(list, "positionViewAtIndex", Q_ARG(int, row), Q_ARG(int, 4));
    QQuickItem *entry = nullptr;
    const auto findEntry = [&] {
        QMetaObject::invokeMethod(list, "itemAtIndex", Q_RETURN_ARG(QQuickItem *, entry),
                                  Q_ARG(int, row));
        return entry != nullptr;
    };
    if (!await(findEntry, box + u" has the entry"_s))
        return;
    mouse(ui, QTest::mouseClick, entry->mapToScene(entry->boundingRect().center()).toPoint());
    await([&] { return !popup->property("visible").toBool(); }, box + u" closes"_s);
}

void typeHere(UiHarness &ui, const QString &text, const QString &)
{
    QTest::keySequence(ui.window(), QKeySequence::SelectAll);
    QTest::keyClick(ui.window(), Qt::Key_Delete);
    for (const QChar character : text)
        QTest::keyClick(ui.window(), character.toLatin1());
}

void type(UiHarness &ui, const QString &field, const QString &text)
{
    mouse(ui, QTest::mouseClick, ui.at(field, {12, 15}));
    typeHere(ui, text, {});
}

/// By Tab alone, to the control or to what in it takes the keyboard.
void go(UiHarness &ui, const QString &control, const QString &)
{
    const auto isThere = [&] {
        const QQuickItem *focus = ui.window()->activeFocusItem();
        const auto *goal = ui.item(control);
        return focus && (focus == goal || goal->isAncestorOf(focus));
    };
    for (int press = 0; press < kMostTabs && !isThere(); ++press)
        QTest::keyClick(ui.window(), Qt::Key_Tab);
    await(isThere, control + u" is reached by Tab"_s);
}

void turnWheel(UiHarness &ui, const QString &angle, const QString &)
{
    const QPointF position = ui.centre(kVideo);
    QWheelEvent event(position, ui.window()->mapToGlobal(position), {}, {0, angle.toInt()},
                      Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(ui.window(), &event);
}

QPoint fromCentre(UiHarness &ui, const QString &x, const QString &y)
{
    return ui.centre(kVideo) + QPoint(x.toInt(), y.toInt());
}

void drag(UiHarness &ui, const QString &x, const QString &y)
{
    mouse(ui, QTest::mousePress, ui.centre(kVideo));
    QTest::mouseMove(ui.window(), fromCentre(ui, x, y));
}

/// The system's repeat of a held key.
void repeatKey(UiHarness &ui, const QString &key, const QString &)
{
    for (const auto type : {QEvent::KeyRelease, QEvent::KeyPress}) {
        QKeyEvent event(type, keyOf(key).key(), Qt::NoModifier, {}, true);
        QCoreApplication::sendEvent(ui.window(), &event);
    }
}

void openPage(UiHarness &ui, const QString &page, const QString &)
{
    ui.item(kDrawer)->setVisible(true);
    mouse(ui, QTest::mouseClick, ui.centre(u"pageButton"_s + page));
    await([&] { return ui.property(kDrawer, "currentPage").toString() == page; },
          u"page "_s + page);
}

void openMenu(UiHarness &ui, const QString &button, const QString &menu)
{
    mouse(ui, QTest::mouseClick, ui.centre(button));
    await([&] { return ui.property(menu, "opened").toBool(); }, menu + u" opens"_s);
}

void quit(UiHarness &, const QString &, const QString &)
{
    QTimer::singleShot(0, qApp, [] { QCoreApplication::exit(); });
    QCoreApplication::exec();
}

void ungrab(UiHarness &ui, const QString &, const QString &)
{
    for (auto *item : ui.window()->findChildren<QQuickItem *>())
        item->ungrabMouse();
}

void cutLink(UiHarness &ui, const QString &, const QString &)
{
    ui.pod().drop();
    await([&] { return !ui.backend().isConnected(); }, u"lose the link"_s);
}

void set(QObject *object, const QString &propertyAndValue)
{
    object->setProperty(qPrintable(propertyAndValue.section(u' ', 0, 0)),
                        propertyAndValue.section(u' ', 1).toInt());
}

void see(UiHarness &ui, const QString &name, const QString &propertyAndValue)
{
    const auto seen = [&] {
        const QVariant value = ui.property(name, qPrintable(propertyAndValue.section(u' ', 0, 0)));
        return value.userType() == QMetaType::QUrl ? value.toUrl().fileName() : value.toString();
    };
    QTRY_COMPARE_WITH_TIMEOUT(seen(), propertyAndValue.section(u' ', 1), kWaitMs);
}

QString joined(const QString &first, const QString &rest)
{
    return rest.isEmpty() ? first : first + u' ' + rest;
}

void moved(UiHarness &ui, const QString &first, const QString &rest)
{
    const auto motions = [&] {
        QStringList merged;
        for (const QString &frame : ui.pod().frames()) {
            if (merged.isEmpty() || merged.last() != frame || kStops.contains(frame))
                merged.append(frame);
        }
        return merged.join(u", "_s);
    };
    QTRY_COMPARE_WITH_TIMEOUT(motions(), joined(first, rest), kWaitMs);
    ui.pod().take();
}

void seeBox(UiHarness &ui, const QString &first, const QString &rest)
{
    const QString text = joined(first, rest);
    const auto shown = [&] {
        return ui.property(kBox, "opened").toBool()
                   ? ui.property(u"dialogText"_s, "text").toString()
                   : QString();
    };
    QTRY_COMPARE_WITH_TIMEOUT(shown().left(text.size()), text, kWaitMs);
}

void seeKept(UiHarness &, const QString &key, const QString &value)
{
    const QSettings settings(kSettingsFile, QSettings::IniFormat);
    QCOMPARE(settings.value(key).toString(), value);
}

const QHash<QString, Step> kSteps = {
    {u"down"_s, withKey(QTest::keyPress)},
    {u"up"_s, withKey(QTest::keyRelease)},
    {u"tap"_s, withKey(QTest::keyClick)},
    {u"repeat"_s, repeatKey},
    {u"click"_s, atCentre(QTest::mouseClick)},
    {u"doubleclick"_s, atCentre(QTest::mouseDClick)},
    {u"rightclick"_s, atCentre(QTest::mouseClick, Qt::RightButton)},
    {u"press"_s, atCentre(QTest::mousePress)},
    {u"release"_s, atCentre(QTest::mouseRelease)},
    {u"move"_s, [](auto &ui, auto &c, auto &) { QTest::mouseMove(ui.window(), ui.centre(c)); }},
    {u"drag"_s, drag},
    {u"dragto"_s,
     [](auto &ui, auto &x, auto &y) { QTest::mouseMove(ui.window(), fromCentre(ui, x, y)); }},
    {u"drop"_s,
     [](auto &ui, auto &x, auto &y) { mouse(ui, QTest::mouseRelease, fromCentre(ui, x, y)); }},
    {u"keys"_s, typeHere},
    {u"go"_s, go},
    {u"wheel"_s, turnWheel},
    {u"pick"_s, pick},
    {u"type"_s, type},
    {u"page"_s, openPage},
    {u"menu"_s, openMenu},
    {u"set"_s, [](auto &ui, auto &c, auto &rest) { set(ui.object(c), rest); }},
    {u"backend"_s, [](auto &ui, auto &p, auto &n) { set(&ui.backend(), p + u' ' + n); }},
    {u"deactivate"_s, [](auto &ui, auto &, auto &) { ui.deactivate(); }},
    {u"activate"_s, [](auto &ui, auto &, auto &) { ui.activate(); }},
    {u"maximise"_s, [](auto &ui, auto &, auto &) { ui.window()->showMaximized(); }},
    {u"minimise"_s, [](auto &ui, auto &, auto &) { ui.window()->showMinimized(); }},
    {u"close"_s, [](auto &ui, auto &, auto &) { ui.window()->close(); }},
    {u"quit"_s, quit},
    {u"ungrab"_s, ungrab},
    {u"connect"_s, [](auto &ui, auto &, auto &) { QVERIFY(ui.connectPod()); }},
    {u"cut"_s, cutLink},
    {u"reply"_s, [](auto &ui, auto &hex,
                    auto &) { ui.pod().reply(sealed(QByteArray::fromHex(hex.toLatin1()))); }},
    {u"sent"_s, [](auto &ui, auto &f, auto &rest) { EXPECT_FRAMES(ui.pod(), joined(f, rest)); }},
    {u"await"_s,
     [](auto &ui, auto &f, auto &rest) { QTRY_VERIFY(ui.pod().count(joined(f, rest)) > 0); }},
    {u"moved"_s, moved},
    {u"see"_s, see},
    {u"box"_s, seeBox},
    {u"kept"_s, seeKept},
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
    : m_backend(std::make_unique<CMain>())
    , m_engine(std::make_unique<QQmlApplicationEngine>())
{
    QDir::setCurrent(m_directory.path());
    writeFile(kSettingsFile, settings);
    m_engine->rootContext()->setContextProperty(u"cMain"_s, m_backend.get());
    compat::loadMain(*m_engine);
    m_window = qobject_cast<QQuickWindow *>(m_engine->rootObjects().value(0));
    if (!m_window) {
        fail(u"Main.qml does not load"_s);
        m_window = &m_noWindow;
        return;
    }
    activate();
    await([this] { return property(u"window"_s, "streamStarted").toBool(); },
          u"paint the window"_s);
    if (connected && !connectPod())
        fail(u"the pod's socket was not reached"_s);
}

UiHarness::~UiHarness()
{
    m_engine.reset();
    m_backend.reset();
    QDir::setCurrent(QDir::tempPath());
}

QObject *UiHarness::object(const QString &name) const
{
    QObject *found = name == u"window" ? m_window : m_window->findChild<QObject *>(name);
    if (!found)
        found = visibleItem(m_window->contentItem(), name);
    if (!found)
        fail(u"no object "_s + name);
    return found ? found : m_nothing.get();
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

void UiHarness::play(const QString &steps)
{
    for (const QString &step : steps.split(u"; "_s, Qt::SkipEmptyParts)) {
        const auto perform = kSteps.value(step.section(u' ', 0, 0));
        if (!perform)
            return fail(u"no step "_s + step);
        perform(*this, step.section(u' ', 1, 1), step.section(u' ', 2));
        QCoreApplication::processEvents();
        if (QTest::currentTestFailed())
            return;
    }
}

void UiHarness::rest()
{
    failOnAnyWarning();
    if (auto *keyPage = m_window->findChild<QObject *>(u"keyPage"_s))
        keyPage->setProperty("visible", false);
    // A page's fields are new whenever it is opened.
    play(u"set customDialog visible 0; set zoomMenu visible 0; page 4; "
         "set podControlDrawer visible 0; backend isManualFocus 0; backend isTracking 0"_s);
    if (!m_backend->isConnected())
        QVERIFY(connectPod());
    m_pod.take();
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
