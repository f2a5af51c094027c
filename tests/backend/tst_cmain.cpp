// The backend's own conduct: link management, messages, property writes, time-outs.

#include "CMain.h"
#include "LogCatcher.h"
#include "PropertySnapshot.h"
#include "PtyPair.h"
#include "SignalLog.h"
#include "TcpPeer.h"
#include "link/ICommunication.h"

#include <QJsonObject>
#include <QPointer>
#include <QRegularExpression>
#include <QSerialPortInfo>
#include <QTest>

#include <algorithm>
#include <functional>
#include <memory>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr int kWaitMs = 20000;
const QString kHost = u"127.0.0.1"_s;
// Of this run alone: ports are locked by name while they are opened.
const QString kMissingPort = u"/dev/no-such-port-%1"_s.arg(QCoreApplication::applicationPid());

const QByteArray kVersion = QByteArray::fromHex("EE060B0001010200030700");
const QByteArray kSbus = QByteArray::fromHex("EE041C") + QByteArray(25, '\x07');

} // namespace

class TestCMain : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void startValues();
    void writesNotifyByTheirOwnRules();
    void messageKeepsTheLastText();
    void linkErrorBecomesMessage();
    void mapData();
    void availablePorts();

    void connectSignalsTwice_data();
    void connectSignalsTwice();
    void failedConnectIsReported();
    void typeSwitch();
    void disconnectIsGuarded();
    void resetReplacesTheLink();
    void linkReplacedByItsOwnSignal_data();
    void linkReplacedByItsOwnSignal();
    void destructionClosesTheLink();

    void sbusQueryTimesOut();
    void sbusQueryIsAnswered();

private:
    bool connectTcp();
    /// Waits until the far end of the link was closed.
    bool podSeesClose();
    QTimer *sbusTimer() const;

    std::unique_ptr<TcpPeer> m_pod;
    std::unique_ptr<CMain> m_backend;
};

void TestCMain::init()
{
    m_pod = std::make_unique<TcpPeer>();
    m_backend = std::make_unique<CMain>();
}

bool TestCMain::connectTcp()
{
    return m_backend->connectTCP(kHost, m_pod->port()) && m_pod->accept();
}

bool TestCMain::podSeesClose()
{
    return QTest::qWaitFor([this] { return !m_pod->hasClient(); }, kWaitMs);
}

QTimer *TestCMain::sbusTimer() const
{
    const auto timers = m_backend->findChildren<QTimer *>(QString(), Qt::FindDirectChildrenOnly);
    const auto found = std::ranges::find_if(timers, [](const QTimer *timer) {
        return timer->isSingleShot() && timer->interval() == 3000;
    });
    return found == timers.end() ? nullptr : *found;
}

void TestCMain::startValues()
{
    const QString expected =
        u"isConnected=false message= connectionType=Serial yaw=0 pitch=0 roll=0 recording=false "
        "workMode=Unknown zoom=1 zoomint=1 tracking=false targetLatitude=0 targetLongitude=0 "
        "targetAltitude=0 laserdistance=0 planeLatitude=0 planeLongitude=0 planeAltitude=0 "
        "planeYaw=0 isEE0A=false versionno= isTracking=false isManualFocus=false moveSpeed=128 "
        "languageIndex=0 upgradeProgress=0 b7nIPAddress= b7nGateWay= b7nBitRateIndex=-1 "
        "b7nResolutionIndex=-1 b7nEncodeTypeIndex=-1"_s;
    const QStringList lines = PropertySnapshot(*m_backend).lines();
    QCOMPARE(lines.first(31).join(u' '), expected);
    QCOMPARE(lines.mid(31, 13).filter(QRegularExpression(u"^sbus\\w+Index=0$"_s)).size(), 13);
}

void TestCMain::writesNotifyByTheirOwnRules()
{
    SignalLog raised(*m_backend, CMain::staticMetaObject);
    const auto write = [&](const char *name, const QVariant &value) {
        m_backend->setProperty(name, value);
        return m_backend->property(name) == value ? raised.take() : u"not stored"_s;
    };
    for (const bool value : {true, true, false, false}) {
        QCOMPARE(write("isEE0A", value), u"isEE0AChanged()"_s);
        QCOMPARE(write("isTracking", value), u"isTrackingChanged()"_s);
        QCOMPARE(write("isManualFocus", value), u"isManualFocusChanged()"_s);
    }
    QCOMPARE(write("moveSpeed", 128), QString());
    QCOMPARE(write("moveSpeed", 64), u"moveSpeedChanged()"_s);
    QCOMPARE(write("moveSpeed", 64), QString());
    QCOMPARE(write("languageIndex", 0), QString());
    QCOMPARE(write("languageIndex", 1), u"languageIndexChanged()"_s);
    QCOMPARE(write("connectionType", u"TCP"_s), u"connectionTypeChanged(TCP)"_s);

    for (const int percent : {0, 7, 7, 100, 0})
        m_backend->updateProgress(percent);
    QCOMPARE(raised.take(), u"upgradeProgressChanged(7) upgradeProgressChanged(100) "
                            "upgradeProgressChanged(0)"_s);
}

void TestCMain::messageKeepsTheLastText()
{
    SignalLog raised(*m_backend, CMain::staticMetaObject);
    const LogCatcher log;
    m_backend->onShowMessage(u"完成"_s);
    m_backend->onShowMessage(u"完成"_s);
    m_backend->onShowMessage(QString());
    QCOMPARE(m_backend->message(), u"完成"_s);
    QCOMPARE(raised.take(), u"messageChanged(完成)"_s);
    QCOMPARE(log.count(u"显示:"_s), 3);

    m_backend->setProperty("message", u"下一个"_s);
    m_backend->setProperty("message", u"下一个"_s);
    m_backend->setProperty("message", QString());
    QCOMPARE(m_backend->message(), u"下一个"_s);
    QCOMPARE(raised.take(), u"messageChanged(下一个)"_s);
    QCOMPARE(log.count(u"显示:"_s), 3);
}

void TestCMain::linkErrorBecomesMessage()
{
    SignalLog raised(*m_backend, CMain::staticMetaObject);
    const LogCatcher log;
    auto *link = m_backend->findChild<ICommunication *>();
    for (const QString &error : {u"线断了"_s, u"线断了"_s, QString()})
        emit link->errorOccurred(error);
    QCOMPARE(raised.take(), u"sbusDataError(线断了) messageChanged(线断了) sbusDataError(线断了) "
                            "sbusDataError()"_s);
    QCOMPARE(m_backend->message(), u"线断了"_s);
    QCOMPARE(log.count(u"通信错误:"_s), 3);
}

void TestCMain::mapData()
{
    // Yaw -90, target 22.5 north, 114 east.
    const QByteArray frame =
        QByteArray::fromHex("EE0325 0000 0000 0000 7CFC 00 00 403A690D 0005F343")
        + QByteArray(16, '\0');
    emit m_backend->findChild<ICommunication *>()->dataReceived(frame);
    QCOMPARE(m_backend->targetLongitude(), 114.0);
    const QJsonObject expected = {
        {u"defaultLat"_s, 22.5}, {u"defaultLon"_s, 114.0},  {u"sharedLat"_s, 0},
        {u"sharedLon"_s, 0},     {u"dotLat"_s, 22.5},       {u"dotLon"_s, 22.5},
        {u"sectorAngle"_s, 45},  {u"airplaneHeading"_s, 0}, {u"sectorHeading"_s, -90},
    };
    QCOMPARE(m_backend->getMapData(), expected);
}

void TestCMain::availablePorts()
{
    QVariantList expected;
    for (const QSerialPortInfo &port : QSerialPortInfo::availablePorts())
        expected.append(port.portName());
    QCOMPARE(m_backend->getAvailablePorts(), expected);
}

void TestCMain::connectSignalsTwice_data()
{
    QTest::addColumn<bool>("serial");
    QTest::addColumn<QString>("expected");
    QTest::newRow("serial") << true << u"connectionChanged(true) connectionChanged(true)"_s;
    QTest::newRow("tcp") << false
                         << u"connectionTypeChanged(TCP) connectionChanged(true) "
                            "connectionChanged(true)"_s;
}

void TestCMain::connectSignalsTwice()
{
    QFETCH(bool, serial);
    const PtyPair line;
    SignalLog raised(*m_backend, CMain::staticMetaObject);
    QVERIFY(serial ? m_backend->connectSerial(line.slavePath()) : connectTcp());
    QTEST(raised.take(), "expected");
    QVERIFY(m_backend->isConnected());
    QCOMPARE(m_backend->connectionType(), serial ? u"Serial"_s : u"TCP"_s);
}

void TestCMain::failedConnectIsReported()
{
    SignalLog raised(*m_backend, CMain::staticMetaObject);
    QVERIFY(!m_backend->connectSerial(kMissingPort));
    // The port tells the loss before the open is known to have failed.
    QCOMPARE(raised.take(), u"sbusDataError(串口连接丢失: %1) messageChanged(串口连接丢失: %1) "
                            "sbusDataError(%1) messageChanged(%1)"_s.arg(qt_error_string(ENOENT)));

    const int port = m_pod->port();
    m_pod.reset();
    QVERIFY(!m_backend->connectTCP(kHost, port));
    QCOMPARE(raised.take(), u"connectionTypeChanged(TCP) sbusDataError(Connection refused) "
                            "messageChanged(Connection refused)"_s);
    QVERIFY(!m_backend->isConnected());
}

void TestCMain::typeSwitch()
{
    QVERIFY(connectTcp());
    const QPointer<ICommunication> link = m_backend->findChild<ICommunication *>();
    SignalLog raised(*m_backend, CMain::staticMetaObject);
    const LogCatcher log;
    for (const QString &same : {u"TCP"_s, u"tcp"_s, u"serial"_s, u"Serial "_s, QString()})
        m_backend->setConnectionType(same);
    QVERIFY(raised.isEmpty());
    QVERIFY(link && m_backend->isConnected());

    m_backend->setConnectionType(u"Serial"_s);
    QVERIFY2(!link, "the old link outlived the switch");
    QCOMPARE(raised.take(), u"connectionTypeChanged(Serial) connectionChanged(false) "
                            "b7nIPAddressChanged() versionChanged()"_s);
    QCOMPARE(m_backend->findChild<ICommunication *>()->typeName(), u"Serial"_s);
    QVERIFY(log.contains(u"切换到Serial模式"_s));
    QVERIFY(podSeesClose());
}

void TestCMain::disconnectIsGuarded()
{
    QVERIFY(connectTcp());
    SignalLog raised(*m_backend, CMain::staticMetaObject);
    const LogCatcher log;
    const QString skipped = u"Already disconnecting, skip"_s;
    m_backend->disconnect();
    QCOMPARE(raised.take(), u"connectionChanged(false) b7nIPAddressChanged() versionChanged()"_s);
    // The guard holds although there is something to disconnect again.
    QVERIFY(m_backend->connectTCP(kHost, m_pod->port()));
    m_backend->disconnect();
    QCOMPARE(log.count(skipped), 1);
    QCOMPARE(log.count(u"CMain::disconnect called"_s), 2);
    QVERIFY(m_backend->isConnected());
    QTRY_VERIFY_WITH_TIMEOUT((m_backend->disconnect(), !m_backend->isConnected()), kWaitMs);
}

void TestCMain::resetReplacesTheLink()
{
    SignalLog raised(*m_backend, CMain::staticMetaObject);
    m_backend->resetConnection();
    QCOMPARE(raised.take(), u"connectionChanged(false)"_s);

    QVERIFY(connectTcp());
    raised.take();
    const QPointer<ICommunication> old = m_backend->findChild<ICommunication *>();
    const LogCatcher log;
    m_backend->resetConnection();
    QVERIFY2(old, "a reset deletes later");
    QCOMPARE(raised.take(), u"connectionChanged(false) b7nIPAddressChanged() versionChanged() "
                            "connectionChanged(false)"_s);
    QCOMPARE(m_backend->connectionType(), u"TCP"_s);
    QVERIFY(log.contains(u"=== 重置连接 ==="_s) && log.contains(u"连接重置完成"_s));
    QVERIFY(podSeesClose());
    QTRY_VERIFY_WITH_TIMEOUT(!old, kWaitMs);
    QVERIFY(connectTcp());
}

void TestCMain::linkReplacedByItsOwnSignal_data()
{
    using Trigger = std::function<void(TestCMain &)>;
    using Reaction = std::function<void(CMain &)>;
    QTest::addColumn<Trigger>("trigger");
    QTest::addColumn<Reaction>("reaction");
    const std::pair<const char *, Trigger> triggers[] = {
        {"pod closes", [](TestCMain &t) { t.m_pod->close(); }},
        {"operator disconnects", [](TestCMain &t) { t.m_backend->disconnect(); }},
        {"operator resets", [](TestCMain &t) { t.m_backend->resetConnection(); }},
        {"operator switches", [](TestCMain &t) { t.m_backend->setConnectionType(u"Serial"_s); }},
        {"connects again", [](TestCMain &t) { t.m_backend->connectTCP(kHost, t.m_pod->port()); }},
    };
    const std::pair<const char *, Reaction> reactions[] = {
        {"switch", [](CMain &backend) { backend.setConnectionType(u"Serial"_s); }},
        {"reset", [](CMain &backend) { backend.resetConnection(); }},
    };
    for (const auto &[cause, trigger] : triggers) {
        for (const auto &[effect, reaction] : reactions)
            QTest::addRow("%s, %s", cause, effect) << trigger << reaction;
    }
}

void TestCMain::linkReplacedByItsOwnSignal()
{
    using Trigger = std::function<void(TestCMain &)>;
    using Reaction = std::function<void(CMain &)>;
    QFETCH(Trigger, trigger);
    QFETCH(Reaction, reaction);
    QVERIFY(connectTcp());
    bool reacted = false;
    connect(m_backend.get(), &CMain::connectionChanged, this, [&](bool connected) {
        if (!connected && !std::exchange(reacted, true))
            reaction(*m_backend);
    });
    trigger(*this);
    QTRY_VERIFY_WITH_TIMEOUT(reacted, kWaitMs);
    // One link is left, and it works.
    QTRY_COMPARE_WITH_TIMEOUT(m_backend->findChildren<ICommunication *>().size(), 1, kWaitMs);
    QVERIFY(m_backend->connectTCP(kHost, m_pod->port()));
    QVERIFY(m_backend->isConnected());
}

void TestCMain::destructionClosesTheLink()
{
    QVERIFY(connectTcp());
    SignalLog raised(*m_backend, CMain::staticMetaObject);
    m_backend.reset();
    QVERIFY(raised.isEmpty());
    QVERIFY(podSeesClose());
}

void TestCMain::sbusQueryTimesOut()
{
    QVERIFY(sbusTimer());
    QVERIFY(connectTcp());
    QTimer *timer = sbusTimer();
    QVERIFY(!timer->isActive());
    SignalLog raised(*m_backend, CMain::staticMetaObject);
    m_backend->querySbusData();
    QVERIFY(timer->isActive());
    timer->setInterval(0); // the wait is over
    QTRY_VERIFY_WITH_TIMEOUT(raised.count(u"sbusDataError(读取超时)"_s) == 1, kWaitMs);
    QCOMPARE(raised.take(), u"sbusDataError(读取超时)"_s);
    QVERIFY(!timer->isActive());
}

void TestCMain::sbusQueryIsAnswered()
{
    m_backend->querySbusData();
    QVERIFY2(!sbusTimer()->isActive(), "nothing was sent, nothing is awaited");
    QVERIFY(connectTcp());
    SignalLog raised(*m_backend, CMain::staticMetaObject);
    m_backend->querySbusData();
    m_pod->send(kVersion);
    QTRY_VERIFY_WITH_TIMEOUT(raised.count(u"versionChanged()"_s) == 1, kWaitMs);
    QVERIFY2(sbusTimer()->isActive(), "another reply ended the wait");
    m_pod->send(kSbus);
    QTRY_VERIFY_WITH_TIMEOUT(raised.count(u"sbusPitchIndexChanged()"_s) == 1, kWaitMs);
    QVERIFY(!sbusTimer()->isActive());
    QCOMPARE(raised.take(), u"versionChanged() sbusPitchIndexChanged()"_s);
}

QTEST_GUILESS_MAIN(TestCMain)
#include "tst_cmain.moc"
