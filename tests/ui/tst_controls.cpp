#include "UiHarness.h"

#include <QTest>

#include <array>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

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
    {"menu hzhbutton hzhMenu; click mousekjginrcx; see hzhMenu visible false", "14 00 00 00"},
    {"menu hzhbutton hzhMenu; click mousercxincjg", "14 00 01 00"},
    {"menu hzhbutton hzhMenu; click mousekjg", "14 00 02 00"},
    {"menu hzhbutton hzhMenu; click mousercx", "14 00 03 00"},
    {"menu wcbutton wcMenu; click mousebr; see wcMenu visible false", "15 00 00 00"},
    {"menu wcbutton wcMenu; click mousehr", "15 00 01 00"},
    {"menu wcbutton wcMenu; click mousecr", "15 00 02 00"},
    {"menu centerbutton centerMenu; click mouse1; see centerMenu visible false", "13 03 00 00"},
    {"menu centerbutton centerMenu; click mouse2", "13 02 00 00"},
    {"menu gimbalbutton modeMenu; click mousefollow; see modeMenu visible false", "13 00 00 00"},
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
    // Shortcuts; while text is typed they are text
    {"tap P; see statusText text 已发送: 拍照", "12 00 00 00"},
    {"tap R", "12 01 00 00"},
    {"tap C; tap X", "13 03 00 00, 13 02 00 00"},
    {"tap Shift+C; tap Shift+X", "13 04 00 00, 13 05 00 00"},
    {"tap 1; tap 2; tap 3", "13 00 00 00, 13 01 00 00, 13 06 00 00"},
    {"tap T", "11 01 00 00"},
    {"tap PgUp; tap PgUp; tap PgDown; tap A; backend moveSpeed 250; tap PgUp; tap A; "
     "backend moveSpeed 128",
     "00 04 90 00, 00 00 00 00, 00 04 ff 00, 00 00 00 00"},
    {"page 0; type ipInput P1R?; tap F2; see ipInput text P1R?; tap Escape; tap F2; "
     "see podControlDrawer visible false; tap F2; see podControlDrawer visible true",
     ""},
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
    // Its repeat is not always marked as one
    {"down W; repeat W; down W; up W", "00 08 00 80, 00 00 00 00"},
    // The drawer; each switch to its other state and back
    {"page 0; click b7nQueryButton", "21 01 00 00"},
    // Only after a yes; Enter is one, and all else is none
    {"page 1; click rebootButton; box 云台将重启; click dialogButton", "22 02 00 00"},
    {"page 1; click uprightButton; box 切换为正置模式; tap Return", "13 07 00 00"},
    {"page 1; click invertedButton; box 切换为倒置模式; tap Escape; click rebootButton; click "
     "dialogCancelButton; "
     "click invertedButton; click dialogButton",
     "13 08 00 00"},
    // Enter in a field leaves the link alone
    {"page 0; type ipInput 1.2.3.4; tap Return; type portInput 9; tap Return; tap A",
     "00 04 80 00, 00 00 00 00"},
    // The second press on a button closes its menu
    {"menu wcbutton wcMenu; click wcbutton; see wcMenu visible false; tap S",
     "00 10 00 80, 00 00 00 00"},
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

constexpr auto kRefusals = std::to_array<Row>({
    {"page 0; type urlInput http://x; click urlButton", "请输入以 rtsp:// 或 udp:// 开头的流地址"},
    {"cut; page 0; type ipInput 1.2.3.256; click tcpButton", "请输入正确的IP地址"},
    {"cut; page 0; type ipInput 1.2.3.4x; click tcpButton", "请输入正确的IP地址"},
    {"cut; page 0; type portInput 0; click tcpButton", "请输入正确的端口 (1-65535)"},
    {"cut; page 0; type portInput 65536; click tcpButton", "请输入正确的端口 (1-65535)"},
    {"page 0; type portslist; click comButton", "错误: 没有选择有效的串口"},
    {"cut; page 1; click rebootButton; box 云台将重启; click dialogButton", "未连接，无法发送数据"},
    // There is no such port, and the link that there is stays
    {"page 0; click comButton; see tcpButton text 断开; see statusText text 错误: "
     "没有选择有效的串口",
     "错误: 没有选择有效的串口"},
    {"page 0; type portslist /dev/null; type baudRateInput; click comButton", "请输入正确的波特率"},
    {"page 0; type ipaddresstext 1.2.3.4; click b7nSetButton",
     "请输入或选择正确的IP地址，网关，码率，分辨率和编码方式"},
    {"page 1; type pitchInput; click turnToButton", "请输入正确的俯仰和航向角度"},
    {"page 2; type kjgrowCombo 41; click kjgzoomtobutton", "请输入正确的变倍倍数: 1-40"},
    {"page 2; type rcxrowCombo 0; click rcxzoomtobutton", "请输入正确的变倍倍数: 1-8"},
    {"page 6; type updatebaudRateInput 9600; click comupdateButton", "请选择固件文件"},
});

constexpr auto kDrags = std::to_array<Row>({
    {"80 0", "00 02 80 00"},
    {"80 80", "00 12 80 80"},
    {"0 80", "00 10 00 80"},
    {"-80 80", "00 14 80 80"},
    {"-80 0", "00 04 80 00"},
    {"-80 -1", "00 04 80 00"},
    {"-80 -80", "00 0c 80 80"},
    {"0 -80", "00 08 00 80"},
    {"80 -80", "00 0a 80 80"},
});

/// What the keys do at a control, and the frames that come of it.
constexpr auto kActs = std::to_array<Row>({
    {"go hzhbutton; tap Space; see hzhMenu opened true; tap Down; tap Down; tap Up; tap Return; "
     "see hzhMenu visible false; tap W",
     "14 00 01 00, 00 08 00 80, 00 00 00 00"},
    {"go zoomButton; tap Return; see zoomMenu opened true; down Space; up Space; "
     "see zoomMenu visible false",
     "00 40 04 00, 00 60 00 00"},
    // It gives the keyboard back, and the keys steer from inside
    {"go gimbalbutton; tap Space; see modeMenu opened true; tap D; tap Escape; "
     "see modeMenu visible false; tap Space; see modeMenu opened true; tap Escape",
     "00 02 80 00, 00 00 00 00"},
    {"backend isManualFocus 1; go plusButton; down Space; up Space; go minusButton; down Return; "
     "up Return",
     "1d 02 00 00, 1d 04 00 00, 1d 03 00 00, 1d 04 00 00"},
    {"backend isTracking 1; go closeTrackBtn; tap Return", "11 01 00 00"},
    {"go settingsImage; tap Space; see podControlDrawer visible true; go drawerPhotoButton; tap "
     "Space; "
     "go drawerRecordButton; tap Return; tap Escape; see podControlDrawer visible false",
     "12 00 00 00, 12 01 00 00"},
    {"page 1; go rebootButton; tap Return; box 云台将重启; tap Return", "22 02 00 00"},
    // Enter is that of the button which has the keyboard
    {"page 1; go rebootButton; tap Space; box 云台将重启; go dialogCancelButton; tap Return; "
     "see customDialog visible false",
     ""},
    {"page 1; go podsportspeedslider; tap Right; tap Escape; tap A; backend moveSpeed 128",
     "00 04 81 00, 00 00 00 00"},
    // The arrow alone chooses nothing; Escape closes the list, then the drawer
    {"page 1; go comboboxfrequency; tap Down; tap Down; tap Escape; see podControlDrawer visible "
     "true; "
     "tap Escape; see podControlDrawer visible false",
     ""},
    // Text is no steering, with Ctrl neither; from any other control the keys steer
    {"page 0; go ipInput; keys WASDQE; tap Ctrl+W; go b7nQueryButton; tap W",
     "00 08 00 80, 00 00 00 00"},
    // A held key stops when the keyboard goes elsewhere
    {"page 0; go b7nQueryButton; down D; tap Tab; tap Tab", "00 02 80 00, 00 00 00 00"},
});

} // namespace

/// From each of the operator's gestures to the bytes on the control link, good input and bad. One
/// interface serves all rows that leave no traces.
class TestControls : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        UiHarness::prepare();
        m_ui = std::make_unique<UiHarness>(kStored, false);
    }
    void init() { m_ui->rest(); }
    void gestureSendsItsFrames_data();
    void gestureSendsItsFrames()
    {
        QFETCH(QString, steps);
        m_ui->play(steps);
    }
    void pressHasOneStop_data();
    void pressHasOneStop()
    {
        QFETCH(QString, steps);
        UiHarness().play(steps);
    }
    void fingerHoldsAndSteers();
    void cleanupTestCase() { m_ui.reset(); }

private:
    std::unique_ptr<UiHarness> m_ui;
};

void TestControls::gestureSendsItsFrames_data()
{
    QTest::addColumn<QString>("steps");
    const auto add = [](const auto &rows, const QString &script) {
        for (const Row &row : rows)
            QTest::newRow(row.steps)
                << script.arg(QString::fromUtf8(row.steps), QString::fromUtf8(row.outcome));
    };
    // With its message away the keys steer, and nothing else was on its way.
    add(kFrames, u"%1; sent %2; set customDialog visible 0; see videoRenderer activeFocus true; "
                 "tap W; sent 00 08 00 80, 00 00 00 00"_s);
    add(kActs, u"%1; sent %2"_s);
    // The command at once, then again with every tick.
    add(kDrags, u"drag %1; see imagemovecircle visible true; sent %2, %2, %2; drop %1; see "
                "imagemovecircle visible false; await 00 00 00 00; see stopTimer running false"_s);
    add(kRefusals, u"%1; box %2; tap Escape; see videoRenderer activeFocus true; moved; "
                   "kept TCP/deviceIp 127.0.0.1; kept RTSP/rtspIp"_s);
}

void TestControls::pressHasOneStop_data()
{
    QTest::addColumn<QString>("steps");
    const auto add = [](const QString &steps) { QTest::newRow(qPrintable(steps)) << steps; };
    // The delayed stop of a drag leaves a held key moving.
    add(u"drag 80 0; drop 80 0; see stopTimer running true; down W; see stopTimer running false; "
        "up W; "
        "moved 00 02 80 00, 00 00 00 00, 00 08 00 80, 00 00 00 00, 00 08 00 80, 00 00 00 00"_s);
    // Stops are owed across a lost link, also those just sent.
    add(u"down E; moved 00 40 04 00; cut; up E; connect; moved 00 60 00 00; tap D; cut; connect; "
        u"tap W; "
        "moved 00 02 80 00, 00 00 00 00, 00 00 00 00, 00 60 00 00, 00 08 00 80, 00 00 00 00"_s);
    // A drag turns without a stop between, rests near its start, and ends outside the window.
    add(u"drag 100 0; dragto 100 100; dragto 10 -10; see moveTimer running false; dragto 11 0; "
        "dragto 0 -400; see moveTimer running false; dragto 0 -60; see moveTimer running false; "
        "moved 00 02 80 00, 00 12 80 80, 00 00 00 00, 00 02 80 00, 00 00 00 00"_s);
}

void TestControls::fingerHoldsAndSteers()
{
    auto *screen = QTest::createTouchDevice();
    const auto hold = [&](const QString &control, const QString &start) {
        QTest::touchEvent(m_ui->window(), screen).press(0, m_ui->centre(control));
        m_ui->play(u"await "_s + start);
        QTest::touchEvent(m_ui->window(), screen).release(0, m_ui->centre(control));
    };
    m_ui->play(u"menu zoomButton zoomMenu"_s);
    hold(u"mouseIn"_s, u"00 40 04 00"_s);
    m_ui->play(u"await 00 60 00 00; backend isManualFocus 1"_s);
    hold(u"minusButton"_s, u"1d 03 00 00"_s);
    m_ui->play(u"await 1d 04 00 00"_s);
    m_ui->pod().take();
    const QPoint middle = m_ui->centre(u"videoRenderer"_s);
    QTest::touchEvent(m_ui->window(), screen).press(0, middle);
    for (const int way : {20, 50, 80})
        QTest::touchEvent(m_ui->window(), screen).move(0, middle + QPoint(way, 0));
    m_ui->play(u"await 00 02 80 00"_s);
    QTest::touchEvent(m_ui->window(), screen).release(0, middle + QPoint(80, 0));
    m_ui->play(u"await 00 00 00 00; see imagemovering visible false"_s);
}

QTEST_MAIN(TestControls)
#include "tst_controls.moc"
