#include "DrawerUi.h"

#include <QRegularExpression>
#include <QTest>

#include <functional>

using namespace Qt::StringLiterals;

namespace {

constexpr int kWaitMs = 10000;
constexpr int kSbusChannels = 24;

QByteArray versionReply(int model)
{
    return sealed(QByteArray::fromHex("ee060000") + char(model)
                  + QByteArray::fromHex("0102000307"));
}

QByteArray sbusFrame(int type, const std::function<int(int)> &channel)
{
    QByteArray frame = QByteArray::fromHex("ee0000");
    frame[1] = char(type);
    for (int i = 0; i < kSbusChannels; ++i)
        frame += char(channel(i));
    return sealed(frame);
}

QList<QQuickItem *> everyItem(QQuickItem *parent)
{
    QList<QQuickItem *> items = parent->childItems();
    for (QQuickItem *child : parent->childItems())
        items += everyItem(child);
    return items;
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
    void refusalIsToldInTheChosenLanguage();
    void tcpConnectsStoresAndDisconnects();
    void failedConnectionIsTold();
    void streamAddressIsStoredAndApplied();
    void encoderFormShowsThePodAndWritesItBack();
    void unreadSbusMapIsQueriedInsteadOfWritten();
    void sbusMapKeepsTheEntriesItDoesNotShow();
    void sbusMapIsForgottenWithItsLink();
    void rowsFollowTheModel_data();
    void rowsFollowTheModel();
    void languageChangesEveryPageAndIsKept();
    void speedIsWrittenWhenTheHandleIsReleased();
    void keyboardReturnsToTheVideo();
    void joystickPageAssigns();
    void planFollowsThePod();
    void onlineUpgradeClosesTheLinkFirst();
    void fileUrlBecomesAPath_data();
    void fileUrlBecomesAPath();
};

void TestDrawerPages::withoutLinkNothingIsTakenOver()
{
    DrawerUi ui(UiHarness::kNoStream, false);
    openPage(ui, Functions);
    ui.click(u"laserlightrowSwitch"_s);
    QTRY_COMPARE_WITH_TIMEOUT(boxText(ui), u"未连接，无法发送数据"_s, kWaitMs);
    QVERIFY(!ui.property(u"laserlightrowSwitch"_s, "checked").toBool());
    QVERIFY(!ui.property(u"podControlDrawer"_s, "isLaserLight").toBool());
    ui.click(u"dialogButton"_s);
    QTRY_VERIFY_WITH_TIMEOUT(!ui.property(u"customDialog"_s, "visible").toBool(), kWaitMs);
    pick(ui, u"followframesizecombo"_s, 2);
    QTRY_COMPARE_WITH_TIMEOUT(boxText(ui), u"未连接，无法发送数据"_s, kWaitMs);
    QCOMPARE(ui.property(u"followframesizecombo"_s, "currentIndex").toInt(), -1);
}

void TestDrawerPages::refusalIsToldInTheChosenLanguage()
{
    DrawerUi ui(UiHarness::kNoStream + "[%General]\nlanguageIndex=1\n", false);
    openPage(ui, Functions);
    ui.click(u"laserlightrowSwitch"_s);
    QTRY_COMPARE_WITH_TIMEOUT(boxText(ui), u"Not connected, nothing was sent"_s, kWaitMs);
}

void TestDrawerPages::tcpConnectsStoresAndDisconnects()
{
    DrawerUi ui(UiHarness::kNoStream, false);
    openPage(ui, Info);
    typeInto(ui, u"ipInput"_s, u"127.0.0.01"_s);
    typeInto(ui, u"portInput"_s, QString::number(ui.pod().port()));
    ui.click(u"tcpButton"_s);
    QCOMPARE(ui.property(u"statusText"_s, "text").toString(),
             u"正在连接 TCP: 127.0.0.1:%1"_s.arg(ui.pod().port()));
    QTRY_COMPARE_WITH_TIMEOUT(ui.property(u"statusText"_s, "text").toString(), u"TCP 连接成功"_s,
                              kWaitMs);
    QCOMPARE(ui.property(u"tcpButton"_s, "text").toString(), u"断开"_s);
    QCOMPARE(ui.property(u"comButton"_s, "text").toString(), u"连接"_s);
    QCOMPARE(ui.setting(u"TCP/deviceIp"_s).toString(), u"127.0.0.1"_s);
    QCOMPARE(ui.setting(u"TCP/devicePort"_s).toInt(), int(ui.pod().port()));

    // The greeting survives the change of page.
    ui.click(u"pageButton%1"_s.arg(Gimbal));
    const QStringList greeting = ui.pod().waitForFrames(2);
    QCOMPARE(greeting.size(), 2);
    QVERIFY2(greeting.at(0).startsWith(u"ee 83 0a "_s), qPrintable(greeting.at(0)));
    QCOMPARE(greeting.at(1), shortFrame(0x1e, 0x02));

    ui.click(u"pageButton%1"_s.arg(Info));
    ui.click(u"tcpButton"_s);
    QCOMPARE(ui.property(u"statusText"_s, "text").toString(), u"TCP 连接已断开"_s);
    QVERIFY(!ui.backend().isConnected());
    QCOMPARE(ui.property(u"tcpButton"_s, "text").toString(), u"连接"_s);
}

void TestDrawerPages::failedConnectionIsTold()
{
    DrawerUi ui(UiHarness::kNoStream, false);
    openPage(ui, Info);
    typeInto(ui, u"portslist"_s, u"/dev/no-such-port"_s);
    ui.click(u"comButton"_s);
    QTRY_VERIFY_WITH_TIMEOUT(boxText(ui).startsWith(u"串口连接失败"_s), kWaitMs);
    QCOMPARE(ui.property(u"statusText"_s, "text").toString(), u"串口连接失败"_s);
    QCOMPARE(ui.setting(u"COM/baudRate"_s).toInt(), 115200);
}

void TestDrawerPages::streamAddressIsStoredAndApplied()
{
    DrawerUi ui;
    openPage(ui, Info);
    const QString address = u"udp://127.0.0.1:9"_s;
    ui.object(u"urlInput"_s)->setProperty("text", address);
    ui.click(u"urlButton"_s);
    QCOMPARE(ui.property(u"statusText"_s, "text").toString(), u"URL 已更新: "_s + address);
    QCOMPARE(ui.setting(u"RTSP/rtspIp"_s).toString(), address);
    QCOMPARE(ui.property({}, "rtspUrl").toString(), address);
}

void TestDrawerPages::encoderFormShowsThePodAndWritesItBack()
{
    DrawerUi ui;
    openPage(ui, Info);
    ui.pod().send(longFrame("ee09000a0000050402010a000001"));
    QTRY_COMPARE_WITH_TIMEOUT(ui.property(u"ipaddresstext"_s, "text").toString(), u"10.00.00.05"_s,
                              kWaitMs);
    QCOMPARE(ui.property(u"gatewaytext"_s, "text").toString(), u"10.00.00.01"_s);
    QCOMPARE(ui.property(u"bitratecombo"_s, "displayText").toString(), u"1.5Mbit/s"_s);
    QCOMPARE(ui.property(u"resolutioncombo"_s, "displayText").toString(), u"1280x720"_s);
    QCOMPARE(ui.property(u"encodetypecombo"_s, "displayText").toString(), u"H.264"_s);
    typeInto(ui, u"gatewaytext"_s, u"10.0.0.254"_s);
    pick(ui, u"encodetypecombo"_s, 1);
    ui.click(u"b7nSetButton"_s);
    QCOMPARE(ui.pod().waitForFrames(1),
             QStringList{shown(longFrame("ee87000a0000050402020a0000fe"))});
    QTRY_COMPARE_WITH_TIMEOUT(boxText(ui), u"重启后生效"_s, kWaitMs);
}

void TestDrawerPages::unreadSbusMapIsQueriedInsteadOfWritten()
{
    DrawerUi ui;
    openPage(ui, Sbus);
    QVERIFY(!ui.property(u"sbusChoice0"_s, "enabled").toBool());
    ui.click(u"sbusSetButton"_s);
    QCOMPARE(ui.pod().waitForFrames(1), QStringList{shortFrame(0x1e, 0x00)});
    QTRY_VERIFY_WITH_TIMEOUT(boxText(ui).contains(u"未写入"_s), kWaitMs);
    QTest::keyClick(ui.window(), Qt::Key_Escape);
    // The pod keeps silent.
    QTRY_COMPARE_WITH_TIMEOUT(boxText(ui), u"读取超时"_s, kWaitMs);
}

void TestDrawerPages::sbusMapKeepsTheEntriesItDoesNotShow()
{
    DrawerUi ui;
    openPage(ui, Sbus);
    const auto read = [](int i) { return i == 12 ? 18 : i < 12 ? i : 100 + i; };
    ui.pod().send(sbusFrame(0x04, read));
    QTRY_COMPARE_WITH_TIMEOUT(ui.property(u"sbusChoice11"_s, "displayText").toString(), u"CH11"_s,
                              kWaitMs);
    QCOMPARE(ui.property(u"sbusChoice0"_s, "displayText").toString(), u"null"_s);
    QCOMPARE(ui.property(u"sbusChoice12"_s, "displayText").toString(), u"18"_s);
    pick(ui, u"sbusChoice1"_s, 16);
    ui.click(u"sbusSetButton"_s);
    QCOMPARE(ui.pod().waitForFrames(1),
             QStringList{shown(sbusFrame(0x82, [&](int i) { return i == 1 ? 16 : read(i); }))});
}

void TestDrawerPages::sbusMapIsForgottenWithItsLink()
{
    DrawerUi ui;
    openPage(ui, Sbus);
    ui.pod().send(sbusFrame(0x04, [](int) { return 1; }));
    QTRY_VERIFY_WITH_TIMEOUT(ui.property(u"sbusChoice0"_s, "enabled").toBool(), kWaitMs);
    ui.pod().drop();
    QTRY_VERIFY_WITH_TIMEOUT(!ui.property(u"sbusChoice0"_s, "enabled").toBool(), kWaitMs);
    QVERIFY(ui.connectPod());
    ui.click(u"sbusSetButton"_s);
    QCOMPARE(ui.pod().waitForFrames(1), QStringList{shortFrame(0x1e, 0x00)});
}

void TestDrawerPages::rowsFollowTheModel_data()
{
    QTest::addColumn<int>("model");
    QTest::addColumn<QStringList>("hidden");
    QTest::addColumn<int>("zoomFactors");
    const QStringList none = {};
    QTest::newRow("B7N") << 45
                         << QStringList{u"continuousdistancerow"_s, u"laserlightrow"_s, u"rcxrow"_s}
                         << 30;
    QTest::newRow("Baobab") << 46 << QStringList{u"laserlightrow"_s, u"rcxrow"_s} << 40;
    QTest::newRow("Redwood") << 36 << QStringList{u"b7nsettinglayout"_s} << 30;
    QTest::newRow("Alder") << 1 << QStringList{u"b7nsettinglayout"_s} << 30;
    QTest::newRow("without a name") << 99 << none << 40;
    QTest::newRow("not told") << -1 << none << 40;
}

void TestDrawerPages::rowsFollowTheModel()
{
    QFETCH(int, model);
    QFETCH(QStringList, hidden);
    QFETCH(int, zoomFactors);
    DrawerUi ui;
    if (model >= 0) {
        ui.pod().send(versionReply(model));
        QTRY_VERIFY_WITH_TIMEOUT(!ui.backend().versionno().isEmpty(), kWaitMs);
    }
    const auto check = [&](const QString &row) {
        QCOMPARE(ui.item(row)->isVisible(), !hidden.contains(row));
    };
    openPage(ui, Info);
    check(u"b7nsettinglayout"_s);
    openPage(ui, Functions);
    check(u"continuousdistancerow"_s);
    check(u"laserlightrow"_s);
    check(u"rcxrow"_s);
    QCOMPARE(ui.property(u"kjgrowCombo"_s, "count").toInt(), zoomFactors);
}

void TestDrawerPages::languageChangesEveryPageAndIsKept()
{
    DrawerUi ui;
    openPage(ui, Functions);
    pick(ui, u"followframesizecombo"_s, 0);
    QCOMPARE(ui.property(u"followframesizecombo"_s, "displayText").toString(), u"自动"_s);
    openPage(ui, Gimbal);
    pick(ui, u"comboboxlanguage"_s, 1);
    QCOMPARE(ui.property(u"rebootButton"_s, "text").toString(), u"Reboot"_s);
    QCOMPARE(ui.property(u"rebootButton"_s, "tip").toString(), u"Restart the gimbal"_s);
    QCOMPARE(ui.setting(u"General/languageIndex"_s).toInt(), 1);
    QCOMPARE(ui.property({}, "oldLanguageIndex").toInt(), 1);
    openPage(ui, Functions);
    // The choice outlives the list in the other language.
    QCOMPARE(ui.property(u"followframesizecombo"_s, "displayText").toString(), u"Auto"_s);
    static const QRegularExpression chinese(u"[\\x{4e00}-\\x{9fff}]"_s);
    for (int page = Info; page <= Firmware; ++page) {
        openPage(ui, Page(page));
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
    DrawerUi ui;
    openPage(ui, Gimbal);
    const QString slider = u"podsportspeedslider"_s;
    const QPoint end = ui.at(slider, {ui.item(slider)->width() - 1, 15});
    ui.press(slider);
    QTest::mouseMove(ui.window(), end);
    QTRY_COMPARE_WITH_TIMEOUT(ui.property(slider, "value").toInt(), 255, kWaitMs);
    QCOMPARE(ui.backend().moveSpeed(), 128);
    QTest::mouseRelease(ui.window(), Qt::LeftButton, {}, end);
    QCOMPARE(ui.backend().moveSpeed(), 255);
}

void TestDrawerPages::keyboardReturnsToTheVideo()
{
    DrawerUi ui;
    openPage(ui, Gimbal);
    typeInto(ui, u"pitchInput"_s, u"5"_s);
    QVERIFY(!ui.video()->hasActiveFocus());
    ui.click(u"informationButton"_s);
    QVERIFY(ui.video()->hasActiveFocus());
    QVERIFY(ui.property({}, "isPodInfoValuesShow").toBool());
    typeInto(ui, u"pitchInput"_s, u"6"_s);
    QTest::keyClick(ui.window(), Qt::Key_Return);
    QVERIFY(ui.video()->hasActiveFocus());
    QCOMPARE(ui.pod().waitForFrames(1), QStringList{shown(longFrame("ee84003c000000"))});
    pick(ui, u"comboboxfrequency"_s, 0);
    QTRY_VERIFY_WITH_TIMEOUT(ui.video()->hasActiveFocus(), kWaitMs);
    // The keys belong to the video under an open list, too; Escape closes the list.
    ui.click(u"comboboxfrequency"_s);
    const auto *list = ui.property(u"comboboxfrequency"_s, "popup").value<QObject *>();
    QTRY_VERIFY_WITH_TIMEOUT(list->property("opened").toBool(), kWaitMs);
    QVERIFY(ui.video()->hasActiveFocus());
    QTest::keyClick(ui.window(), Qt::Key_Escape);
    QTRY_VERIFY_WITH_TIMEOUT(!list->property("visible").toBool(), kWaitMs);
}

void TestDrawerPages::joystickPageAssigns()
{
    DrawerUi ui;
    const auto *const joystick = ui.property(u"podControlDrawer"_s, "joystick").value<QObject *>();
    if (!joystick || !joystick->property("available").toBool())
        QSKIP("no joystick support in this build");
    openPage(ui, Joystick);
    pick(ui, u"axisFunction_y"_s, 2);
    QCOMPARE(ui.property(u"axisFunction_y"_s, "displayText").toString(), u"俯仰角"_s);
    ui.click(u"axisInverted_y"_s);
    pick(ui, u"btn2_1"_s, 3);
    pick(ui, u"combo2_2"_s, 10);
    const auto entry = [&](const char *list, int index) {
        return joystick->property(list).value<QList<int>>().at(index);
    };
    QCOMPARE(entry("axisFunctions", 1), 2);
    QVERIFY(joystick->property("axisInverted").value<QList<bool>>().at(1));
    QCOMPARE(entry("shortActions", 1), 2);
    QCOMPARE(entry("longActions", 1), 9);
    openPage(ui, Functions);
    ui.click(u"osdshowrowSwitch"_s);
    QVERIFY(!joystick->property("osdOn").toBool());
}

void TestDrawerPages::planFollowsThePod()
{
    DrawerUi ui;
    openPage(ui, Positioning);
    QCOMPARE(ui.property(u"latitudeField"_s, "text").toString(), u"-"_s);
    ui.click(u"mapStartButton"_s);
    QTRY_COMPARE_WITH_TIMEOUT(ui.property(u"planNotice"_s, "text").toString(),
                              u"吊舱未上报目标位置\n吊舱未上报飞机位置"_s, kWaitMs);
    QByteArray status = QByteArray::fromHex("ee0100") + QByteArray(25, '\0');
    // 22.5000000 and -1.0000000 degrees in units of 1e-7.
    status.replace(13, 8, QByteArray::fromHex("403a690d806967ff"));
    ui.pod().send(sealed(status));
    QTRY_COMPARE_WITH_TIMEOUT(ui.property(u"latitudeField"_s, "text").toString(), u"22.500000"_s,
                              kWaitMs);
    QCOMPARE(ui.property(u"longitudeField"_s, "text").toString(), u"-1.000000"_s);
    QCOMPARE(ui.property(u"planView"_s, "centreLatitude").toDouble(), 22.5);
    // No aircraft position, no distance.
    QCOMPARE(ui.property(u"distanceField"_s, "text").toString(), u"-"_s);
    ui.click(u"planeCenterButton"_s);
    QCOMPARE(ui.property(u"planView"_s, "centreLatitude").toDouble(), 0.0);
    ui.click(u"targetCenterButton"_s);
    QCOMPARE(ui.property(u"planView"_s, "centreLongitude").toDouble(), -1.0);
    ui.click(u"mapStartButton"_s);
    QVERIFY(!ui.property(u"mapTimer"_s, "running").toBool());
}

void TestDrawerPages::onlineUpgradeClosesTheLinkFirst()
{
    DrawerUi ui;
    openPage(ui, Firmware);
    ui.click(u"updateButton"_s);
    QVERIFY(!ui.backend().isConnected());
    QCOMPARE(ui.backend().message(), u"已关闭串口/TCP连接"_s);
    QVERIFY(!ui.property(u"updateButton"_s, "enabled").toBool());
    // Leaving the page does not strand the run; "complete" ends it.
    openPage(ui, Info);
    openPage(ui, Firmware);
    QVERIFY(!ui.property(u"updateButton"_s, "enabled").toBool());
    ui.click(u"completeButton"_s);
    QVERIFY(ui.property(u"updateButton"_s, "enabled").toBool());
    // The end mark of a transfer is beyond 100.
    ui.backend().updateProgress(101);
    QCOMPARE(ui.property(u"progressBackground"_s, "shown").toDouble(), 100.0);
    QTRY_COMPARE_WITH_TIMEOUT(ui.property(u"statusText"_s, "text").toString(), u"固件已发送完成"_s,
                              kWaitMs);
}

void TestDrawerPages::fileUrlBecomesAPath_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("path");
    QTest::newRow("rooted") << u"file:///home/a/fw.bin"_s << u"/home/a/fw.bin"_s;
    QTest::newRow("drive letter") << u"file:///C:/a/fw.bin"_s << u"C:/a/fw.bin"_s;
    QTest::newRow("encoded") << u"file:///a/%E5%9B%BA%20b.bin"_s << u"/a/固 b.bin"_s;
}

void TestDrawerPages::fileUrlBecomesAPath()
{
    QFETCH(QString, url);
    DrawerUi ui(UiHarness::kNoStream, false);
    openPage(ui, Firmware);
    QString path;
    QVERIFY(QMetaObject::invokeMethod(ui.object(u"localUpgradeForm"_s), "localPath",
                                      Q_RETURN_ARG(QString, path), Q_ARG(QString, url)));
    QTEST(path, "path");
}

QTEST_MAIN(TestDrawerPages)
#include "tst_drawer_pages.moc"
