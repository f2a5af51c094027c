#include "UiHarness.h"

#include <QRegularExpression>
#include <QTest>

#include <functional>

using namespace Qt::StringLiterals;

namespace {

constexpr int kWaitMs = 10000;
constexpr int kSbusChannels = 24;

QByteArray longFrame(const char *hex) { return sealed(QByteArray::fromHex(hex)); }

QByteArray sbusFrame(int type, const std::function<int(int)> &channel)
{
    QByteArray frame = QByteArray::fromHex("ee0000");
    frame[1] = char(type);
    for (int i = 0; i < kSbusChannels; ++i)
        frame += char(channel(i));
    return sealed(frame);
}

} // namespace

/// What the drawer's pages make of the pod's replies, of the link and of the operator's settings.
class TestDrawerPages : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { UiHarness::prepare(); }
    void cleanupTestCase() { QCOMPARE(UiHarness::warnings(), QStringList()); }
    void withoutLinkNothingIsTakenOver();
    void linkFormsConnectStoreAndTell();
    void statusLineKeepsReportsAndFollowsTheLanguage();
    void tipsCoverAndTakeNothing_data();
    void tipsCoverAndTakeNothing();
    void encoderFormShowsThePodAndWritesItBack();
    void sbusMapIsWrittenOnlyAsRead();
    void controlsFollowTheModel_data();
    void controlsFollowTheModel();
    void languageChangesEverythingAndIsKept();
    void speedIsWrittenWhenTheHandleIsReleased();
    void keyboardReturnsToTheVideo();
    void joystickPageAssigns();
    void planFollowsThePod();
    void onlineUpgradeClosesTheLinkFirst();
    void fileUrlBecomesAPath();
};

void TestDrawerPages::withoutLinkNothingIsTakenOver()
{
    UiHarness ui(UiHarness::kNoStream + "[%General]\nlanguageIndex=1\n", false);
    ui.play(u"page 2; click laserlightrowSwitch"_s);
    QTRY_COMPARE_WITH_TIMEOUT(ui.boxText(), u"Not connected, nothing was sent"_s, kWaitMs);
    QVERIFY(!ui.property(u"laserlightrowSwitch"_s, "checked").toBool());
    QVERIFY(!ui.property(u"podControlDrawer"_s, "isLaserLight").toBool());
    ui.play(u"click dialogButton"_s);
    QTRY_VERIFY_WITH_TIMEOUT(!ui.property(u"customDialog"_s, "visible").toBool(), kWaitMs);
    ui.window()->setProperty("oldLanguageIndex", 0);
    ui.play(u"pick followframesizecombo 2"_s);
    QTRY_COMPARE_WITH_TIMEOUT(ui.boxText(), u"未连接，无法发送数据"_s, kWaitMs);
    QCOMPARE(ui.property(u"followframesizecombo"_s, "currentIndex").toInt(), -1);
}

void TestDrawerPages::linkFormsConnectStoreAndTell()
{
    UiHarness ui(UiHarness::kNoStream, false);
    const QString port = QString::number(ui.pod().port());
    ui.play(u"page 0; type ipInput 127.0.0.01; type portInput %1; click tcpButton"_s.arg(port));
    QTRY_COMPARE_WITH_TIMEOUT(ui.text(u"statusText"_s), u"TCP 连接成功"_s, kWaitMs);
    QCOMPARE(ui.text(u"tcpButton"_s), u"断开"_s);
    QCOMPARE(ui.text(u"comButton"_s), u"连接"_s);
    QCOMPARE(ui.setting(u"TCP/deviceIp"_s).toString(), u"127.0.0.1"_s);
    QCOMPARE(ui.setting(u"TCP/devicePort"_s).toString(), port);

    // The greeting survives the change of page.
    ui.play(u"page 1"_s);
    const QStringList greeting = ui.pod().next(2).split(u", "_s);
    QVERIFY2(greeting.first().startsWith(u"ee 83 0a "_s), qPrintable(greeting.first()));
    QCOMPARE(greeting.mid(1), QStringList{u"1e 02 00 00"_s});

    ui.play(u"page 0; click tcpButton"_s);
    QCOMPARE(ui.text(u"statusText"_s), u"TCP 连接已断开"_s);
    QVERIFY(!ui.backend().isConnected());
    QCOMPARE(ui.text(u"tcpButton"_s), u"连接"_s);

    ui.play(u"type portslist /dev/no-such-port; click comButton"_s);
    QTRY_VERIFY_WITH_TIMEOUT(ui.boxText().startsWith(u"串口连接失败"_s), kWaitMs);
    QCOMPARE(ui.text(u"statusText"_s), u"串口连接失败"_s);
    QCOMPARE(ui.setting(u"COM/baudRate"_s).toInt(), 115200);
    ui.play(u"dismiss"_s);

    const QString address = u"udp://127.0.0.1:9"_s;
    ui.object(u"urlInput"_s)->setProperty("text", address);
    ui.play(u"click urlButton"_s);
    QCOMPARE(ui.text(u"statusText"_s), u"URL 已更新: "_s + address);
    QCOMPARE(ui.setting(u"RTSP/rtspIp"_s).toString(), address);
    QCOMPARE(ui.property({}, "rtspUrl").toString(), address);
}

void TestDrawerPages::statusLineKeepsReportsAndFollowsTheLanguage()
{
    UiHarness ui;
    const auto line = [&] { return ui.text(u"statusText"_s); };
    ui.play(u"page 0; click tcpButton"_s);
    QCOMPARE(line(), u"TCP 连接已断开"_s);
    emit ui.video()->playingChanged(); // as with each attempt to bring the stream back
    QCOMPARE(line(), u"TCP 连接已断开"_s);
    ui.openPage(Gimbal); // the page that told it is gone
    ui.window()->setProperty("oldLanguageIndex", 1);
    QCOMPARE(line(), u"TCP disconnected"_s);
    QTRY_COMPARE_WITH_TIMEOUT(line(), u"状态: "_s + ui.video()->status(), kWaitMs);
    ui.play(u"click photobutton"_s);
    QCOMPARE(line(), u"Error: Not connected, nothing was sent"_s);

    ui.play(u"page 0; type urlInput udp://127.0.0.1:9; click urlButton"_s);
    QCOMPARE(line(), u"URL updated: udp://127.0.0.1:9"_s);
    emit ui.video()->connectionLost(); // no state but news
    QCOMPARE(line(), u"连接丢失，重连中..."_s);
}

void TestDrawerPages::tipsCoverAndTakeNothing_data()
{
    QTest::addColumn<int>("page"); // -1: the drawer stays closed
    QTest::addColumn<QString>("control");
    QTest::addColumn<QStringList>("uncovered");
    const auto row = [](int page, const QString &control, const QStringList &uncovered) {
        QTest::addRow("%s, page %d", qPrintable(control), page) << page << control << uncovered;
    };
    constexpr int kClosed = -1;
    const QStringList drawer = {u"podControlDrawer"_s};
    row(kClosed, u"photobutton"_s, {u"podControlsTools"_s});
    row(kClosed, u"closeButton"_s, {u"minButton"_s, u"maxButton"_s, u"podSettings"_s});
    row(kClosed, u"settingsImage"_s, {u"podSettings"_s, u"closeButton"_s});
    row(kClosed, u"plusButton"_s, {u"manualfocusbuttons"_s});
    row(Info, u"settingsImage"_s, drawer);
    row(Info, u"pageButton3"_s, drawer);
    row(Info, u"tcpButton"_s, drawer);
    row(Info, u"ipInput"_s, drawer);
    row(Gimbal, u"podsportspeedslider"_s, drawer);
    row(Gimbal, u"comboboxfrequency"_s, drawer);
    row(Functions, u"pointtrackrowSwitch"_s, drawer);
}

void TestDrawerPages::tipsCoverAndTakeNothing()
{
    QFETCH(int, page);
    QFETCH(QString, control);
    QFETCH(QStringList, uncovered);
    UiHarness ui(UiHarness::kNoStream + "[%General]\nlanguageIndex=1\n"); // the longer texts
    ui.window()->resize(ui.window()->minimumSize());
    ui.backend().setIsManualFocus(true);
    QTRY_COMPARE_WITH_TIMEOUT(ui.video()->width(), 798, kWaitMs);
    if (page >= 0)
        ui.openPage(Page(page));
    QTest::mouseMove(ui.window(), ui.centre(control));
    QTRY_VERIFY_WITH_TIMEOUT(!ui.shownTip().isNull(), kWaitMs);
    const QRect tip = ui.shownTip();
    QVERIFY(QRect({}, ui.window()->size()).contains(tip));
    for (const QString &name : uncovered) {
        const QQuickItem *item = ui.item(name);
        QVERIFY2(!item->mapRectToScene(item->boundingRect()).intersects(tip), qPrintable(name));
    }
    // A drag that begins on the tip, while it goes away, is the video's.
    const QPoint start(tip.center().x(), tip.bottom());
    QTest::mousePress(ui.window(), Qt::LeftButton, {}, start);
    QTest::mouseMove(ui.window(), start + QPoint(0, 40));
    QVERIFY(ui.pod().next(1).startsWith(u"00 10 00 80"_s));
    QTest::mouseRelease(ui.window(), Qt::LeftButton, {}, start + QPoint(0, 40));
}

void TestDrawerPages::encoderFormShowsThePodAndWritesItBack()
{
    UiHarness ui;
    ui.openPage(Info);
    ui.pod().send(longFrame("ee09000a0000050402010a000001"));
    QTRY_COMPARE_WITH_TIMEOUT(ui.text(u"ipaddresstext"_s), u"10.00.00.05"_s, kWaitMs);
    QCOMPARE(ui.text(u"gatewaytext"_s), u"10.00.00.01"_s);
    QCOMPARE(ui.property(u"bitratecombo"_s, "displayText").toString(), u"1.5Mbit/s"_s);
    QCOMPARE(ui.property(u"resolutioncombo"_s, "displayText").toString(), u"1280x720"_s);
    QCOMPARE(ui.property(u"encodetypecombo"_s, "displayText").toString(), u"H.264"_s);
    ui.play(u"type gatewaytext 10.0.0.254; pick encodetypecombo 1; click b7nSetButton"_s);
    EXPECT_FRAMES(ui.pod(), u"ee 87 0f 0a 00 00 05 04 02 02 0a 00 00 fe a3"_s);
    QTRY_COMPARE_WITH_TIMEOUT(ui.boxText(), u"重启后生效"_s, kWaitMs);
}

void TestDrawerPages::sbusMapIsWrittenOnlyAsRead()
{
    UiHarness ui;
    ui.openPage(Sbus);
    const auto isReadable = [&] { return ui.property(u"sbusChoice0"_s, "enabled").toBool(); };
    QVERIFY(!isReadable());
    ui.play(u"click sbusSetButton"_s); // queries instead
    EXPECT_FRAMES(ui.pod(), u"1e 00 00 00"_s);
    QTRY_VERIFY_WITH_TIMEOUT(ui.boxText().contains(u"未写入"_s), kWaitMs);
    ui.play(u"tap Escape"_s);
    // The pod keeps silent.
    QTRY_COMPARE_WITH_TIMEOUT(ui.boxText(), u"读取超时"_s, kWaitMs);
    ui.play(u"dismiss"_s);

    const auto read = [](int i) { return i == 12 ? 18 : i < 12 ? i : 100 + i; };
    ui.pod().send(sbusFrame(0x04, read));
    QTRY_COMPARE_WITH_TIMEOUT(ui.property(u"sbusChoice11"_s, "displayText").toString(), u"CH11"_s,
                              kWaitMs);
    QVERIFY(isReadable());
    QCOMPARE(ui.property(u"sbusChoice0"_s, "displayText").toString(), u"null"_s);
    QCOMPARE(ui.property(u"sbusChoice12"_s, "displayText").toString(), u"18"_s);
    ui.play(u"pick sbusChoice1 16; click sbusSetButton"_s);
    const QByteArray written = sbusFrame(0x82, [&](int i) { return i == 1 ? 16 : read(i); });
    EXPECT_FRAMES(ui.pod(), QString::fromLatin1(written.toHex(' ')));
    // What was sent is not what the pod has said, and is still there after a look elsewhere.
    ui.play(u"dismiss; page 0; page 3"_s);
    QCOMPARE(ui.text(u"sbusState"_s), u"已发送，可查询核对"_s);
    QCOMPARE(ui.property(u"sbusChoice1"_s, "displayText").toString(), u"CH16"_s);

    // Forgotten with its link.
    ui.pod().drop();
    QTRY_VERIFY_WITH_TIMEOUT(!isReadable(), kWaitMs);
    QVERIFY(ui.connectPod());
    ui.play(u"click sbusSetButton"_s);
    EXPECT_FRAMES(ui.pod(), u"1e 00 00 00"_s);
}

void TestDrawerPages::controlsFollowTheModel_data()
{
    QTest::addColumn<int>("model");
    QTest::addColumn<QStringList>("hidden");
    QTest::addColumn<int>("zoomFactors");
    const QStringList thermal = {u"rcxrow"_s, u"hzhbutton"_s, u"wcbutton"_s};
    QTest::newRow("B7N") << 45
                         << thermal + QStringList{u"continuousdistancerow"_s, u"laserlightrow"_s}
                         << 30;
    QTest::newRow("Baobab") << 46 << thermal + QStringList{u"laserlightrow"_s} << 40;
    QTest::newRow("Redwood") << 36 << QStringList{u"b7nsettinglayout"_s} << 30;
    QTest::newRow("Alder") << 1 << QStringList{u"b7nsettinglayout"_s} << 30;
    QTest::newRow("without a name") << 99 << QStringList() << 40;
    QTest::newRow("not told") << -1 << QStringList() << 40;
}

void TestDrawerPages::controlsFollowTheModel()
{
    QFETCH(int, model);
    QFETCH(QStringList, hidden);
    QFETCH(int, zoomFactors);
    UiHarness ui;
    const double height = ui.item(u"podControlsTools"_s)->height();
    if (model >= 0) {
        QByteArray reply = QByteArray::fromHex("ee060043000102000307");
        reply[4] = char(model);
        ui.pod().send(sealed(reply));
        QTRY_VERIFY_WITH_TIMEOUT(!ui.backend().versionno().isEmpty(), kWaitMs);
    }
    const auto check = [&](const QStringList &names) {
        for (const QString &name : names)
            QVERIFY2(ui.item(name)->isVisible() != hidden.contains(name), qPrintable(name));
    };
    check({u"hzhbutton"_s, u"wcbutton"_s});
    // A hidden button leaves no gap.
    constexpr double kTwoButtons = 2 * (40 + 8);
    QTRY_COMPARE_WITH_TIMEOUT(ui.item(u"podControlsTools"_s)->height(),
                              hidden.contains(u"wcbutton"_s) ? height - kTwoButtons : height,
                              kWaitMs);
    ui.openPage(Info);
    check({u"b7nsettinglayout"_s});
    ui.openPage(Functions);
    check({u"continuousdistancerow"_s, u"laserlightrow"_s, u"rcxrow"_s});
    QCOMPARE(ui.property(u"kjgrowCombo"_s, "count").toInt(), zoomFactors);
}

void TestDrawerPages::languageChangesEverythingAndIsKept()
{
    UiHarness ui;
    const auto shown = [&](const QString &box) {
        return ui.property(box, "displayText").toString();
    };
    ui.play(u"page 2; pick followframesizecombo 0"_s);
    QCOMPARE(shown(u"followframesizecombo"_s), u"自动"_s);
    ui.play(u"page 1; pick comboboxlanguage 1"_s);
    QCOMPARE(ui.text(u"rebootButton"_s), u"Reboot"_s);
    QCOMPARE(ui.property(u"rebootButton"_s, "tip").toString(), u"Restart the gimbal"_s);
    QCOMPARE(ui.property(u"photobutton"_s, "tip").toString(), u"Take photo"_s);
    QCOMPARE(ui.text(u"controlconnectstate"_s), u"Connected"_s);
    QCOMPARE(ui.backend().languageIndex(), 1);
    QCOMPARE(ui.setting(u"General/languageIndex"_s).toInt(), 1);
    ui.openPage(Functions); // the choice outlives the list in the other language
    QCOMPARE(shown(u"followframesizecombo"_s), u"Auto"_s);
    static const QRegularExpression chinese(u"[\\x{4e00}-\\x{9fff}]"_s);
    for (int page = Info; page <= Firmware; ++page) {
        ui.openPage(Page(page));
        for (const QQuickItem *item :
             ui.item(u"podControlDrawer"_s)->findChildren<QQuickItem *>()) {
            for (const char *name : {"text", "label", "tip", "displayText", "placeholderText"}) {
                const QString text = item->property(name).toString();
                QVERIFY2(text == u"中文" || !text.contains(chinese), qPrintable(text));
            }
        }
    }
}

void TestDrawerPages::speedIsWrittenWhenTheHandleIsReleased()
{
    UiHarness ui;
    const QString slider = u"podsportspeedslider"_s;
    ui.play(u"page 1; press "_s + slider);
    const QPoint end = ui.at(slider, {ui.item(slider)->width() - 1, 15});
    QTest::mouseMove(ui.window(), end);
    QTRY_COMPARE_WITH_TIMEOUT(ui.property(slider, "value").toInt(), 255, kWaitMs);
    QCOMPARE(ui.backend().moveSpeed(), 128);
    QTest::mouseRelease(ui.window(), Qt::LeftButton, {}, end);
    QCOMPARE(ui.backend().moveSpeed(), 255);
}

void TestDrawerPages::keyboardReturnsToTheVideo()
{
    UiHarness ui;
    ui.play(u"page 1; type pitchInput 5"_s);
    QVERIFY(!ui.video()->hasActiveFocus());
    ui.play(u"click informationButton"_s);
    QVERIFY(ui.video()->hasActiveFocus());
    QVERIFY(ui.property({}, "isPodInfoValuesShow").toBool());
    // The keys belong to the video under an open list, too; Escape closes the list.
    ui.play(u"click comboboxfrequency"_s);
    const auto *list = ui.property(u"comboboxfrequency"_s, "popup").value<QObject *>();
    QTRY_VERIFY_WITH_TIMEOUT(list->property("opened").toBool(), kWaitMs);
    QVERIFY(ui.video()->hasActiveFocus());
    ui.play(u"tap Escape"_s);
    QTRY_VERIFY_WITH_TIMEOUT(!list->property("visible").toBool(), kWaitMs);
}

void TestDrawerPages::joystickPageAssigns()
{
    UiHarness ui;
    const auto *const joystick = ui.property(u"podControlDrawer"_s, "joystick").value<QObject *>();
    if (!joystick || !joystick->property("available").toBool())
        QSKIP("no joystick support in this build");
    ui.play(u"page 4; pick axisFunction_y 2; click axisInverted_y; pick btn2_1 3; "
            "pick combo2_2 10"_s);
    QCOMPARE(ui.property(u"axisFunction_y"_s, "displayText").toString(), u"俯仰角"_s);
    const auto entry = [&](const char *list, int index) {
        return joystick->property(list).value<QList<int>>().at(index);
    };
    QCOMPARE(entry("axisFunctions", 1), 2);
    QVERIFY(joystick->property("axisInverted").value<QList<bool>>().at(1));
    QCOMPARE(entry("shortActions", 1), 2);
    QCOMPARE(entry("longActions", 1), 9);
    ui.play(u"page 2; click osdshowrowSwitch"_s);
    QVERIFY(!joystick->property("osdOn").toBool());
}

void TestDrawerPages::planFollowsThePod()
{
    UiHarness ui;
    ui.openPage(Positioning);
    QCOMPARE(ui.text(u"latitudeField"_s), u"-"_s);
    ui.play(u"click mapStartButton"_s);
    QTRY_COMPARE_WITH_TIMEOUT(ui.text(u"planNotice"_s), u"吊舱未上报目标位置\n吊舱未上报飞机位置"_s,
                              kWaitMs);
    // 22.5000000 and -1.0000000 degrees in units of 1e-7.
    ui.pod().send(statusFrame({{13, 0x40},
                               {14, 0x3a},
                               {15, 0x69},
                               {16, 0x0d},
                               {17, 0x80},
                               {18, 0x69},
                               {19, 0x67},
                               {20, 0xff}}));
    QTRY_COMPARE_WITH_TIMEOUT(ui.text(u"latitudeField"_s), u"22.500000"_s, kWaitMs);
    QCOMPARE(ui.text(u"longitudeField"_s), u"-1.000000"_s);
    const auto centre = [&](const char *axis) {
        return ui.property(u"planView"_s, axis).toDouble();
    };
    QCOMPARE(centre("centreLatitude"), 22.5);
    // No aircraft position, no distance.
    QCOMPARE(ui.text(u"distanceField"_s), u"-"_s);
    ui.play(u"click planeCenterButton"_s);
    QCOMPARE(centre("centreLatitude"), 0.0);
    ui.play(u"click targetCenterButton"_s);
    QCOMPARE(centre("centreLongitude"), -1.0);
    ui.play(u"click mapStartButton"_s);
    QVERIFY(!ui.property(u"mapTimer"_s, "running").toBool());
}

void TestDrawerPages::onlineUpgradeClosesTheLinkFirst()
{
    UiHarness ui;
    const auto mayStart = [&] { return ui.property(u"updateButton"_s, "enabled").toBool(); };
    ui.play(u"page 6; click updateButton"_s);
    QVERIFY(!ui.backend().isConnected());
    QCOMPARE(ui.backend().message(), u"已关闭串口/TCP连接"_s);
    // Leaving the page does not strand the run; "complete" ends it.
    ui.play(u"page 0; page 6"_s);
    QVERIFY(!mayStart());
    ui.play(u"click completeButton"_s);
    QVERIFY(mayStart());
    // The end mark of a transfer is beyond 100.
    ui.backend().updateProgress(101);
    QCOMPARE(ui.property(u"progressBackground"_s, "shown").toDouble(), 100.0);
    QTRY_COMPARE_WITH_TIMEOUT(ui.text(u"statusText"_s), u"固件已发送完成"_s, kWaitMs);
}

void TestDrawerPages::fileUrlBecomesAPath()
{
    UiHarness ui(UiHarness::kNoStream, false);
    ui.openPage(Firmware);
    const std::pair<QString, QString> cases[] = {
        {u"file:///home/a/fw.bin"_s, u"/home/a/fw.bin"_s},
        {u"file:///C:/a/fw.bin"_s, u"C:/a/fw.bin"_s},
        {u"file:///a/%E5%9B%BA%20b.bin"_s, u"/a/固 b.bin"_s},
    };
    for (const auto &[url, expected] : cases) {
        QString path;
        QVERIFY(QMetaObject::invokeMethod(ui.object(u"localUpgradeForm"_s), "localPath",
                                          Q_RETURN_ARG(QString, path), Q_ARG(QString, url)));
        QCOMPARE(path, expected);
    }
}

QTEST_MAIN(TestDrawerPages)
#include "tst_drawer_pages.moc"
