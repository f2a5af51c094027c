// The backend's own conduct: link management, messages, property writes, time-outs.

#include "CMain.h"
#include "PtyPair.h"
#include "SignalLog.h"
#include "TcpPeer.h"
#include "link/ICommunication.h"

#include <QJsonObject>
#include <QPointer>
#include <QTest>

#include <algorithm>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

constexpr int kWaitMs = 20000;
const QString kHost = u"127.0.0.1"_s;
const QString kDown = u"connectionChanged(false) b7nIPAddressChanged() versionChanged()"_s;

} // namespace

class TestCMain : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void writesNotifyByTheirOwnRules();
    void messages();
    void mapData();
    void connects();
    void replacesTheLink();
    void disconnectIsGuarded();
    void sbusQuery();

private:
    bool connectTcp() { return m_backend->connectTCP(kHost, m_pod->port()) && m_pod->accept(); }

    std::unique_ptr<TcpPeer> m_pod;
    std::unique_ptr<CMain> m_backend;
    std::unique_ptr<SignalLog> m_raised;
};

void TestCMain::init()
{
    m_pod = std::make_unique<TcpPeer>();
    m_backend = std::make_unique<CMain>();
    m_raised = std::make_unique<SignalLog>(*m_backend, CMain::staticMetaObject);
}

void TestCMain::writesNotifyByTheirOwnRules()
{
    const auto write = [&](const char *name, const QVariant &value) {
        m_backend->setProperty(name, value);
        return m_backend->property(name) == value ? m_raised->take() : u"not stored"_s;
    };
    for (const bool value : {true, true, false, false}) {
        for (const char *name : {"isEE0A", "isTracking", "isManualFocus"})
            QCOMPARE(write(name, value), QString::fromLatin1(name) + u"Changed()"_s);
    }
    QCOMPARE(write("moveSpeed", 128), QString());
    QCOMPARE(write("moveSpeed", 64), u"moveSpeedChanged()"_s);
    QCOMPARE(write("languageIndex", 0), QString());
    QCOMPARE(write("languageIndex", 1), u"languageIndexChanged()"_s);
    for (const int percent : {0, 7, 7, 100, 0})
        m_backend->updateProgress(percent);
    QCOMPARE(m_raised->take(), u"upgradeProgressChanged(7) upgradeProgressChanged(100) "
                               "upgradeProgressChanged(0)"_s);
}

void TestCMain::messages()
{
    auto *link = m_backend->findChild<ICommunication *>();
    for (const QString &text : {u"完成"_s, u"完成"_s, QString()})
        m_backend->onShowMessage(text);
    for (const QString &text : {u"下一个"_s, u"下一个"_s, QString()})
        m_backend->setProperty("message", text);
    QCOMPARE(m_raised->take(), u"messageChanged(完成) messageChanged(下一个)"_s);
    for (const QString &error : {u"线断了"_s, u"线断了"_s, QString()})
        emit link->errorOccurred(error);
    QCOMPARE(m_backend->message(), u"线断了"_s);
    QCOMPARE(m_raised->take(), u"sbusDataError(线断了) messageChanged(线断了) "
                               "sbusDataError(线断了) sbusDataError()"_s);
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

void TestCMain::connects()
{
    const PtyPair line;
    QVERIFY(m_backend->connectSerial(line.slavePath()));
    QCOMPARE(m_raised->take(), u"connectionChanged(true) connectionChanged(true)"_s);
    QVERIFY(connectTcp());
    QCOMPARE(m_raised->take(), u"connectionTypeChanged(TCP) "_s + kDown
                                   + u" connectionChanged(true) connectionChanged(true)"_s);
    const int port = m_pod->port();
    m_pod.reset();
    QVERIFY(!m_backend->connectTCP(kHost, port));
    QCOMPARE(m_raised->take(),
             kDown + u" sbusDataError(Connection refused) messageChanged(Connection refused)"_s);
}

void TestCMain::replacesTheLink()
{
    m_backend->resetConnection();
    QCOMPARE(m_raised->take(), u"connectionChanged(false)"_s);
    QVERIFY(connectTcp());
    m_raised->take();
    QPointer<ICommunication> link = m_backend->findChild<ICommunication *>();
    m_backend->resetConnection();
    QVERIFY2(link, "a reset deletes later");
    QCOMPARE(m_raised->take(), kDown + u" connectionChanged(false)"_s);
    QTRY_VERIFY_WITH_TIMEOUT(!link, kWaitMs);

    QVERIFY(connectTcp());
    m_raised->take();
    link = m_backend->findChild<ICommunication *>();
    for (const QString &same : {u"TCP"_s, u"tcp"_s, u"serial"_s, u"Serial "_s, QString()})
        m_backend->setConnectionType(same);
    QCOMPARE(m_raised->take(), QString());
    QVERIFY(link && m_backend->isConnected());
    m_backend->setProperty("connectionType", u"Serial"_s);
    QVERIFY2(!link, "the old link outlived the switch");
    QCOMPARE(m_raised->take(), u"connectionTypeChanged(Serial) "_s + kDown);
    QCOMPARE(m_backend->findChild<ICommunication *>()->typeName(), u"Serial"_s);
}

void TestCMain::disconnectIsGuarded()
{
    QVERIFY(connectTcp());
    m_raised->take();
    m_backend->disconnect();
    QCOMPARE(m_raised->take(), kDown);
    // The guard holds although there is something to disconnect again.
    QVERIFY(connectTcp());
    m_backend->disconnect();
    QVERIFY(m_backend->isConnected());
    QTRY_VERIFY_WITH_TIMEOUT((m_backend->disconnect(), !m_backend->isConnected()), kWaitMs);
}

void TestCMain::sbusQuery()
{
    const auto timers = m_backend->findChildren<QTimer *>(QString(), Qt::FindDirectChildrenOnly);
    QTimer *timer = *std::ranges::find(timers, 3000, &QTimer::interval);
    m_backend->querySbusData();
    QVERIFY2(!timer->isActive(), "nothing was sent, nothing is awaited");
    QVERIFY(connectTcp());
    m_raised->take();
    m_backend->querySbusData();
    m_pod->send(QByteArray::fromHex("EE060B0001010200030700"));
    QTRY_VERIFY_WITH_TIMEOUT(m_raised->contains(u"versionChanged()"_s), kWaitMs);
    QVERIFY2(timer->isActive(), "another reply ended the wait");
    m_pod->send(QByteArray::fromHex("EE041C") + QByteArray(25, '\x07'));
    QTRY_VERIFY_WITH_TIMEOUT(m_raised->contains(u"sbusPitchIndexChanged()"_s), kWaitMs);
    QVERIFY(!timer->isActive());
    QCOMPARE(m_raised->take(), u"versionChanged() sbusPitchIndexChanged()"_s);

    m_backend->querySbusData();
    QVERIFY(timer->isActive());
    timer->setInterval(0); // the wait is over
    QTRY_VERIFY_WITH_TIMEOUT(m_raised->contains(u"sbusDataError(读取超时)"_s), kWaitMs);
    QCOMPARE(m_raised->take(), u"sbusDataError(读取超时)"_s);
    QVERIFY(!timer->isActive());
}

QTEST_GUILESS_MAIN(TestCMain)
#include "tst_cmain.moc"
