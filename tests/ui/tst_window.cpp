#include "UiHarness.h"

#include <QQmlExpression>
#include <QSignalSpy>
#include <QTest>

#include <functional>

using namespace Qt::StringLiterals;
using Gesture = std::function<void(UiHarness &)>;
Q_DECLARE_METATYPE(Gesture)

namespace {

constexpr int kWaitMs = 10000;
constexpr int kSpeed = 128; // CMain's default
constexpr int kZoomSpeed = 4;

const QString kVideo = u"videoRenderer"_s;
const QString kStop = shortFrame(0x00, 0x00);
const QString kZoomIn = shortFrame(0x00, 0x40, kZoomSpeed);
const QString kZoomOut = shortFrame(0x00, 0x20, kZoomSpeed);
const QString kZoomStop = shortFrame(0x00, 0x60);

Gesture click(const QString &control)
{
    return [control](UiHarness &ui) { ui.click(control); };
}

Gesture choose(const QString &button, const QString &menu, const QString &entry)
{
    return [=](UiHarness &ui) {
        ui.openMenu(button, menu);
        ui.click(entry);
        QTRY_VERIFY_WITH_TIMEOUT(!ui.property(menu, "visible").toBool(), kWaitMs);
    };
}

Gesture tapKey(Qt::Key key)
{
    return [key](UiHarness &ui) {
        QTest::keyPress(ui.window(), key);
        QTest::keyRelease(ui.window(), key);
    };
}

Gesture turnWheel(int angle)
{
    return [angle](UiHarness &ui) { ui.wheel(kVideo, angle); };
}

Gesture holdFocusButton(const QString &button)
{
    return [button](UiHarness &ui) {
        ui.backend().setIsManualFocus(true);
        ui.click(button);
    };
}

/// The status frame with camera state: 29 bytes, all zero but what is given.
QByteArray statusFrame(bool recording, bool tracking = false, int yawTenths = 0)
{
    QByteArray frame(29, '\0');
    frame[0] = char(0xee);
    frame[1] = 0x01;
    frame[2] = 29;
    frame[9] = char(yawTenths & 0xff);
    frame[10] = char((yawTenths & 0xff00) >> 8);
    frame[11] = 3; // zoom step
    frame[12] = char(tracking);
    frame[25] = char(recording);
    return frame;
}

} // namespace

/// From the operator's gesture to the bytes on the control link, and from the pod's bytes and the
/// settings file to what the window shows.
class TestWindow : public QObject
{
    Q_OBJECT

private slots:

    void initTestCase() { UiHarness::prepare(); }

    void cleanupTestCase() { QCOMPARE(UiHarness::warnings(), QStringList()); }

    void gestureSendsItsFrames_data();
    void gestureSendsItsFrames();
    void heldKeyIsSentOnce();
    void speedsFollowTheBackend();
    void wheelStopsAfterTheLastNotch();
    void dragSteersInItsDirection_data();
    void dragSteersInItsDirection();
    void dragChangesDirectionWithoutStop();
    void dragBackIntoTheDeadZoneStops();
    void dragOutOfTheWindowStops();
    void shortDragSendsNoMotion();
    void escapeClosesTheMenu();
    void recordButtonFollowsThePod();
    void thermalButtonsFollowTheModel_data();
    void thermalButtonsFollowTheModel();
    void overlayShowsThePod();
    void silentPodIsMarked();
    void trackButtonTellsTheTarget();
    void settingsAreRead_data();
    void settingsAreRead();
    void languageChangesLabelsAtOnce();
    void errorGivesWayToTheVideoState();
    void refusedCommandIsTold();
    void titleBarButtons();
    void titleBarMovesTheWindowLeftOfItsButtons();
    void nothingOverlapsInTheSmallestWindow();
};

void TestWindow::gestureSendsItsFrames_data()
{
    QTest::addColumn<Gesture>("gesture");
    QTest::addColumn<QStringList>("frames");
    const auto one = [](const char *name, const Gesture &gesture, const QString &frame) {
        QTest::newRow(name) << gesture << QStringList{frame};
    };
    one("photo", click(u"photobutton"_s), shortFrame(0x12, 0x00));
    one("record", click(u"recordbutton"_s), shortFrame(0x12, 0x01));
    const auto hzh = [&](const char *entry, int type) {
        one(entry, choose(u"hzhbutton"_s, u"hzhMenu"_s, QLatin1StringView(entry)),
            shortFrame(0x14, 0x00, type));
    };
    hzh("mousekjginrcx", 0);
    hzh("mousercxincjg", 1);
    hzh("mousekjg", 2);
    hzh("mousercx", 3);
    const auto wc = [&](const char *entry, int type) {
        one(entry, choose(u"wcbutton"_s, u"wcMenu"_s, QLatin1StringView(entry)),
            shortFrame(0x15, 0x00, type));
    };
    wc("mousebr", 0);
    wc("mousehr", 1);
    wc("mousecr", 2);
    one("mouse1", choose(u"centerbutton"_s, u"centerMenu"_s, u"mouse1"_s), shortFrame(0x13, 0x03));
    one("mouse2", choose(u"centerbutton"_s, u"centerMenu"_s, u"mouse2"_s), shortFrame(0x13, 0x02));
    const auto mode = [&](const char *entry, int command) {
        one(entry, choose(u"gimbalbutton"_s, u"modeMenu"_s, QLatin1StringView(entry)),
            shortFrame(0x13, command));
    };
    mode("mousefollow", 0x00);
    mode("mouselock", 0x01);
    mode("mousefpv", 0x06);
    one(
        "right click", [](UiHarness &ui) { ui.click(kVideo, Qt::RightButton); },
        shortFrame(0x11, 0x01));
    one(
        "closeTrackBtn",
        [](UiHarness &ui) {
            ui.backend().setIsTracking(true);
            ui.click(u"closeTrackBtn"_s);
        },
        shortFrame(0x11, 0x01));

    const auto held = [](const char *name, const Gesture &gesture, const QString &start,
                         const QString &stop) {
        QTest::newRow(name) << gesture << QStringList{start, stop};
    };
    held("W", tapKey(Qt::Key_W), shortFrame(0x00, 0x08, 0, kSpeed), kStop);
    held("S", tapKey(Qt::Key_S), shortFrame(0x00, 0x10, 0, kSpeed), kStop);
    held("A", tapKey(Qt::Key_A), shortFrame(0x00, 0x04, kSpeed), kStop);
    held("D", tapKey(Qt::Key_D), shortFrame(0x00, 0x02, kSpeed), kStop);
    held("Q", tapKey(Qt::Key_Q), kZoomOut, kZoomStop);
    held("E", tapKey(Qt::Key_E), kZoomIn, kZoomStop);
    held("wheel up", turnWheel(120), kZoomIn, kZoomStop);
    held("wheel down", turnWheel(-120), kZoomOut, kZoomStop);
    held("mouseIn", choose(u"zoomButton"_s, u"zoomMenu"_s, u"mouseIn"_s), kZoomIn, kZoomStop);
    held("mouseOut", choose(u"zoomButton"_s, u"zoomMenu"_s, u"mouseOut"_s), kZoomOut, kZoomStop);
    const QString focusStop = shortFrame(0x1d, 0x04);
    held("plusButton", holdFocusButton(u"plusButton"_s), shortFrame(0x1d, 0x02), focusStop);
    held("minusButton", holdFocusButton(u"minusButton"_s), shortFrame(0x1d, 0x03), focusStop);
}

void TestWindow::gestureSendsItsFrames()
{
    QFETCH(Gesture, gesture);
    QFETCH(QStringList, frames);
    UiHarness ui;
    gesture(ui);
    QCOMPARE(ui.pod().waitForFrames(frames.size()), frames);
    QVERIFY(ui.video()->hasActiveFocus());
    // The keys still steer, and nothing else was on its way.
    QTest::keyClick(ui.window(), Qt::Key_W);
    QCOMPARE(ui.pod().waitForFrames(2), (QStringList{shortFrame(0x00, 0x08, 0, kSpeed), kStop}));
}

void TestWindow::heldKeyIsSentOnce()
{
    UiHarness ui;
    QTest::keyPress(ui.window(), Qt::Key_W);
    const auto repeat = [&](QEvent::Type type, bool marked) {
        QKeyEvent event(type, Qt::Key_W, Qt::NoModifier, u"w"_s, marked);
        QCoreApplication::sendEvent(ui.window(), &event);
    };
    for (int i = 0; i < 3; ++i) {
        repeat(QEvent::KeyRelease, true);
        repeat(QEvent::KeyPress, true);
        repeat(QEvent::KeyPress, false); // as X11 tells it when asked to
    }
    QTest::keyRelease(ui.window(), Qt::Key_W);
    QCOMPARE(ui.pod().waitForFrames(2), (QStringList{shortFrame(0x00, 0x08, 0, kSpeed), kStop}));
}

void TestWindow::speedsFollowTheBackend()
{
    UiHarness ui;
    ui.backend().setMoveSpeed(37);
    ui.window()->setProperty("zoomspeed", 7);
    tapKey(Qt::Key_A)(ui);
    tapKey(Qt::Key_E)(ui);
    QCOMPARE(ui.pod().waitForFrames(4), (QStringList{shortFrame(0x00, 0x04, 37), kStop,
                                                     shortFrame(0x00, 0x40, 7), kZoomStop}));
}

void TestWindow::wheelStopsAfterTheLastNotch()
{
    UiHarness ui;
    auto *timer = ui.item(kVideo)->findChild<QObject *>(u"wheelStopTimer"_s);
    QVERIFY(timer);
    QCOMPARE(timer->property("interval").toInt(), 150);
    for (int notch = 0; notch < 3; ++notch)
        ui.wheel(kVideo);
    QCOMPARE(ui.pod().takeFrames(), (QStringList{kZoomIn, kZoomIn, kZoomIn}));
    QVERIFY(timer->property("running").toBool());
    QCOMPARE(ui.pod().waitForFrames(1), QStringList{kZoomStop});
}

void TestWindow::dragSteersInItsDirection_data()
{
    QTest::addColumn<QPoint>("offset");
    QTest::addColumn<QString>("command");
    QTest::newRow("right") << QPoint(80, 0) << shortFrame(0x00, 0x02, kSpeed);
    QTest::newRow("rightdown") << QPoint(80, 80) << shortFrame(0x00, 0x12, kSpeed, kSpeed);
    QTest::newRow("down") << QPoint(0, 80) << shortFrame(0x00, 0x10, 0, kSpeed);
    QTest::newRow("leftdown") << QPoint(-80, 80) << shortFrame(0x00, 0x14, kSpeed, kSpeed);
    QTest::newRow("left") << QPoint(-80, 0) << shortFrame(0x00, 0x04, kSpeed);
    QTest::newRow("left, a little up") << QPoint(-80, -1) << shortFrame(0x00, 0x04, kSpeed);
    QTest::newRow("leftup") << QPoint(-80, -80) << shortFrame(0x00, 0x0c, kSpeed, kSpeed);
    QTest::newRow("up") << QPoint(0, -80) << shortFrame(0x00, 0x08, 0, kSpeed);
    QTest::newRow("rightup") << QPoint(80, -80) << shortFrame(0x00, 0x0a, kSpeed, kSpeed);
}

void TestWindow::dragSteersInItsDirection()
{
    QFETCH(QPoint, offset);
    QFETCH(QString, command);
    UiHarness ui;
    const QPoint start = ui.centre(kVideo);
    QTest::mousePress(ui.window(), Qt::LeftButton, {}, start);
    QTest::mouseMove(ui.window(), start + offset);
    QVERIFY(ui.property(u"imagemovecircle"_s, "visible").toBool());
    QCOMPARE(ui.centre(u"imagemovecircle"_s), start);
    QCOMPARE(ui.centre(u"imagemovering"_s), start + offset);
    // The command at once, then again with every tick.
    QCOMPARE(ui.pod().waitForFrames(3), QStringList(3, command));

    QTest::mouseRelease(ui.window(), Qt::LeftButton, {}, start + offset);
    QStringList frames = ui.pod().takeFrames();
    frames.removeAll(command); // a tick may have come between
    QCOMPARE(frames, QStringList{kStop});
    QVERIFY(!ui.property(u"imagemovecircle"_s, "visible").toBool());
    QVERIFY(!ui.property(u"imagemovering"_s, "visible").toBool());
    QCOMPARE(ui.pod().waitForFrames(1), QStringList{kStop}); // the delayed one
}

void TestWindow::dragChangesDirectionWithoutStop()
{
    UiHarness ui;
    const QString right = shortFrame(0x00, 0x02, kSpeed);
    const QString rightDown = shortFrame(0x00, 0x12, kSpeed, kSpeed);
    const QPoint start = ui.centre(kVideo);
    QTest::mousePress(ui.window(), Qt::LeftButton, {}, start);
    QTest::mouseMove(ui.window(), start + QPoint(100, 0));
    QCOMPARE(ui.pod().waitForFrames(2), QStringList(2, right));
    QTest::mouseMove(ui.window(), start + QPoint(100, 100));
    QStringList frames = ui.pod().waitForFrames(3);
    frames.removeAll(right);
    QVERIFY(!frames.isEmpty());
    QCOMPARE(frames.removeAll(rightDown), qMax(frames.size(), 2));
    QCOMPARE(frames, QStringList());
    QTest::mouseRelease(ui.window(), Qt::LeftButton, {}, start + QPoint(100, 100));
}

void TestWindow::dragBackIntoTheDeadZoneStops()
{
    UiHarness ui;
    const QString right = shortFrame(0x00, 0x02, kSpeed);
    const QPoint start = ui.centre(kVideo);
    QTest::mousePress(ui.window(), Qt::LeftButton, {}, start);
    QTest::mouseMove(ui.window(), start + QPoint(50, 0));
    QTest::mouseMove(ui.window(), start + QPoint(10, -10));
    QStringList frames = ui.pod().takeFrames();
    frames.removeAll(right);
    QCOMPARE(frames, QStringList{kStop});
    QVERIFY(!ui.property(u"moveTimer"_s, "running").toBool());
    QTest::mouseMove(ui.window(), start + QPoint(11, 0));
    QCOMPARE(ui.pod().waitForFrames(2), QStringList(2, right));
    QTest::mouseRelease(ui.window(), Qt::LeftButton, {}, start + QPoint(11, 0));
}

void TestWindow::dragOutOfTheWindowStops()
{
    UiHarness ui;
    const QString up = shortFrame(0x00, 0x08, 0, kSpeed);
    const QPoint start = ui.centre(kVideo);
    QTest::mousePress(ui.window(), Qt::LeftButton, {}, start);
    QTest::mouseMove(ui.window(), start - QPoint(0, 60));
    QTest::mouseMove(ui.window(), QPoint(start.x(), -20));
    QStringList frames = ui.pod().takeFrames();
    frames.removeAll(up);
    QCOMPARE(frames, QStringList{kStop});
    // Until the next press the drag is over, wherever the pointer goes.
    QTest::mouseMove(ui.window(), start - QPoint(0, 60));
    QVERIFY(!ui.property(u"moveTimer"_s, "running").toBool());
    QCOMPARE(ui.pod().takeFrames(), QStringList());
    QTest::mouseRelease(ui.window(), Qt::LeftButton, {}, start);
}

void TestWindow::shortDragSendsNoMotion()
{
    UiHarness ui;
    const QPoint start = ui.centre(kVideo);
    QTest::mousePress(ui.window(), Qt::LeftButton, {}, start);
    QTest::mouseMove(ui.window(), start + QPoint(8, 8));
    QTest::mouseRelease(ui.window(), Qt::LeftButton, {}, start + QPoint(8, 8));
    tapKey(Qt::Key_E)(ui);
    QCOMPARE(ui.pod().waitForFrames(2), (QStringList{kZoomIn, kZoomStop}));
}

void TestWindow::escapeClosesTheMenu()
{
    UiHarness ui;
    ui.openMenu(u"hzhbutton"_s, u"hzhMenu"_s);
    tapKey(Qt::Key_D)(ui); // steering goes on under an open menu
    QCOMPARE(ui.pod().waitForFrames(2), (QStringList{shortFrame(0x00, 0x02, kSpeed), kStop}));
    QTest::keyClick(ui.window(), Qt::Key_Escape);
    QTRY_VERIFY_WITH_TIMEOUT(!ui.property(u"hzhMenu"_s, "visible").toBool(), kWaitMs);
}

void TestWindow::recordButtonFollowsThePod()
{
    UiHarness ui;
    const auto icon = [&] { return ui.property(u"recordbutton"_s, "icon").toUrl().fileName(); };
    QCOMPARE(icon(), u"record.png"_s);
    ui.pod().send(statusFrame(true));
    QTRY_COMPARE_WITH_TIMEOUT(icon(), u"pause-solid.svg"_s, kWaitMs);
    ui.click(u"recordbutton"_s);
    QCOMPARE(ui.pod().waitForFrames(1), QStringList{shortFrame(0x12, 0x02)});
}

void TestWindow::thermalButtonsFollowTheModel_data()
{
    QTest::addColumn<int>("model"); // the pod's code
    for (const int code : {1, 36, 45, 46})
        QTest::addRow("model %d", code) << code;
}

void TestWindow::thermalButtonsFollowTheModel()
{
    QFETCH(int, model);
    UiHarness ui;
    const double full = ui.item(u"podControlsTools"_s)->height();
    QVERIFY(ui.item(u"hzhbutton"_s)->isVisible()); // nothing known yet: everything is offered
    QByteArray version(11, '\0');
    version[0] = char(0xee);
    version[1] = 0x06;
    version[2] = 11;
    version[3] = 'C';
    version[4] = char(model);
    ui.pod().send(version);
    QTRY_VERIFY_WITH_TIMEOUT(!ui.backend().versionno().isEmpty(), kWaitMs);
    auto *button = ui.item(u"hzhbutton"_s);
    const bool thermal =
        QQmlExpression(qmlContext(button), button, u"Models.hasThermal(cMain.versionno)"_s)
            .evaluate()
            .toBool();
    QCOMPARE(button->isVisible(), thermal);
    QCOMPARE(ui.item(u"wcbutton"_s)->isVisible(), thermal);
    // A hidden button leaves no gap.
    constexpr double kTwoButtons = 2 * (40 + 8);
    QTRY_COMPARE_WITH_TIMEOUT(ui.item(u"podControlsTools"_s)->height(),
                              thermal ? full : full - kTwoButtons, kWaitMs);
}

void TestWindow::overlayShowsThePod()
{
    UiHarness ui;
    QVERIFY(!ui.item(u"podInfo"_s)->isVisible());
    ui.window()->setProperty("isPodInfoValuesShow", true);
    QVERIFY(ui.item(u"podInfo"_s)->isVisible());
    ui.pod().send(statusFrame(false, false, -1234));
    QTRY_COMPARE_WITH_TIMEOUT(ui.property(u"yawValue"_s, "text").toString(), u"-123.4"_s, kWaitMs);
    QCOMPARE(ui.property(u"latValue"_s, "text").toString(), u"0.000000"_s);
    QCOMPARE(ui.property(u"zoomText"_s, "text").toString(), u"3X"_s);
}

void TestWindow::silentPodIsMarked()
{
    UiHarness ui;
    const auto colour = [&](const QString &name) { return ui.property(name, "color").toString(); };
    const QString fresh = colour(u"yawValue"_s);
    const QString freshState = colour(u"controlconnectstate"_s);
    QTRY_VERIFY_WITH_TIMEOUT(ui.backend().statusStale(), kWaitMs);
    QVERIFY(colour(u"yawValue"_s) != fresh);
    QVERIFY(colour(u"controlconnectstate"_s) != freshState);
    QCOMPARE(ui.property(u"controlconnectstate"_s, "text").toString(), u"已连接"_s);
    ui.pod().send(statusFrame(false));
    QTRY_COMPARE_WITH_TIMEOUT(colour(u"yawValue"_s), fresh, kWaitMs);
    // A link that is gone is not stale.
    QTRY_VERIFY_WITH_TIMEOUT(ui.backend().statusStale(), kWaitMs);
    ui.pod().drop();
    QTRY_COMPARE_WITH_TIMEOUT(ui.property(u"controlconnectstate"_s, "text").toString(), u"未连接"_s,
                              kWaitMs);
    QVERIFY(!ui.backend().statusStale());
}

void TestWindow::trackButtonTellsTheTarget()
{
    UiHarness ui;
    const auto icon = [&] { return ui.property(u"imageLoader"_s, "source").toUrl().fileName(); };
    QVERIFY(!ui.item(u"closetrackbutton"_s)->isVisible());
    ui.backend().setIsTracking(true);
    QVERIFY(ui.item(u"closetrackbutton"_s)->isVisible());
    QCOMPARE(icon(), u"kaishigenzong.png"_s);
    ui.pod().send(statusFrame(false, true));
    QTRY_COMPARE_WITH_TIMEOUT(icon(), u"tingzhigenzong.png"_s, kWaitMs);
}

void TestWindow::settingsAreRead_data()
{
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<QVariantList>("values"); // url, address, port, baud rate, language
    QTest::newRow("missing keys give the defaults")
        << QByteArray("[RTSP]\nrtspIp=\n")
        << QVariantList{QString(), u"192.168.10.20"_s, 2000, 115200, 0};
    QTest::newRow("everything from the file")
        << QByteArray("[RTSP]\nrtspIp=bad://stream\n[TCP]\ndeviceIp=10.1.2.3\ndevicePort=4001\n"
                      "[COM]\nbaudRate=57600\nportName=COM7\n[%General]\nlanguageIndex=1\n")
        << QVariantList{u"bad://stream"_s, u"10.1.2.3"_s, 4001, 57600, 1};
}

void TestWindow::settingsAreRead()
{
    QFETCH(QByteArray, file);
    QFETCH(QVariantList, values);
    UiHarness ui(file, false);
    const auto property = [&](const char *name) { return ui.property({}, name); };
    QCOMPARE((QVariantList{property("rtspUrl"), property("oldDeviceIp"), property("oldDevicePort"),
                           property("oldBaudRate"), property("oldLanguageIndex")}),
             values);
    QCOMPARE(property("oldComPort").toString(), u"COM1"_s);
    QCOMPARE(ui.video()->source(), values.first().toString());
    QCOMPARE(ui.backend().languageIndex(), values.last().toInt());
}

void TestWindow::languageChangesLabelsAtOnce()
{
    UiHarness ui;
    const auto state = [&] { return ui.property(u"controlconnectstate"_s, "text").toString(); };
    QCOMPARE(state(), u"已连接"_s);
    ui.window()->setProperty("oldLanguageIndex", 1);
    QCOMPARE(state(), u"Connected"_s);
    QCOMPARE(ui.backend().languageIndex(), 1);
    QCOMPARE(ui.property(u"photobutton"_s, "tip").toString(), u"Take photo"_s);
    ui.pod().drop();
    QTRY_COMPARE_WITH_TIMEOUT(state(), u"Disconnected"_s, kWaitMs);
}

void TestWindow::errorGivesWayToTheVideoState()
{
    UiHarness ui;
    emit ui.video()->errorOccurred(u"坏了"_s);
    QCOMPARE(ui.property(u"statusText"_s, "text").toString(), u"错误: 坏了"_s);
    QCOMPARE(ui.property(u"statusText"_s, "color").value<QColor>(), QColor(Qt::red));
    QTRY_COMPARE_WITH_TIMEOUT(ui.property(u"statusText"_s, "text").toString(),
                              u"状态: "_s + ui.video()->status(), kWaitMs);
    emit ui.video()->connectionLost();
    QCOMPARE(ui.property(u"statusText"_s, "text").toString(), u"连接丢失，重连中..."_s);
    emit ui.video()->connectionRestored();
    QCOMPARE(ui.property(u"statusText"_s, "text").toString(), u"连接恢复"_s);
    QCOMPARE(ui.property(u"statusText"_s, "color").value<QColor>(), QColor(u"green"_s));
}

void TestWindow::refusedCommandIsTold()
{
    UiHarness ui(UiHarness::kNoStream, false);
    QCOMPARE(ui.property(u"controlconnectstate"_s, "text").toString(), u"未连接"_s);
    ui.click(u"photobutton"_s);
    QCOMPARE(ui.property(u"statusText"_s, "text").toString(), u"错误: 未连接，无法发送数据"_s);
}

void TestWindow::titleBarButtons()
{
    UiHarness ui;
    const auto isMaxed = [&] {
        return ui.window()->property("header").value<QObject *>()->property("isMaxed").toBool();
    };
    ui.click(u"maxButton"_s);
    QTRY_COMPARE_WITH_TIMEOUT(ui.window()->visibility(), QWindow::Maximized, kWaitMs);
    QVERIFY(isMaxed());
    ui.click(u"maxButton"_s);
    QTRY_COMPARE_WITH_TIMEOUT(ui.window()->visibility(), QWindow::Windowed, kWaitMs);
    QVERIFY(!isMaxed());
    ui.window()->showMaximized(); // by the window system, not the button
    QTRY_VERIFY_WITH_TIMEOUT(isMaxed(), kWaitMs);
    ui.click(u"minButton"_s);
    QTRY_COMPARE_WITH_TIMEOUT(ui.window()->visibility(), QWindow::Minimized, kWaitMs);
    QVERIFY(isMaxed()); // what it will be again

    auto *engine = qmlEngine(ui.window());
    QSignalSpy quit(engine, &QQmlEngine::quit);
    ui.window()->showNormal();
    ui.click(u"closeButton"_s);
    QCOMPARE(quit.count(), 1);
}

void TestWindow::titleBarMovesTheWindowLeftOfItsButtons()
{
    UiHarness ui;
    const QQuickItem *area = ui.item(u"titleMoveArea"_s);
    const QRectF rect = area->mapRectToScene(area->boundingRect());
    QCOMPARE(rect, QRectF(0, 0, ui.window()->width() - 90, 20));
}

void TestWindow::nothingOverlapsInTheSmallestWindow()
{
    UiHarness ui;
    ui.window()->resize(ui.window()->minimumSize());
    ui.window()->setProperty("isPodInfoValuesShow", true);
    ui.backend().setIsManualFocus(true);
    ui.backend().setIsTracking(true);
    QTRY_COMPARE_WITH_TIMEOUT(ui.item(kVideo)->width(), 798, kWaitMs);
    const QStringList floating = {u"podSettings"_s, u"podControlsTools"_s, u"podInfo"_s,
                                  u"manualfocusbuttons"_s, u"closetrackbutton"_s};
    const QRectF inside = ui.item(kVideo)->mapRectToScene(ui.item(kVideo)->boundingRect());
    QList<QRectF> taken;
    for (const QString &name : floating) {
        const QRectF rect = ui.item(name)->mapRectToScene(ui.item(name)->boundingRect());
        QVERIFY2(inside.contains(rect), qPrintable(name));
        for (const QRectF &other : std::as_const(taken))
            QVERIFY2(!other.intersects(rect), qPrintable(name));
        taken.append(rect);
    }
}

QTEST_MAIN(TestWindow)
#include "tst_window.moc"
