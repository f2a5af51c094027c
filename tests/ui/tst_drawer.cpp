#include "UiHarness.h"

#include <QRegularExpression>
#include <QTest>

#include <functional>
#include <memory>

using namespace Qt::StringLiterals;
class DrawerUi;
using Gesture = std::function<void(DrawerUi &)>;
Q_DECLARE_METATYPE(Gesture)

namespace {

constexpr int kWaitMs = 10000;
constexpr int kSbusChannels = 24;
const QByteArray kStored = "[RTSP]\nrtspIp=\n[TCP]\ndeviceIp=127.0.0.1\ndevicePort=2001\n";

} // namespace

/// The harness, looking for its objects among the visible items too: what a Repeater makes is in
/// no other tree.
class DrawerUi : public UiHarness
{
public:
    using UiHarness::UiHarness;

    QObject *object(const QString &name) const
    {
        QObject *found = name.isEmpty() ? window() : window()->findChild<QObject *>(name);
        return found ? found : named(window()->contentItem(), name);
    }

    QQuickItem *item(const QString &name) const { return qobject_cast<QQuickItem *>(object(name)); }

    QVariant property(const QString &name, const char *property) const
    {
        const QObject *const found = object(name);
        if (!found)
            qFatal("no object %s", qPrintable(name));
        return found->property(property);
    }

    QPoint at(const QString &name, QPointF point) const
    {
        const QQuickItem *const found = item(name);
        if (!found)
            qFatal("no item %s", qPrintable(name));
        return found->mapToScene(point).toPoint();
    }

    QPoint centre(const QString &name) const
    {
        return at(name, {property(name, "width").toDouble() / 2,
                         property(name, "height").toDouble() / 2});
    }

    void press(const QString &name)
    {
        QTest::mousePress(window(), Qt::LeftButton, {}, centre(name));
    }

    void click(const QString &name)
    {
        QTest::mouseClick(window(), Qt::LeftButton, {}, centre(name));
    }

private:
    static QQuickItem *named(QQuickItem *parent, const QString &name)
    {
        for (QQuickItem *child : parent->childItems()) {
            if (child->objectName() == name)
                return child;
            if (QQuickItem *found = named(child, name))
                return found;
        }
        return nullptr;
    }
};

namespace {

enum Page
{
    Info,
    Gimbal,
    Functions,
    Sbus,
    Joystick,
    Positioning,
    Firmware
};

void openPage(DrawerUi &ui, Page page)
{
    ui.item(u"podControlDrawer"_s)->setVisible(true);
    ui.click(u"pageButton%1"_s.arg(page));
    QCOMPARE(ui.property(u"podControlDrawer"_s, "currentPage").toInt(), int(page));
}

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

void typeInto(DrawerUi &ui, const QString &field, const QString &text)
{
    // At the left end: an editable combo box has its arrow on the right.
    QTest::mouseClick(ui.window(), Qt::LeftButton, {}, ui.at(field, {12, 15}));
    QTest::keySequence(ui.window(), QKeySequence::SelectAll);
    QTest::keyClick(ui.window(), Qt::Key_Delete);
    for (const QChar character : text)
        QTest::keyClick(ui.window(), character.toLatin1());
}

void pick(DrawerUi &ui, const QString &box, int index)
{
    QTest::mouseClick(ui.window(), Qt::LeftButton, {},
                      ui.at(box, {ui.item(box)->width() - 10, 15}));
    auto *popup = ui.property(box, "popup").value<QObject *>();
    QTRY_VERIFY_WITH_TIMEOUT(popup->property("opened").toBool(), kWaitMs);
    auto *list = popup->property("contentItem").value<QQuickItem *>();
    QMetaObject::invokeMethod(list, "positionViewAtIndex", Q_ARG(int, index), Q_ARG(int, 4));
    QQuickItem *entry = nullptr;
    QTRY_VERIFY_WITH_TIMEOUT(QMetaObject::invokeMethod(list, "itemAtIndex",
                                                       Q_RETURN_ARG(QQuickItem *, entry),
                                                       Q_ARG(int, index)) &&
                                 entry,
                             kWaitMs);
    QTest::mouseClick(ui.window(), Qt::LeftButton, {},
                      entry->mapToScene(entry->boundingRect().center()).toPoint());
    QTRY_VERIFY_WITH_TIMEOUT(!popup->property("visible").toBool(), kWaitMs);
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

QList<QQuickItem *> everyItem(QQuickItem *parent)
{
    QList<QQuickItem *> items = parent->childItems();
    for (QQuickItem *child : parent->childItems())
        items += everyItem(child);
    return items;
}

QString boxText(DrawerUi &ui)
{
    return ui.property(u"customDialog"_s, "opened").toBool()
               ? ui.property(u"dialogText"_s, "text").toString()
               : QString();
}

QByteArray sealed(QByteArray frame)
{
    frame[2] = char(frame.size() + 1);
    quint8 sum = 0;
    for (const char byte : frame)
        sum = quint8(sum + quint8(byte));
    return frame + char(sum);
}

QByteArray longFrame(const char *hex)
{
    return sealed(QByteArray::fromHex(hex));
}

QString shown(const QByteArray &frame)
{
    return QString::fromLatin1(frame.toHex(' '));
}

QByteArray versionReply(int model)
{
    return sealed(QByteArray::fromHex("ee060000") + char(model) +
                  QByteArray::fromHex("0102000307"));
}

QByteArray sbusFrame(int type, const std::function<int(int)> &channel)
{
    QByteArray frame = QByteArray::fromHex("ee0000");
    frame[1] = char(type);
    for (int i = 0; i < kSbusChannels; ++i)
        frame += char(channel(i));
    return sealed(frame);
}

} // namespace

/// The drawer: from each control to the bytes on the control link, from the pod's replies and the
/// settings file to what the pages show.
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
    void withoutLinkNothingIsTakenOver();
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

void TestDrawer::withoutLinkNothingIsTakenOver()
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

void TestDrawer::tcpConnectsStoresAndDisconnects()
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

void TestDrawer::failedConnectionIsTold()
{
    DrawerUi ui(UiHarness::kNoStream, false);
    openPage(ui, Info);
    typeInto(ui, u"portslist"_s, u"/dev/no-such-port"_s);
    ui.click(u"comButton"_s);
    QTRY_VERIFY_WITH_TIMEOUT(boxText(ui).startsWith(u"串口连接失败"_s), kWaitMs);
    QCOMPARE(ui.property(u"statusText"_s, "text").toString(), u"串口连接失败"_s);
    QCOMPARE(ui.setting(u"COM/baudRate"_s).toInt(), 115200);
}

void TestDrawer::streamAddressIsStoredAndApplied()
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

void TestDrawer::encoderFormShowsThePodAndWritesItBack()
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

void TestDrawer::unreadSbusMapIsQueriedInsteadOfWritten()
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

void TestDrawer::sbusMapKeepsTheEntriesItDoesNotShow()
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

void TestDrawer::sbusMapIsForgottenWithItsLink()
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

void TestDrawer::rowsFollowTheModel_data()
{
    QTest::addColumn<int>("model");
    QTest::addColumn<QStringList>("hidden");
    QTest::addColumn<int>("zoomFactors");
    const QStringList none;
    QTest::newRow("B7N") << 45
                         << QStringList{u"continuousdistancerow"_s, u"laserlightrow"_s, u"rcxrow"_s}
                         << 30;
    QTest::newRow("Baobab") << 46 << QStringList{u"laserlightrow"_s, u"rcxrow"_s} << 40;
    QTest::newRow("Redwood") << 36 << QStringList{u"b7nsettinglayout"_s} << 30;
    QTest::newRow("Alder") << 1 << QStringList{u"b7nsettinglayout"_s} << 30;
    QTest::newRow("without a name") << 99 << none << 40;
    QTest::newRow("not told") << -1 << none << 40;
}

void TestDrawer::rowsFollowTheModel()
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

void TestDrawer::languageChangesEveryPageAndIsKept()
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

void TestDrawer::speedIsWrittenWhenTheHandleIsReleased()
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

void TestDrawer::keyboardReturnsToTheVideo()
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
}

void TestDrawer::joystickPageAssigns()
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

void TestDrawer::planFollowsThePod()
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

void TestDrawer::onlineUpgradeClosesTheLinkFirst()
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

void TestDrawer::fileUrlBecomesAPath_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("path");
    QTest::newRow("rooted") << u"file:///home/a/fw.bin"_s << u"/home/a/fw.bin"_s;
    QTest::newRow("drive letter") << u"file:///C:/a/fw.bin"_s << u"C:/a/fw.bin"_s;
    QTest::newRow("encoded") << u"file:///a/%E5%9B%BA%20b.bin"_s << u"/a/固 b.bin"_s;
}

void TestDrawer::fileUrlBecomesAPath()
{
    QFETCH(QString, url);
    DrawerUi ui(UiHarness::kNoStream, false);
    openPage(ui, Firmware);
    QString path;
    QVERIFY(QMetaObject::invokeMethod(ui.object(u"localUpgradeForm"_s), "localPath",
                                      Q_RETURN_ARG(QString, path), Q_ARG(QString, url)));
    QTEST(path, "path");
}

QTEST_MAIN(TestDrawer)
#include "tst_drawer.moc"
