#include "DrawerUi.h"

#include <QTest>

#include <functional>
#include <memory>

using namespace Qt::StringLiterals;
using Gesture = std::function<void(DrawerUi &)>;
Q_DECLARE_METATYPE(Gesture)

namespace {

constexpr int kWaitMs = 10000;
const QByteArray kStored = "[RTSP]\nrtspIp=\n[TCP]\ndeviceIp=127.0.0.1\ndevicePort=2001\n";

Gesture click(const QString &control)
{
    return [control](DrawerUi &ui) { ui.click(control); };
}

Gesture clickTwice(const QString &control)
{
    return [control](DrawerUi &ui) {
        ui.click(control);
        QTest::qWait(0);
        ui.click(control);
    };
}

Gesture choose(const QString &box, int index)
{
    return [=](DrawerUi &ui) { pick(ui, box, index); };
}

Gesture enter(const QString &field, const QString &text, const QString &button)
{
    return [=](DrawerUi &ui) {
        typeInto(ui, field, text);
        ui.click(button);
    };
}

} // namespace

/// From each of the drawer's controls to the bytes on the control link, good input and bad.
class TestDrawer : public QObject
{
    Q_OBJECT

private slots:

    void initTestCase() { UiHarness::prepare(); }

    void cleanupTestCase()
    {
        m_shared.reset();
        QCOMPARE(UiHarness::warnings(), QStringList());
    }

    void controlSendsItsFrames_data();
    void controlSendsItsFrames();
    void badInputSendsNothing_data();
    void badInputSendsNothing();

private:
    /// The interface for rows that leave no traces in it: a fresh page, no message, linked or not.
    DrawerUi &shared(Page page, bool linked = true);

    std::unique_ptr<DrawerUi> m_shared;
};

DrawerUi &TestDrawer::shared(Page page, bool linked)
{
    if (!m_shared)
        m_shared = std::make_unique<DrawerUi>(kStored, false);
    DrawerUi &ui = *m_shared;
    // The message leaves with a transition, and until then takes the clicks.
    auto *message = ui.object(u"customDialog"_s);
    message->setProperty("visible", false);
    if (!QTest::qWaitFor([&] { return !message->property("visible").toBool(); }, kWaitMs))
        qFatal("the message stays");
    if (!linked)
        ui.backend().resetConnection();
    else if (!ui.backend().isConnected())
        ui.connectPod();
    openPage(ui, page == Joystick ? Info : Joystick);
    openPage(ui, page);
    ui.pod().takeFrames();
    return ui;
}

void TestDrawer::controlSendsItsFrames_data()
{
    QTest::addColumn<int>("page");
    QTest::addColumn<Gesture>("gesture");
    QTest::addColumn<QStringList>("frames");
    const auto one = [](const char *name, Page page, const Gesture &gesture, const QString &frame) {
        QTest::newRow(name) << int(page) << gesture << QStringList{frame};
    };
    one("query encoder", Info, click(u"b7nQueryButton"_s), shortFrame(0x21, 0x01));
    one("reboot", Gimbal, click(u"rebootButton"_s), shortFrame(0x22, 0x02));
    one("upright", Gimbal, click(u"uprightButton"_s), shortFrame(0x13, 0x07));
    one("inverted", Gimbal, click(u"invertedButton"_s), shortFrame(0x13, 0x08));
    one("protocol", Gimbal, choose(u"comboboxprotocoltype"_s, 1), shortFrame(0x20, 0x01, 1));
    one("frequency", Gimbal, choose(u"comboboxfrequency"_s, 2), shortFrame(0x20, 0x00, 2));
    one("angle", Gimbal, enter(u"pitchInput"_s, u"-90"_s, u"turnToButton"_s),
        u"ee 84 08 7c fc 00 00 f2"_s);
    one("pitch beyond the range", Gimbal, enter(u"pitchInput"_s, u"999"_s, u"turnToButton"_s),
        shown(longFrame("ee84002c010000")));
    one("yaw beyond the range", Gimbal, enter(u"yawInput"_s, u"-181"_s, u"turnToButton"_s),
        shown(longFrame("ee84000000f8f8")));
    one("frame size", Functions, choose(u"followframesizecombo"_s, 5), shortFrame(0x24, 0x00, 5));
    one("visible zoom typed", Functions, enter(u"kjgrowCombo"_s, u"12"_s, u"kjgzoomtobutton"_s),
        shortFrame(0x1f, 0x00, 12));
    one(
        "thermal zoom chosen", Functions,
        [](DrawerUi &ui) {
            pick(ui, u"rcxrowCombo"_s, 3);
            ui.click(u"rcxzoomtobutton"_s);
        },
        shortFrame(0x17, 0x00, 4));
    one("query SBUS", Sbus, click(u"sbusQueryButton"_s), shortFrame(0x1e, 0x00));

    // Each flipped twice: to the other state and back.
    const auto both = [](const char *row, const QString &first, const QString &second) {
        QTest::newRow(row) << int(Functions) << clickTwice(QLatin1StringView(row) + u"Switch"_s)
                           << QStringList{first, second};
    };
    both("manualfocusrow", shortFrame(0x1d, 0x00), shortFrame(0x1d, 0x01));
    both("osdshowrow", shortFrame(0x19, 0x01), shortFrame(0x19, 0x00));
    both("targetcheckrow", shortFrame(0x11, 0x03), shortFrame(0x11, 0x02));
    both("trackautozoomrow", shortFrame(0x1a, 0x00), shortFrame(0x1a, 0x01));
    both("continuousdistancerow", shortFrame(0x16, 0x01), shortFrame(0x16, 0x02));
    both("clearfrogrow", shortFrame(0x1c, 0x05, 3), shortFrame(0x1c, 0x06));
    both("electroniczoomrow", shortFrame(0x1c, 0x00), shortFrame(0x1c, 0x01));
    both("laserlightrow", shortFrame(0x1b, 0x00), shortFrame(0x1b, 0x01));
    // Switched on it only changes what a click on the video means.
    one("pointtrackrow", Functions, clickTwice(u"pointtrackrowSwitch"_s), shortFrame(0x11, 0x01));

    int code = 0;
    for (const char *direction : {"left", "right", "up", "down"}) {
        for (const int size : {0, 1})
            QTest::addRow("trim %s %d", direction, size)
                << int(Positioning)
                << click(u"%1button%2"_s.arg(QLatin1StringView(direction)).arg(size + 1))
                << QStringList{shortFrame(0x27, 0x00, code, size)};
        ++code;
    }
}

void TestDrawer::controlSendsItsFrames()
{
    QFETCH(int, page);
    QFETCH(Gesture, gesture);
    QFETCH(QStringList, frames);
    DrawerUi &ui = shared(Page(page));
    gesture(ui);
    QCOMPARE(ui.pod().waitForFrames(frames.size()), frames);
    QTest::qWait(50);
    QCOMPARE(ui.pod().frames(), QStringList());
}

void TestDrawer::badInputSendsNothing_data()
{
    QTest::addColumn<int>("page");
    QTest::addColumn<Gesture>("gesture");
    QTest::addColumn<QString>("message");
    QTest::addColumn<bool>("linked");
    const auto bad = [](const char *name, Page page, const char *field, const QString &text,
                        const char *button, const QString &message) {
        QTest::newRow(name) << int(page)
                            << enter(QLatin1StringView(field), text, QLatin1StringView(button))
                            << message << (QLatin1StringView(button) != u"tcpButton"_s);
    };
    const QString address = u"请输入正确的IP地址"_s;
    const QString port = u"请输入正确的端口 (1-65535)"_s;
    const QString encoder = u"请输入或选择正确的IP地址，网关，码率，分辨率和编码方式"_s;
    bad("stream", Info, "urlInput", u"http://x"_s, "urlButton",
        u"请输入以 rtsp:// 或 udp:// 开头的流地址"_s);
    bad("256 in an address", Info, "ipInput", u"1.2.3.256"_s, "tcpButton", address);
    bad("three parts", Info, "ipInput", u"1.2.3"_s, "tcpButton", address);
    bad("five parts", Info, "ipInput", u"1.2.3.4.5"_s, "tcpButton", address);
    bad("empty part", Info, "ipInput", u"1..3.4"_s, "tcpButton", address);
    bad("letter in a part", Info, "ipInput", u"1.2.3.4x"_s, "tcpButton", address);
    bad("negative part", Info, "ipInput", u"1.2.3.-4"_s, "tcpButton", address);
    bad("port 0", Info, "portInput", u"0"_s, "tcpButton", port);
    bad("port too large", Info, "portInput", u"65536"_s, "tcpButton", port);
    bad("no port name", Info, "portslist", {}, "comButton", u"错误: 没有选择有效的串口"_s);
    bad("no baud rate", Info, "baudRateInput", {}, "comButton", u"请输入正确的波特率"_s);
    bad("encoder unread", Info, "ipaddresstext", u"1.2.3.4"_s, "b7nSetButton", encoder);
    bad("no pitch", Gimbal, "pitchInput", {}, "turnToButton", u"请输入正确的俯仰和航向角度"_s);
    bad("no number", Gimbal, "yawInput", u"1-"_s, "turnToButton", u"请输入正确的俯仰和航向角度"_s);
    bad("zoom too large", Functions, "kjgrowCombo", u"41"_s, "kjgzoomtobutton",
        u"请输入正确的变倍倍数: 1-40"_s);
    bad("zoom 0", Functions, "rcxrowCombo", u"0"_s, "rcxzoomtobutton",
        u"请输入正确的变倍倍数: 1-8"_s);
    bad("no file", Firmware, "updatebaudRateInput", u"9600"_s, "comupdateButton",
        u"请选择固件文件"_s);
}

void TestDrawer::badInputSendsNothing()
{
    QFETCH(int, page);
    QFETCH(Gesture, gesture);
    QFETCH(QString, message);
    QFETCH(bool, linked);
    DrawerUi &ui = shared(Page(page), linked);
    gesture(ui);
    QTRY_COMPARE_WITH_TIMEOUT(boxText(ui), message, kWaitMs);
    QTest::qWait(100);
    QCOMPARE(ui.pod().frames(), QStringList());
    QCOMPARE(ui.backend().isConnected(), linked);
    QCOMPARE(ui.setting(u"TCP/deviceIp"_s).toString(), u"127.0.0.1"_s);
    QCOMPARE(ui.setting(u"TCP/devicePort"_s).toInt(), 2001);
    QCOMPARE(ui.setting(u"RTSP/rtspIp"_s).toString(), QString());
    QVERIFY(!ui.setting(u"COM/baudRate"_s).isValid());
    QTest::keyClick(ui.window(), Qt::Key_Escape);
    QTRY_VERIFY_WITH_TIMEOUT(ui.video()->hasActiveFocus(), kWaitMs);
}

QTEST_MAIN(TestDrawer)
#include "tst_drawer.moc"
