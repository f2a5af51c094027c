#include "UiHarness.h"

#include <QTest>

#include <array>
#include <memory>
#include <span>

using namespace Qt::StringLiterals;

namespace {

constexpr int kWaitMs = 10000;
const QString kUp = u"00 08 00 80"_s;
const QString kRight = u"00 02 80 00"_s;
const QString kStop = u"00 00 00 00"_s;
const QString kZoomIn = u"00 40 04 00"_s;
const QString kZoomStop = u"00 60 00 00"_s;
const QByteArray kStored = "[RTSP]\nrtspIp=\n[TCP]\ndeviceIp=127.0.0.1\ndevicePort=2001\n";

struct Row
{
    const char *steps;
    const char *outcome;
};

constexpr auto kFrames = std::to_array<Row>({
    // The window
    {"click photobutton", "12 00 00 00"},
    {"click recordbutton", "12 01 00 00"},
    {"menu hzhbutton hzhMenu; click mousekjginrcx", "14 00 00 00"},
    {"menu hzhbutton hzhMenu; click mousercxincjg", "14 00 01 00"},
    {"menu hzhbutton hzhMenu; click mousekjg", "14 00 02 00"},
    {"menu hzhbutton hzhMenu; click mousercx", "14 00 03 00"},
    {"menu wcbutton wcMenu; click mousebr", "15 00 00 00"},
    {"menu wcbutton wcMenu; click mousehr", "15 00 01 00"},
    {"menu wcbutton wcMenu; click mousecr", "15 00 02 00"},
    {"menu centerbutton centerMenu; click mouse1", "13 03 00 00"},
    {"menu centerbutton centerMenu; click mouse2", "13 02 00 00"},
    {"menu gimbalbutton modeMenu; click mousefollow", "13 00 00 00"},
    {"menu gimbalbutton modeMenu; click mouselock", "13 01 00 00"},
    {"menu gimbalbutton modeMenu; click mousefpv", "13 06 00 00"},
    {"rightclick videoRenderer", "11 01 00 00"},
    {"backend isTracking 1; click closeTrackBtn", "11 01 00 00"},
    {"tap W", "00 08 00 80, 00 00 00 00"},
    {"tap S", "00 10 00 80, 00 00 00 00"},
    {"tap A", "00 04 80 00, 00 00 00 00"},
    {"tap D", "00 02 80 00, 00 00 00 00"},
    {"tap Q", "00 20 04 00, 00 60 00 00"},
    {"tap E", "00 40 04 00, 00 60 00 00"},
    {"wheel -120", "00 20 04 00, 00 60 00 00"},
    {"wheel 120; wheel 120", "00 40 04 00, 00 40 04 00, 00 60 00 00"},
    {"menu zoomButton zoomMenu; click mouseIn", "00 40 04 00, 00 60 00 00"},
    {"menu zoomButton zoomMenu; click mouseOut", "00 20 04 00, 00 60 00 00"},
    {"menu hzhbutton hzhMenu; tap D; tap Escape", "00 02 80 00, 00 00 00 00"},
    {"backend isManualFocus 1; click plusButton", "1d 02 00 00, 1d 04 00 00"},
    {"backend isManualFocus 1; click minusButton", "1d 03 00 00, 1d 04 00 00"},
    {"drag 8 8; drop 8 8; tap E", "00 40 04 00, 00 60 00 00"}, // too short to steer
    // Each key goes on and stops on its own
    {"down W; down D; up D; up W",
     "00 08 00 80, 00 02 80 00, 00 00 00 00, 00 08 00 80, 00 00 00 00"},
    {"down W; down E; up W; up E", "00 08 00 80, 00 40 04 00, 00 00 00 00, 00 60 00 00"},
    {"down W; down E; down D; deactivate; activate; up W; up E; up D",
     "00 08 00 80, 00 40 04 00, 00 02 80 00, 00 00 00 00, 00 60 00 00, 00 00 00 00"},
    {"down W; repeat W; repeat W; up W", "00 08 00 80, 00 00 00 00"},
    // The drawer; each switch to its other state and back
    {"page 0; click b7nQueryButton", "21 01 00 00"},
    {"page 1; click rebootButton", "22 02 00 00"},
    {"page 1; click uprightButton", "13 07 00 00"},
    {"page 1; click invertedButton", "13 08 00 00"},
    {"backend moveSpeed 37; tap A; backend moveSpeed 128", "00 04 25 00, 00 00 00 00"},
    {"backend moveSpeed 37; page 1; click podsportspeedslider; tap A", "00 04 80 00, 00 00 00 00"},
    {"page 1; pick comboboxprotocoltype 1", "20 01 01 00"},
    {"page 1; pick comboboxfrequency 2", "20 00 02 00"},
    {"page 1; type pitchInput -90; click turnToButton", "ee 84 08 7c fc 00 00 f2"},
    {"page 1; type pitchInput 999; click turnToButton", "ee 84 08 2c 01 00 00 a7"},
    {"page 1; type yawInput -181; click turnToButton", "ee 84 08 00 00 f8 f8 6a"},
    {"page 1; type pitchInput 6; tap Return", "ee 84 08 3c 00 00 00 b6"},
    {"page 2; pick followframesizecombo 5", "24 00 05 00"},
    {"page 2; type kjgrowCombo 12; click kjgzoomtobutton", "1f 00 0c 00"},
    {"page 2; pick rcxrowCombo 3; click rcxzoomtobutton", "17 00 04 00"},
    {"page 2; click manualfocusrowSwitch; click manualfocusrowSwitch", "1d 00 00 00, 1d 01 00 00"},
    {"page 2; click osdshowrowSwitch; click osdshowrowSwitch", "19 01 00 00, 19 00 00 00"},
    {"page 2; click targetcheckrowSwitch; click targetcheckrowSwitch", "11 03 00 00, 11 02 00 00"},
    {"page 2; click trackautozoomrowSwitch; click trackautozoomrowSwitch",
     "1a 00 00 00, 1a 01 00 00"},
    {"page 2; click continuousdistancerowSwitch; click continuousdistancerowSwitch",
     "16 01 00 00, 16 02 00 00"},
    {"page 2; click clearfrogrowSwitch; click clearfrogrowSwitch", "1c 05 03 00, 1c 06 00 00"},
    {"page 2; click electroniczoomrowSwitch; click electroniczoomrowSwitch",
     "1c 00 00 00, 1c 01 00 00"},
    {"page 2; click laserlightrowSwitch; click laserlightrowSwitch", "1b 00 00 00, 1b 01 00 00"},
    {"page 2; click pointtrackrowSwitch; click pointtrackrowSwitch", "11 01 00 00"}, // off only
    {"page 3; click sbusQueryButton", "1e 00 00 00"},
    {"page 5; click leftbutton1; click leftbutton2", "27 00 00 00, 27 00 00 01"},
    {"page 5; click rightbutton1; click rightbutton2", "27 00 01 00, 27 00 01 01"},
    {"page 5; click upbutton1; click upbutton2", "27 00 02 00, 27 00 02 01"},
    {"page 5; click downbutton1; click downbutton2", "27 00 03 00, 27 00 03 01"},
});

// Those of the TCP form are made without a link.
constexpr auto kRefusals = std::to_array<Row>({
    {"page 0; type urlInput http://x; click urlButton", "请输入以 rtsp:// 或 udp:// 开头的流地址"},
    {"page 0; type ipInput 1.2.3.256; click tcpButton", "请输入正确的IP地址"},
    {"page 0; type ipInput 1.2.3; click tcpButton", "请输入正确的IP地址"},
    {"page 0; type ipInput 1.2.3.4x; click tcpButton", "请输入正确的IP地址"},
    {"page 0; type portInput 0; click tcpButton", "请输入正确的端口 (1-65535)"},
    {"page 0; type portInput 65536; click tcpButton", "请输入正确的端口 (1-65535)"},
    {"page 0; type portslist; click comButton", "错误: 没有选择有效的串口"},
    {"page 0; type baudRateInput; click comButton", "请输入正确的波特率"},
    {"page 0; type ipaddresstext 1.2.3.4; click b7nSetButton",
     "请输入或选择正确的IP地址，网关，码率，分辨率和编码方式"},
    {"page 1; type pitchInput; click turnToButton", "请输入正确的俯仰和航向角度"},
    {"page 1; type yawInput 1-; click turnToButton", "请输入正确的俯仰和航向角度"},
    {"page 2; type kjgrowCombo 41; click kjgzoomtobutton", "请输入正确的变倍倍数: 1-40"},
    {"page 2; type rcxrowCombo 0; click rcxzoomtobutton", "请输入正确的变倍倍数: 1-8"},
    {"page 6; type updatebaudRateInput 9600; click comupdateButton", "请选择固件文件"},
});

void addRows(std::span<const Row> rows)
{
    QTest::addColumn<QString>("steps");
    QTest::addColumn<QString>("outcome");
    for (const Row &row : rows)
        QTest::newRow(row.steps) << QString::fromUtf8(row.steps) << QString::fromUtf8(row.outcome);
}

/// The frames so far but the repeats of that command.
QString without(UiHarness &ui, const QString &command)
{
    QStringList frames = ui.pod().take().split(u", "_s, Qt::SkipEmptyParts);
    frames.removeAll(command);
    return frames.join(u", "_s);
}

} // namespace

/// From each of the operator's gestures to the bytes on the control link, good input and bad; a
/// press has one stop, whatever ends it. One interface serves all rows that leave no traces.
class TestControls : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void gestureSendsItsFrames_data() { addRows(kFrames); }
    void gestureSendsItsFrames();
    void badInputSendsNothing_data() { addRows(kRefusals); }
    void badInputSendsNothing();
    void pressHasOneStop_data();
    void pressHasOneStop();
    void delayedStopLeavesAHeldKeyMoving();
    void stopIsOwedAcrossALostLink();
    void dragSteersInItsDirection_data();
    void dragSteersInItsDirection();
    void dragFollowsThePointer();
    void cleanupTestCase() { m_ui.reset(); }

private:
    std::unique_ptr<UiHarness> m_ui;
};

void TestControls::initTestCase()
{
    UiHarness::prepare();
    m_ui = std::make_unique<UiHarness>(kStored, false);
}

void TestControls::init()
{
    UiHarness::failOnAnyWarning();
    // A page's fields are new whenever it is opened.
    m_ui->play(u"dismiss; page 4; set podControlDrawer visible 0; backend isManualFocus 0; "
               "backend isTracking 0"_s);
    m_ui->pod().take();
}

void TestControls::gestureSendsItsFrames()
{
    QFETCH(QString, steps);
    QFETCH(QString, outcome);
    if (!m_ui->backend().isConnected())
        QVERIFY(m_ui->connectPod());
    m_ui->play(steps);
    EXPECT_FRAMES(m_ui->pod(), outcome);
    // With its message away the keys steer, and nothing else was on its way.
    m_ui->play(u"dismiss"_s);
    QTRY_VERIFY_WITH_TIMEOUT(m_ui->video()->hasActiveFocus(), kWaitMs);
    m_ui->play(u"tap W"_s);
    EXPECT_FRAMES(m_ui->pod(), u"00 08 00 80, 00 00 00 00"_s);
}

void TestControls::badInputSendsNothing()
{
    QFETCH(QString, steps);
    QFETCH(QString, outcome);
    const bool linked = !steps.contains(u"tcpButton");
    if (!linked)
        m_ui->backend().resetConnection();
    else if (!m_ui->backend().isConnected())
        QVERIFY(m_ui->connectPod());
    m_ui->play(steps + u"; box "_s + outcome + u"; tap Escape"_s);
    QTRY_VERIFY_WITH_TIMEOUT(m_ui->video()->hasActiveFocus(), kWaitMs);
    QCOMPARE(m_ui->pod().take(), QString());
    QCOMPARE(m_ui->backend().isConnected(), linked);
    m_ui->play(u"kept TCP/deviceIp 127.0.0.1; kept RTSP/rtspIp"_s);
}

void TestControls::pressHasOneStop_data()
{
    QTest::addColumn<QString>("begin");
    QTest::addColumn<QString>("end");
    QTest::addColumn<QString>("letGo");
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("stop");
    const auto rows = [](const QString &begin, const QString &letGo, const QString &command,
                         const QString &stop, const QString &ends) {
        const QString all = u"deactivate; minimise; close; quit; "_s + ends + letGo;
        for (const QString &end : all.split(u"; "_s))
            QTest::addRow("%s: %s", qPrintable(begin), qPrintable(end))
                << begin << end << letGo << command << stop;
    };
    const QString unfocus = u"set videoRenderer focus 0; "_s;
    rows(u"down W"_s, u"up W"_s, kUp, kStop, unfocus);
    rows(u"down E"_s, u"up E"_s, kZoomIn, kZoomStop, unfocus);
    rows(u"drag 80 0"_s, u"drop 80 0"_s, kRight, kStop, {});
    rows(u"wheel 120"_s, {}, kZoomIn, kZoomStop, {});
    rows(u"menu zoomButton zoomMenu; press mouseIn"_s, u"release mouseIn"_s, kZoomIn, kZoomStop,
         u"set zoomMenu visible 0; set mouseIn visible 0; move videoRenderer; ungrab; "_s);
    rows(u"backend isManualFocus 1; press plusButton"_s, u"release plusButton"_s, u"1d 02 00 00"_s,
         u"1d 04 00 00"_s,
         u"backend isManualFocus 0; set plusButton enabled 0; move videoRenderer; ungrab; "_s);
}

void TestControls::pressHasOneStop()
{
    QFETCH(QString, begin);
    QFETCH(QString, end);
    QFETCH(QString, letGo);
    QFETCH(QString, command);
    QFETCH(QString, stop);
    UiHarness ui;
    ui.play(begin);
    QTRY_COMPARE_WITH_TIMEOUT(ui.pod().frames().value(0), command, kWaitMs);
    ui.play(end);
    QTRY_VERIFY_WITH_TIMEOUT(ui.pod().count(stop) > 0, kWaitMs);
    ui.play(letGo);
    // The delayed stops of drag and wheel may come, but not twice.
    const auto running = [&](const QString &timer) {
        return ui.property(timer, "running").toBool();
    };
    const bool delayedStop = running(u"stopTimer"_s);
    QTRY_VERIFY_WITH_TIMEOUT(!running(u"stopTimer"_s) && !running(u"wheelStopTimer"_s), kWaitMs);
    ui.backend().queryVersion();
    const QString mark = u"1e 02 00 00"_s;
    QTRY_COMPARE_WITH_TIMEOUT(ui.pod().count(mark), 1, kWaitMs);
    // Ticks before the stop are commands; after it there are none.
    QVERIFY(ui.pod().frames().lastIndexOf(command) < ui.pod().frames().indexOf(stop));
    QCOMPARE(without(ui, command),
             (delayedStop ? QStringList{stop, stop, mark} : QStringList{stop, mark}).join(u", "_s));
}

void TestControls::delayedStopLeavesAHeldKeyMoving()
{
    UiHarness ui;
    ui.play(u"drag 80 0; drop 80 0"_s);
    QVERIFY(ui.property(u"stopTimer"_s, "running").toBool());
    ui.play(u"down W"_s);
    QTRY_VERIFY_WITH_TIMEOUT(!ui.property(u"stopTimer"_s, "running").toBool(), kWaitMs);
    ui.play(u"up W"_s);
    QTRY_COMPARE_WITH_TIMEOUT(ui.pod().count(kStop), 3, kWaitMs);
    QCOMPARE(without(ui, kRight), (QStringList{kStop, kUp, kStop, kUp, kStop}.join(u", "_s)));
}

void TestControls::stopIsOwedAcrossALostLink()
{
    UiHarness ui;
    ui.play(u"down W; down E"_s);
    EXPECT_FRAMES(ui.pod(), kUp + u", "_s + kZoomIn);
    ui.pod().drop();
    QTRY_VERIFY_WITH_TIMEOUT(!ui.backend().isConnected(), kWaitMs);
    ui.play(u"up E"_s); // nowhere to send it
    QVERIFY(ui.connectPod());
    EXPECT_FRAMES(ui.pod(), kStop + u", "_s + kZoomStop);
    ui.play(u"tap D; up W"_s); // what was held then is held no more
    EXPECT_FRAMES(ui.pod(), kRight + u", "_s + kStop);
    // Paid once: another connect owes nothing.
    ui.backend().disconnect();
    QVERIFY(ui.connectPod());
    ui.play(u"tap W"_s);
    EXPECT_FRAMES(ui.pod(), kUp + u", "_s + kStop);
}

void TestControls::dragSteersInItsDirection_data()
{
    QTest::addColumn<QString>("offset");
    QTest::addColumn<QString>("command");
    QTest::newRow("right") << u"80 0"_s << kRight;
    QTest::newRow("rightdown") << u"80 80"_s << u"00 12 80 80"_s;
    QTest::newRow("down") << u"0 80"_s << u"00 10 00 80"_s;
    QTest::newRow("leftdown") << u"-80 80"_s << u"00 14 80 80"_s;
    QTest::newRow("left") << u"-80 0"_s << u"00 04 80 00"_s;
    QTest::newRow("left, a little up") << u"-80 -1"_s << u"00 04 80 00"_s;
    QTest::newRow("leftup") << u"-80 -80"_s << u"00 0c 80 80"_s;
    QTest::newRow("up") << u"0 -80"_s << kUp;
    QTest::newRow("rightup") << u"80 -80"_s << u"00 0a 80 80"_s;
}

void TestControls::dragSteersInItsDirection()
{
    QFETCH(QString, offset);
    QFETCH(QString, command);
    UiHarness ui;
    ui.play(u"drag "_s + offset);
    // The command at once, then again with every tick.
    QCOMPARE(ui.pod().next(3), QStringList(3, command).join(u", "_s));
    QVERIFY(ui.item(u"imagemovecircle"_s)->isVisible());
    ui.play(u"drop "_s + offset);
    QVERIFY(!ui.item(u"imagemovecircle"_s)->isVisible());
    QCOMPARE(without(ui, command), kStop);
}

void TestControls::dragFollowsThePointer()
{
    UiHarness ui;
    const QPoint start = ui.centre(u"videoRenderer"_s);
    const auto moveTo = [&](int x, int y) { QTest::mouseMove(ui.window(), start + QPoint(x, y)); };
    const QString rightDown = u"00 12 80 80"_s;
    ui.play(u"drag 100 0"_s);
    QCOMPARE(ui.pod().next(2), kRight + u", "_s + kRight);
    moveTo(100, 100); // without a stop between
    QTRY_VERIFY_WITH_TIMEOUT(ui.pod().count(rightDown) >= 2, kWaitMs);
    QCOMPARE(ui.pod().count(kStop), 0);
    moveTo(10, -10); // back into the dead zone
    QTRY_COMPARE_WITH_TIMEOUT(ui.pod().frames().last(), kStop, kWaitMs);
    QVERIFY(!ui.property(u"moveTimer"_s, "running").toBool());
    ui.pod().take();
    moveTo(11, 0);
    QCOMPARE(ui.pod().next(2), kRight + u", "_s + kRight);
    moveTo(0, -20 - start.y()); // out of the window
    QTRY_VERIFY_WITH_TIMEOUT(ui.pod().count(kStop) > 0, kWaitMs);
    // Until the next press the drag is over, wherever the pointer goes.
    ui.pod().take();
    moveTo(0, -60);
    QVERIFY(!ui.property(u"moveTimer"_s, "running").toBool());
    QCOMPARE(ui.pod().take(), QString());
}

QTEST_MAIN(TestControls)
#include "tst_controls.moc"
