#include "UiHarness.h"

#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

static constexpr int kWaitMs = 10000;

/// What the window shows of the pod, of the video and of the settings file.
class TestWindow : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { UiHarness::prepare(); }
    void cleanupTestCase() { QCOMPARE(UiHarness::warnings(), QStringList()); }
    void followsThePod();
    void silentPodIsMarked();
    void settingsAreRead_data();
    void settingsAreRead();
    void statusLineTellsErrorsAndVideoState();
    void titleBarButtons();
    void nothingOverlapsInTheSmallestWindow();
};

void TestWindow::followsThePod()
{
    UiHarness ui;
    const auto pictureOf = [&](const QString &name, const char *property) {
        return ui.property(name, property).toUrl().fileName();
    };
    QCOMPARE(pictureOf(u"recordbutton"_s, "icon"), u"record.png"_s);
    QVERIFY(!ui.item(u"closetrackbutton"_s)->isVisible());
    ui.backend().setIsTracking(true);
    QVERIFY(ui.item(u"closetrackbutton"_s)->isVisible());
    QCOMPARE(pictureOf(u"imageLoader"_s, "source"), u"kaishigenzong.png"_s);
    QVERIFY(!ui.item(u"podInfo"_s)->isVisible());
    ui.window()->setProperty("isPodInfoValuesShow", true);
    QVERIFY(ui.item(u"podInfo"_s)->isVisible());

    // Yaw -1234 tenths, zoom step 3, tracking, recording.
    ui.pod().send(statusFrame({{9, 0x2e}, {10, 0xfb}, {11, 3}, {12, 1}, {25, 1}}));
    QTRY_COMPARE_WITH_TIMEOUT(ui.text(u"yawValue"_s), u"-123.4"_s, kWaitMs);
    QCOMPARE(ui.text(u"latValue"_s), u"0.000000"_s);
    QCOMPARE(ui.text(u"zoomText"_s), u"3X"_s);
    QCOMPARE(pictureOf(u"imageLoader"_s, "source"), u"tingzhigenzong.png"_s);
    QCOMPARE(pictureOf(u"recordbutton"_s, "icon"), u"pause-solid.svg"_s);
    ui.play(u"click recordbutton"_s);
    EXPECT_FRAMES(ui.pod(), u"12 02 00 00"_s);
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
    QCOMPARE(ui.text(u"controlconnectstate"_s), u"已连接"_s);
    ui.pod().send(statusFrame({}));
    QTRY_COMPARE_WITH_TIMEOUT(colour(u"yawValue"_s), fresh, kWaitMs);
    // A link that is gone is not stale.
    QTRY_VERIFY_WITH_TIMEOUT(ui.backend().statusStale(), kWaitMs);
    ui.pod().drop();
    QTRY_COMPARE_WITH_TIMEOUT(ui.text(u"controlconnectstate"_s), u"未连接"_s, kWaitMs);
    QVERIFY(!ui.backend().statusStale());
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
    QVariantList read;
    for (const char *name :
         {"rtspUrl", "oldDeviceIp", "oldDevicePort", "oldBaudRate", "oldLanguageIndex"})
        read.append(ui.property({}, name));
    QCOMPARE(read, values);
    QCOMPARE(ui.property({}, "oldComPort").toString(), u"COM1"_s);
    QCOMPARE(ui.video()->source(), values.first().toString());
    QCOMPARE(ui.backend().languageIndex(), values.last().toInt());
}

void TestWindow::statusLineTellsErrorsAndVideoState()
{
    UiHarness ui(UiHarness::kNoStream, false);
    const auto line = [&] { return ui.text(u"statusText"_s); };
    QCOMPARE(ui.text(u"controlconnectstate"_s), u"未连接"_s);
    ui.play(u"click photobutton"_s);
    QCOMPARE(line(), u"错误: 未连接，无法发送数据"_s);
    emit ui.video()->errorOccurred(u"坏了"_s);
    QCOMPARE(line(), u"错误: 坏了"_s);
    QCOMPARE(ui.property(u"statusText"_s, "color").value<QColor>(), QColor(Qt::red));
    QTRY_COMPARE_WITH_TIMEOUT(line(), u"状态: "_s + ui.video()->status(), kWaitMs);
    emit ui.video()->connectionLost();
    QCOMPARE(line(), u"连接丢失，重连中..."_s);
    emit ui.video()->connectionRestored();
    QCOMPARE(line(), u"连接恢复"_s);
    QCOMPARE(ui.property(u"statusText"_s, "color").value<QColor>(), QColor(u"green"_s));
}

void TestWindow::titleBarButtons()
{
    UiHarness ui;
    const QQuickItem *area = ui.item(u"titleMoveArea"_s);
    QCOMPARE(area->mapRectToScene(area->boundingRect()),
             QRectF(0, 0, ui.window()->width() - 90, 20)); // left of the buttons
    const auto isMaxed = [&] {
        return ui.window()->property("header").value<QObject *>()->property("isMaxed").toBool();
    };
    ui.play(u"click maxButton"_s);
    QTRY_COMPARE_WITH_TIMEOUT(ui.window()->visibility(), QWindow::Maximized, kWaitMs);
    QVERIFY(isMaxed());
    ui.play(u"click maxButton"_s);
    QTRY_COMPARE_WITH_TIMEOUT(ui.window()->visibility(), QWindow::Windowed, kWaitMs);
    QVERIFY(!isMaxed());
    ui.window()->showMaximized(); // by the window system, not the button
    QTRY_VERIFY_WITH_TIMEOUT(isMaxed(), kWaitMs);
    ui.play(u"click minButton"_s);
    QTRY_COMPARE_WITH_TIMEOUT(ui.window()->visibility(), QWindow::Minimized, kWaitMs);
    QVERIFY(isMaxed()); // what it will be again
    const QSignalSpy quit(qmlEngine(ui.window()), &QQmlEngine::quit);
    ui.window()->showNormal();
    ui.play(u"click closeButton"_s);
    QCOMPARE(quit.count(), 1);
}

void TestWindow::nothingOverlapsInTheSmallestWindow()
{
    UiHarness ui;
    ui.window()->resize(ui.window()->minimumSize());
    ui.window()->setProperty("isPodInfoValuesShow", true);
    ui.play(u"backend isManualFocus 1; backend isTracking 1"_s);
    const QQuickItem *video = ui.video();
    QTRY_COMPARE_WITH_TIMEOUT(video->width(), 798, kWaitMs);
    QList<QRectF> taken;
    for (const QString &name : {u"podSettings"_s, u"podControlsTools"_s, u"podInfo"_s,
                                u"manualfocusbuttons"_s, u"closetrackbutton"_s}) {
        const QRectF rect = ui.item(name)->mapRectToScene(ui.item(name)->boundingRect());
        QVERIFY2(video->mapRectToScene(video->boundingRect()).contains(rect), qPrintable(name));
        for (const QRectF &other : std::as_const(taken))
            QVERIFY2(!other.intersects(rect), qPrintable(name));
        taken.append(rect);
    }
}

QTEST_MAIN(TestWindow)
#include "tst_window.moc"
