// Beginning, ending and beginning anew of server-assisted upgrades, and the ports they look for.

#include "LogCatcher.h"
#include "UpgradeRig.h"

#include <QElapsedTimer>
#include <QTest>

#include <atomic>
#include <memory>

using namespace Qt::StringLiterals;
using Stage = UpgradeExchange::Stage;

namespace {

constexpr int kWaitMs = 20000;

} // namespace

class TestUpgradeLife : public QObject
{
    Q_OBJECT

private slots:
    void abortedUpgradeCanBeginAnew();
    void finishedUpgradeCanBeginAnew();
    void unplugIsReported();
    void endingFromItsOwnMessages_data();
    void endingFromItsOwnMessages();
    void destructionInMidUpgrade_data();
    void destructionInMidUpgrade();
    void lateTimeoutOfAnEndedUpgradeIsNotShown();
    void noDevice_data();
    void noDevice();
    void portThatCannotBeOpened();
};

void TestUpgradeLife::abortedUpgradeCanBeginAnew()
{
    UpgradeRig rig({.image = UpgradeRig::randomBytes(5800)});
    rig.begin();
    QTRY_VERIFY_WITH_TIMEOUT(rig.backend->upgradeProgress() >= 20, kWaitMs);
    rig.backend->completeUpdate();
    QCOMPARE(rig.backend->message(), u" "_s);
    QCOMPARE(rig.backend->upgradeProgress(), 0);
    QVERIFY(!rig.backend->onlineUpgrade()->isRunning());
    const qsizetype told = rig.messages().size();

    rig.progress.clear();
    rig.begin();
    QTRY_VERIFY_WITH_TIMEOUT(rig.isFinished(), kWaitMs);
    QCOMPARE(rig.messages().mid(told), UpgradeRig::expectedMessages(50));
    QCOMPARE(rig.progress, UpgradeRig::expectedProgress(50));
}

void TestUpgradeLife::finishedUpgradeCanBeginAnew()
{
    UpgradeRig rig({});
    rig.begin();
    QTRY_VERIFY_WITH_TIMEOUT(rig.isFinished(), kWaitMs);
    rig.begin();
    QTRY_VERIFY_WITH_TIMEOUT(
        rig.commandTypes() == UpgradeRig::kThreeChunkRun + u' ' + UpgradeRig::kThreeChunkRun
            && rig.isFinished(),
        kWaitMs);
    QCOMPARE(rig.messages(), UpgradeRig::expectedMessages(3) + UpgradeRig::expectedMessages(3));
}

void TestUpgradeLife::unplugIsReported()
{
    auto rig = std::make_unique<UpgradeRig>(UpgradeRig::Setup{.faults = {u"boot mute 21"_s}});
    rig->begin();
    QTRY_COMPARE_WITH_TIMEOUT(rig->stage(), Stage::UuidSent, kWaitMs);
    const LogCatcher log;
    rig->unplug();
    QTRY_VERIFY_WITH_TIMEOUT(log.contains(u"串口错误: "_s), kWaitMs);
    QTest::qWait(50); // in which nothing more may come
    QCOMPARE(log.count(u"串口错误: "_s), 1);
    rig->backend->completeUpdate();
    QVERIFY(!rig->backend->onlineUpgrade()->isRunning());
}

void TestUpgradeLife::endingFromItsOwnMessages_data()
{
    QTest::addColumn<QString>("message");
    for (const QString &text : UpgradeRig::expectedMessages(2))
        QTest::newRow(text.toUtf8().constData()) << text;
}

void TestUpgradeLife::endingFromItsOwnMessages()
{
    QFETCH(const QString, message);
    UpgradeRig rig({.image = UpgradeRig::randomBytes(232)});
    bool ended = false;
    QObject::connect(rig.backend.get(), &CMain::messageChanged, rig.backend.get(), [&] {
        if (ended || rig.lastMessage() != message)
            return;
        ended = true;
        rig.backend->completeUpdate();
    });
    rig.begin();
    QTRY_VERIFY_WITH_TIMEOUT(ended, kWaitMs);
    // The choice of the port comes before the worker: there was nothing to end yet.
    if (message == u"使用端口:P"_s)
        return;
    QVERIFY(!rig.backend->onlineUpgrade()->isRunning());
    QCOMPARE(rig.lastMessage(), u" "_s);
    QTRY_VERIFY(rig.backend->findChildren<QtSerialPortThread *>().isEmpty());
    QCOMPARE(rig.lastMessage(), u" "_s);
}

void TestUpgradeLife::destructionInMidUpgrade_data()
{
    QTest::addColumn<Stage>("stage");
    QTest::addColumn<QStringList>("faults");
    QTest::newRow("settling") << Stage::Idle << QStringList();
    QTest::newRow("answer outstanding") << Stage::StartSent << QStringList{u"boot mute 00"_s};
    QTest::newRow("uid waits") << Stage::StartAccepted << QStringList{u"server hangup 9"_s};
    QTest::newRow("before the request") << Stage::Type15Accepted << QStringList();
    QTest::newRow("chunks") << Stage::ChunkSent << QStringList{u"boot mute 23/2"_s};
    QTest::newRow("done") << Stage::ChunkAccepted << QStringList();
}

void TestUpgradeLife::destructionInMidUpgrade()
{
    QFETCH(const Stage, stage);
    QFETCH(const QStringList, faults);
    UpgradeRig rig(
        {.faults = faults,
         .times = {.settleMs = stage == Stage::Idle ? 60000 : 20, .serverWaitMs = 60000}});
    rig.begin();
    QTRY_COMPARE_WITH_TIMEOUT(rig.stage(), stage, kWaitMs);
    QElapsedTimer clock;
    clock.start();
    rig.backend.reset();
    QVERIFY2(clock.elapsed() < 5000, "a wait was not cut short");
}

void TestUpgradeLife::lateTimeoutOfAnEndedUpgradeIsNotShown()
{
    UpgradeRig rig({.faults = {u"boot mute 00"_s}});
    rig.begin();
    std::atomic<bool> reported = false;
    QObject::connect(
        rig.backend->findChild<QtSerialPortThread *>(), &QtSerialPortThread::serialError,
        rig.backend.get(), [&] { reported = true; }, Qt::DirectConnection);
    QTRY_COMPARE_WITH_TIMEOUT(rig.peerLines(u"boot command"_s).size(), 1, kWaitMs);
    // Let the worker thread report while this thread does not look, so that the report is queued.
    QElapsedTimer clock;
    clock.start();
    while (!reported && clock.elapsed() < kWaitMs)
        QThread::msleep(5);
    QVERIFY(reported);
    rig.backend->completeUpdate();
    QCoreApplication::sendPostedEvents();
    QCOMPARE(rig.lastMessage(), u" "_s);
}

void TestUpgradeLife::noDevice_data()
{
    using Ports = QList<SerialPortEntry>;
    constexpr quint16 kVendor = 0x0483;
    constexpr quint16 kProduct = 0x56CE;
    QTest::addColumn<Ports>("ports");
    QTest::addColumn<QString>("found");
    QTest::newRow("none") << Ports{} << QString();
    QTest::newRow("no ids") << Ports{{u"COM3"_s, {}, {}}} << QString();
    QTest::newRow("other product") << Ports{{u"COM3"_s, kVendor, quint16(0x5740)}} << QString();
    QTest::newRow("other vendor") << Ports{{u"COM3"_s, quint16(0x0484), kProduct}} << QString();
    QTest::newRow("vendor alone") << Ports{{u"COM3"_s, kVendor, {}}} << QString();
    QTest::newRow("COM1 never") << Ports{{u"com1"_s, kVendor, kProduct}} << QString();
    QTest::newRow("COM10 is not COM1") << Ports{{u"COM10"_s, kVendor, kProduct}} << u"COM10"_s;
    QTest::newRow("first of two") << Ports{{u"COM1"_s, kVendor, kProduct},
                                           {u"COM4"_s, kVendor, kProduct},
                                           {u"COM5"_s, kVendor, kProduct}}
                                  << u"COM4"_s;
}

void TestUpgradeLife::noDevice()
{
    QFETCH(const QList<SerialPortEntry>, ports);
    QFETCH(const QString, found);
    CMain backend;
    OnlineUpgrade::Environment environment;
    environment.listPorts = [&] { return ports; };
    environment.worker.settleMs = 60000;
    backend.onlineUpgrade()->setEnvironment(environment);
    backend.beginUpdate();
    QCOMPARE(backend.message(), found.isEmpty() ? u"错误：未找到目标设备，请检查设备是否连接"_s
                                                : u"使用端口:"_s + found);
    QCOMPARE(backend.onlineUpgrade()->isRunning(), !found.isEmpty());
}

void TestUpgradeLife::portThatCannotBeOpened()
{
    CMain backend;
    OnlineUpgrade::Environment environment;
    environment.listPorts = [] {
        return QList<SerialPortEntry>{
            {u"/nonexistent/tty"_s, pod_port::kVendorId, pod_port::kProductId}};
    };
    environment.worker.settleMs = 0;
    backend.onlineUpgrade()->setEnvironment(environment);
    backend.beginUpdate();
    QVERIFY(backend.onlineUpgrade()->isRunning());
    QTRY_VERIFY(!backend.onlineUpgrade()->isRunning());
    const QString start = u"无法打开串口 /nonexistent/tty: "_s;
    QVERIFY(backend.message().startsWith(start));
    QVERIFY(backend.message().size() > start.size());
}

QTEST_GUILESS_MAIN(TestUpgradeLife)
#include "tst_upgrade_life.moc"
