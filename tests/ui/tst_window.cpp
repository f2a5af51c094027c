#include "SilentListener.h"
#include "UiHarness.h"

#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace {

constexpr int kWaitMs = 10000;
constexpr int kTurnMs = 1000; // into a connect that takes three times as long

/// The map of 24 channels, of which one is told.
QByteArray sbusFrame(const char *head, int channel, char value)
{
    QByteArray frame = QByteArray::fromHex(head);
    for (int i = 0; i < 24; ++i)
        frame += i == channel ? value : char(i < 12 ? i : 100 + i);
    return sealed(frame);
}

} // namespace

/// What the window and its drawer make of the pod's replies, of the link, of the video and of the
/// operator's settings.
class TestWindow : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { UiHarness::prepare(); }
    void init() { UiHarness::failOnAnyWarning(); }
    void followsThePod();
    void settingsAreRead();
    void statusLineTellsErrorsAndVideoState();
    void titleBarButtons();
    void withoutLinkNothingIsTakenOver();
    void linkFormsConnectStoreAndTell();
    void pageTurnedWhileConnecting();
    void encoderFormShowsThePodAndWritesItBack();
    void sbusMapIsWrittenOnlyAsRead();
    void controlsFollowTheModel();
    void languageChangesEverythingAndIsKept();
    void planFollowsThePod();
};

void TestWindow::followsThePod()
{
    UiHarness ui;
    ui.window()->setProperty("isPodInfoValuesShow", true);
    const auto recordIcon = [&] {
        return ui.property(u"recordbutton"_s, "icon").toUrl().fileName();
    };
    QCOMPARE(recordIcon(), u"record.png"_s);
    // Yaw -1234 tenths, zoom step 3, tracking, recording.
    ui.pod().send(statusFrame({{9, 0x2e}, {10, 0xfb}, {11, 3}, {12, 1}, {25, 1}}));
    QTRY_COMPARE_WITH_TIMEOUT(ui.text(u"yawValue"_s), u"-123.4"_s, kWaitMs);
    QCOMPARE(ui.text(u"zoomText"_s), u"3X"_s);
    QCOMPARE(ui.property(u"imageLoader"_s, "source").toUrl().fileName(), u"tingzhigenzong.png"_s);
    QCOMPARE(recordIcon(), u"pause-solid.svg"_s);
    ui.play(u"click recordbutton"_s);
    EXPECT_FRAMES(ui.pod(), u"12 02 00 00"_s);
    // A pod that falls silent is marked.
    const auto colour = [&] { return ui.property(u"yawValue"_s, "color").toString(); };
    const QString fresh = colour();
    QTRY_VERIFY_WITH_TIMEOUT(colour() != fresh, kWaitMs);
    ui.pod().send(statusFrame({}));
    QTRY_COMPARE_WITH_TIMEOUT(colour(), fresh, kWaitMs);
}

void TestWindow::settingsAreRead()
{
    const UiHarness ui("[RTSP]\nrtspIp=bad://stream\n[TCP]\ndeviceIp=10.1.2.3\ndevicePort=4001\n"
                       "[COM]\nbaudRate=57600\n[%General]\nlanguageIndex=1\n",
                       false);
    QVariantList read;
    for (const char *name :
         {"rtspUrl", "oldDeviceIp", "oldDevicePort", "oldBaudRate", "oldLanguageIndex"})
        read.append(ui.property({}, name));
    QCOMPARE(read, (QVariantList{u"bad://stream"_s, u"10.1.2.3"_s, 4001, 57600, 1}));
    QCOMPARE(ui.video()->source(), u"bad://stream"_s);
}

void TestWindow::statusLineTellsErrorsAndVideoState()
{
    UiHarness ui(UiHarness::kNoStream, false);
    const auto line = [&] { return ui.text(u"statusText"_s); };
    ui.play(u"click photobutton"_s);
    QCOMPARE(line(), u"错误: 未连接，无法发送数据"_s);
    emit ui.video()->errorOccurred(u"坏了"_s);
    QCOMPARE(line(), u"错误: 坏了"_s);
    QTRY_COMPARE_WITH_TIMEOUT(line(), u"状态: "_s + ui.video()->status(), kWaitMs);
    emit ui.video()->connectionLost();
    QCOMPARE(line(), u"连接丢失，重连中..."_s);
    emit ui.video()->connectionRestored();
    QCOMPARE(line(), u"连接恢复"_s);
}

void TestWindow::titleBarButtons()
{
    UiHarness ui;
    const auto visibility = [&] { return ui.window()->visibility(); };
    ui.play(u"click maxButton"_s);
    QTRY_COMPARE_WITH_TIMEOUT(visibility(), QWindow::Maximized, kWaitMs);
    ui.play(u"click maxButton"_s);
    QTRY_COMPARE_WITH_TIMEOUT(visibility(), QWindow::Windowed, kWaitMs);
    ui.window()->showMaximized(); // by the window system: the button restores now
    ui.play(u"click maxButton"_s);
    QTRY_COMPARE_WITH_TIMEOUT(visibility(), QWindow::Windowed, kWaitMs);
    const QSignalSpy quit(qmlEngine(ui.window()), &QQmlEngine::quit);
    ui.play(u"click closeButton"_s);
    QCOMPARE(quit.count(), 1);
}

void TestWindow::withoutLinkNothingIsTakenOver()
{
    UiHarness ui(UiHarness::kNoStream + "[%General]\nlanguageIndex=1\n", false);
    ui.play(u"page 2; click laserlightrowSwitch"_s);
    QTRY_COMPARE_WITH_TIMEOUT(ui.boxText(), u"Not connected, nothing was sent"_s, kWaitMs);
    QVERIFY(!ui.property(u"laserlightrowSwitch"_s, "checked").toBool());
    ui.play(u"dismiss; pick followframesizecombo 2"_s);
    QTRY_VERIFY_WITH_TIMEOUT(!ui.boxText().isEmpty(), kWaitMs);
    QCOMPARE(ui.property(u"followframesizecombo"_s, "currentIndex").toInt(), -1);
}

void TestWindow::linkFormsConnectStoreAndTell()
{
    UiHarness ui(UiHarness::kNoStream, false);
    const QString port = QString::number(ui.pod().port());
    ui.play(u"page 0; type ipInput 127.0.0.01; type portInput %1; click tcpButton"_s.arg(port));
    QTRY_COMPARE_WITH_TIMEOUT(ui.text(u"statusText"_s), u"TCP 连接成功"_s, kWaitMs);
    QCOMPARE(ui.setting(u"TCP/deviceIp"_s).toString(), u"127.0.0.1"_s);
    QCOMPARE(ui.setting(u"TCP/devicePort"_s).toString(), port);
    ui.play(u"page 1"_s); // which the greeting survives
    const QStringList greeting = ui.pod().next(2).split(u", "_s);
    QVERIFY2(greeting.first().startsWith(u"ee 83 0a "_s), qPrintable(greeting.first()));
    QCOMPARE(greeting.last(), u"1e 02 00 00"_s);
    ui.play(u"page 0; click tcpButton"_s);
    QCOMPARE(ui.text(u"statusText"_s), u"TCP 连接已断开"_s);
    QVERIFY(!ui.backend().isConnected());
    ui.play(u"type portslist /dev/no-such-port; click comButton"_s);
    QTRY_VERIFY_WITH_TIMEOUT(ui.boxText().startsWith(u"串口连接失败"_s), kWaitMs);
    QCOMPARE(ui.setting(u"COM/baudRate"_s).toInt(), 115200);
}

void TestWindow::pageTurnedWhileConnecting()
{
    const SilentListener silent;
    UiHarness ui("[RTSP]\nrtspIp=\n[TCP]\ndeviceIp=127.0.0.1\ndevicePort="
                     + QByteArray::number(silent.port()),
                 false);
    // Within the wait for the silent pod, which serves events.
    bool turned = false;
    QTimer::singleShot(kTurnMs, ui.window(), [&] {
        turned = ui.backend().connectionType() == u"TCP"_s && !ui.backend().isConnected();
        ui.play(u"page 1"_s);
    });
    ui.play(u"page 0; click tcpButton"_s);
    QTRY_VERIFY_WITH_TIMEOUT(ui.boxText().contains(u"TCP 连接失败"_s), kWaitMs);
    QVERIFY(turned);
}

void TestWindow::encoderFormShowsThePodAndWritesItBack()
{
    UiHarness ui;
    ui.play(u"page 0"_s);
    ui.pod().send(sealed(QByteArray::fromHex("ee09000a0000050402010a000001")));
    QTRY_COMPARE_WITH_TIMEOUT(ui.text(u"ipaddresstext"_s), u"10.00.00.05"_s, kWaitMs);
    QCOMPARE(ui.property(u"bitratecombo"_s, "displayText").toString(), u"1.5Mbit/s"_s);
    QCOMPARE(ui.property(u"resolutioncombo"_s, "displayText").toString(), u"1280x720"_s);
    ui.play(u"type gatewaytext 10.0.0.254; pick encodetypecombo 1; click b7nSetButton"_s);
    EXPECT_FRAMES(ui.pod(), u"ee 87 0f 0a 00 00 05 04 02 02 0a 00 00 fe a3"_s);
}

void TestWindow::sbusMapIsWrittenOnlyAsRead()
{
    UiHarness ui;
    ui.play(u"page 3; click sbusSetButton"_s); // queries instead
    EXPECT_FRAMES(ui.pod(), u"1e 00 00 00"_s);
    QTRY_VERIFY_WITH_TIMEOUT(ui.boxText().contains(u"未写入"_s), kWaitMs);
    ui.play(u"tap Escape"_s);
    // The pod keeps silent.
    QTRY_COMPARE_WITH_TIMEOUT(ui.boxText(), u"读取超时"_s, kWaitMs);
    ui.play(u"dismiss"_s);
    ui.pod().send(sbusFrame("ee0400", 12, 18));
    const auto shown = [&](const QString &box) {
        return ui.property(box, "displayText").toString();
    };
    QTRY_COMPARE_WITH_TIMEOUT(shown(u"sbusChoice11"_s), u"CH11"_s, kWaitMs);
    QCOMPARE(shown(u"sbusChoice12"_s), u"18"_s); // no channel, and kept all the same
    ui.play(u"pick sbusChoice12 16; click sbusSetButton"_s);
    EXPECT_FRAMES(ui.pod(), QString::fromLatin1(sbusFrame("ee8200", 12, 16).toHex(' ')));
    // What was sent is still there after a look elsewhere.
    ui.play(u"dismiss; page 0; page 3"_s);
    QCOMPARE(shown(u"sbusChoice12"_s), u"CH16"_s);
    // Forgotten with its link.
    ui.pod().drop();
    QTRY_VERIFY_WITH_TIMEOUT(!ui.property(u"sbusChoice0"_s, "enabled").toBool(), kWaitMs);
    QVERIFY(ui.connectPod());
    ui.play(u"click sbusSetButton"_s);
    EXPECT_FRAMES(ui.pod(), u"1e 00 00 00"_s);
}

void TestWindow::controlsFollowTheModel()
{
    struct Row
    {
        char model;
        QString shown; // t: thermal, d: distance, l: laser, e: encoder module
        int zoomFactors;
    };
    UiHarness ui;
    const auto isShown = [&](const QString &name) { return ui.item(name)->isVisible(); };
    for (const auto &[model, shown, zoomFactors] :
         {Row{99, u"tdle"_s, 40}, {45, u"e"_s, 30}, {46, u"de"_s, 40}, {36, u"tdl"_s, 30}}) {
        QByteArray reply = QByteArray::fromHex("ee060000000102000307");
        reply[4] = model;
        ui.pod().send(sealed(reply));
        ui.play(u"page 0"_s);
        QTRY_COMPARE_WITH_TIMEOUT(ui.item(u"b7nsettinglayout"_s)->isVisible(), shown.contains(u'e'),
                                  kWaitMs);
        ui.play(u"page 2"_s);
        QTRY_COMPARE_WITH_TIMEOUT(ui.property(u"kjgrowCombo"_s, "count").toInt(), zoomFactors,
                                  kWaitMs);
        QCOMPARE(isShown(u"wcbutton"_s), shown.contains(u't'));
        QCOMPARE(isShown(u"continuousdistancerow"_s), shown.contains(u'd'));
        QCOMPARE(isShown(u"laserlightrow"_s), shown.contains(u'l'));
    }
}

void TestWindow::languageChangesEverythingAndIsKept()
{
    UiHarness ui;
    ui.play(u"page 2; pick followframesizecombo 0; page 1; pick comboboxlanguage 1"_s);
    QCOMPARE(ui.property(u"photobutton"_s, "tip").toString(), u"Take photo"_s);
    QCOMPARE(ui.text(u"controlconnectstate"_s), u"Connected"_s);
    QCOMPARE(ui.setting(u"General/languageIndex"_s).toInt(), 1);
    static const QRegularExpression chinese(u"[\\x{4e00}-\\x{9fff}]"_s);
    for (int page = 0; page <= 6; ++page) {
        ui.play(u"page %1"_s.arg(page));
        for (const QQuickItem *item :
             ui.item(u"podControlDrawer"_s)->findChildren<QQuickItem *>()) {
            for (const char *name : {"text", "label", "tip", "displayText", "placeholderText"}) {
                const QString text = item->property(name).toString();
                QVERIFY2(text == u"中文" || !text.contains(chinese), qPrintable(text));
            }
        }
    }
}

void TestWindow::planFollowsThePod()
{
    UiHarness ui;
    ui.play(u"page 5; click mapStartButton"_s);
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
    QCOMPARE(ui.property(u"planView"_s, "centreLatitude").toDouble(), 22.5);
    QCOMPARE(ui.text(u"distanceField"_s), u"-"_s); // the aircraft's position is not known
}

QTEST_MAIN(TestWindow)
#include "tst_window.moc"
