// Whole server-assisted upgrades: the backend between podsim's bootloader and its upgrade server.

#include "CaseTrace.h"
#include "Files.h"
#include "PodSim.h"
#include "backend/CMain.h"
#include "firmware/online/OnlineUpgrade.h"

#include <QElapsedTimer>
#include <QSemaphore>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <optional>
#include <tuple>
#include <utility>

using namespace Qt::StringLiterals;
using Stage = UpgradeExchange::Stage;
using Times = QtSerialPortThread::Settings;

namespace {

constexpr int kWaitMs = 60000; // for hundreds of chunks under a sanitizer

/// What a faultless run of `chunks` chunks tells, from the choice of the port on.
QStringList expectedMessages(int chunks)
{
    QStringList texts = u"使用端口:P|串口 P 已打开|串口 P 发送Bootloader启动报文|"
                        "串口 P 收到下位机UID D0D1D2D3D4D5D6D7D8D9DADBDCDDDEDF|"
                        "串口 P 设定下位机请求延迟 15000|串口 P 客户端收到服务器应答|"
                        "串口 P 发送UUID|串口 P 发送签名"_s.split(u'|');
    for (int index = 1; index <= chunks; ++index)
        texts.append(u"串口 P 发送固件 %1-%2"_s.arg(index).arg(chunks));
    return texts;
}

/// A backend between podsim's bootloader and upgrade server, with times short enough for a test.
class UpgradeRig
{
public:
    explicit UpgradeRig(int imageSize,
                        Times times = {.settleMs = 20, .serverWaitMs = 60000, .reconnectMs = 800})
        : m_image(mixedBytes(imageSize))
    {
        sim.emplace(QStringList{u"--log"_s, file(u"log"_s), u"--upgrade-bootloader"_s, u"--image"_s,
                                file(u"received"_s), u"--upgrade-server"_s,
                                writeFile(file(u"image"_s), m_image), u"--upgrade-port"_s, u"0"_s,
                                u"--upgrade-ask-delay"_s, u"500"_s});
        times.serverAddress = u"127.0.0.1"_s;
        times.serverPort = sim->upgradePort();
        const SerialPortEntry port{sim->ptyPath(), pod_port::kVendorId, pod_port::kProductId};
        backend->onlineUpgrade()->setEnvironment({[port] { return QList{port}; }, times});
        QObject::connect(
            backend.get(), &CMain::messageChanged, backend.get(),
            [this, port](QString text) { messages += text.replace(port.name, u"P"_s); });
        QObject::connect(backend.get(), &CMain::upgradeProgressChanged, backend.get(),
                         [this](int percent) { progress.append(percent); });
    }

    /// What earlier upgrades told is forgotten.
    void begin(const QString &faults = {})
    {
        for (const QString &fault : faults.split(u';', Qt::SkipEmptyParts))
            sim->fault(fault);
        messages.clear();
        backend->beginUpdate();
    }

    /// True once bootloader and backend have the whole image behind them.
    bool isFinished() const
    {
        return backend->upgradeProgress() == UpgradeExchange::kEndMark
               && stage() == Stage::ChunkAccepted && contentOf(file(u"received"_s)) == m_image;
    }

    QtSerialPortThread *worker() const
    {
        // Of several, the older ones wait to be deleted.
        const auto workers = backend->findChildren<QtSerialPortThread *>();
        return workers.isEmpty() ? nullptr : workers.constLast();
    }

    Stage stage() const { return worker() ? worker()->stage() : Stage::Idle; }

    QString lastMessage() const { return messages.value(messages.size() - 1); }

    /// What follows this beginning in the lines of the peers' log, at most `length` of it.
    QStringList peerLines(const QString &start, qsizetype length = -1) const
    {
        QStringList found;
        for (const QString &line : QString::fromUtf8(contentOf(file(u"log"_s))).split(u'\n'))
            if (line.startsWith(start))
                found.append(line.mid(start.size(), length));
        return found;
    }

    /// Types of the commands that the bootloader received, in order.
    QString commandTypes() const { return peerLines(u"boot command "_s, 2).join(u' '); }

    std::unique_ptr<CMain> backend = std::make_unique<CMain>();
    std::optional<PodSim> sim;
    QStringList messages; // "P" in place of the port's name
    QList<int> progress;

private:
    QString file(const QString &name) const { return m_folder.filePath(name); }

    QTemporaryDir m_folder;
    QByteArray m_image;
};

} // namespace

class TestOnlineUpgrade : public QObject
{
    Q_OBJECT

private slots:
    void wholeImages();
    void everyFailureLeavesTheNextUpgradeFit();
    void endedAndFinishedUpgradesCanBeginAnew();
    void destructionInMidUpgrade();
    void portIsMissingOrTaken();
};

void TestOnlineUpgrade::wholeImages()
{
    struct Row
    {
        int size; // bytes
        QString faults = {};
        QString extra = {}; // messages and answers
        QString commands = u"00 01 0f 21 22 23"_s;
    };
    QCOMPARE(Times().serverPort, 7003); // where the servers in the field listen
    const QList<Row> rows{
        {1},
        // Undecodable and unparsable commands are answered and come again.
        {115, u"boot lowercase"_s, u"10 index 0 status 1"_s},
        {116, u"boot unparsable"_s, u"10 index 0 status 2"_s},
        {117, u"boot garbage;server magic"_s, {}, u"00 01 0f 21 22 23 23"_s},
        {232, u"server split 20;server join"_s, u"报文错误: 收到错误应答码: 7"_s,
         u"00 01 0f 21 22 23 23"_s},
        {233,
         u"boot resend 00 2;boot resend 01;boot resend 0f;boot resend 21;boot resend 22 3;"
         "boot resend 23/2 2"_s,
         // The same text twice running is told once.
         u"串口 P 重发Bootloader启动报文;串口 P 重新设定下位机请求延迟 15000;"
         "串口 P 重新发送UUID;串口 P 重新发送签名;串口 P 重新发送固件 2-3"_s,
         u"00 00 00 01 01 0f 0f 21 21 22 22 22 22 23 23 23 23 23"_s},
        // The second connection comes while the UID waits, which must not stop the event loop, and
        // while the bootloader grows impatient.
        {233, u"server hangup 1;boot again 3"_s, {}, u"00 01 0f 21 22 23 23 23"_s},
        {102400, {}, {}, u"00 01 0f 21 22"_s + u" 23"_s.repeated(883)}, // both bytes of the index
    };
    for (const Row &row : rows) {
        UpgradeRig rig(row.size);
        rig.begin(row.faults);
        QTRY_VERIFY_WITH_TIMEOUT(rig.isFinished(), kWaitMs);
        QStringList told = rig.messages + rig.peerLines(u"boot answered "_s);
        for (const QString &text : row.extra.split(u';', Qt::SkipEmptyParts))
            QVERIFY2(told.removeOne(text), qPrintable(text));
        const int chunks = (row.size + 115) / 116;
        QCOMPARE(told, expectedMessages(chunks)
                           + u"10 index 16 status 0|11 index 17 status 0|"
                             "12 index 18 status 0|13 index 19 status 0"_s.split(u'|'));
        if (chunks == 3)
            QCOMPARE(rig.progress, QList({1, 2, 3, 33, 66, 100, UpgradeExchange::kEndMark}));
        QCOMPARE(rig.peerLines(u"boot error"_s), QStringList());
        QCOMPARE(rig.peerLines(u"server message "_s),
                 QStringList{u"01000000d0d1d2d3d4d5d6d7d8d9dadbdcdddedf"_s});
        QCOMPARE(rig.commandTypes(), row.commands);
        QStringList commands = rig.peerLines(u"boot command "_s);
        commands.removeDuplicates();
        QCOMPARE(
            commands.mid(0, 5).join(u' '),
            u"00 1/1 00 01 1/1 3a98 0f 1/1 0001 21 1/1 a0a1a2a3a4a5a6a7a8a9aaabacadaeaf 22 1/1 "
            "404142434445464748494a4b4c4d4e4f505152535455565758595a5b5c5d5e5f"
            "606162636465666768696a6b6c6d6e6f707172737475767778797a7b7c7d7e7f"_s);
    }
}

void TestOnlineUpgrade::everyFailureLeavesTheNextUpgradeFit()
{
    const QString mute = u"应答超时"_s;
    const QString opened = u"串口 P 已打开"_s; // a refusal tells nothing of its own
    const QString uid = u"串口 P 收到下位机UID D0D1D2D3D4D5D6D7D8D9DADBDCDDDE"_s;
    // The exchange goes on with nothing to hand over, which the bootloader refuses.
    const QString noUuid = u"00 01 0f 21"_s;
    // The fault, the stage that the upgrade ends in, its commands, what it tells.
    const QList<std::tuple<QString, Stage, QString, QString>> rows{
        {u"boot refuse 00"_s, Stage::Refused, u"00"_s, opened},
        {u"boot mute 00"_s, Stage::StartSent, u"00"_s, mute},
        {u"boot uid 15"_s, Stage::StartAccepted, u"00"_s, uid + u", UID长度错误"_s},
        {u"boot uid 16;server hangup 1"_s, Stage::StartAccepted, u"00"_s,
         uid + u"DF, 客户端未连接"_s},
        {u"boot refuse 01"_s, Stage::Refused, u"00 01"_s, opened},
        {u"boot mute 01"_s, Stage::DelaySent, u"00 01"_s, mute},
        {u"boot refuse 0f"_s, Stage::Refused, u"00 01 0f"_s, opened},
        {u"server code 80000001"_s, Stage::Refused, noUuid, u"报文错误: 收到错误应答"_s},
        {u"server code FFFFFFFE"_s, Stage::Refused, noUuid,
         u"报文错误: 收到错误应答码: 4294967294"_s},
        {u"server silent"_s, Stage::Refused, noUuid, u"串口 P 发送UUID"_s},
        {u"boot refuse 21"_s, Stage::Refused, noUuid, opened},
        {u"boot mute 21"_s, Stage::UuidSent, noUuid, mute},
        {u"boot refuse 22"_s, Stage::Refused, u"00 01 0f 21 22"_s, opened},
        {u"boot refuse 23/2"_s, Stage::Refused, u"00 01 0f 21 22 23 23"_s, opened},
        {u"boot mute 23/2"_s, Stage::ChunkSent, u"00 01 0f 21 22 23 23"_s, mute},
    };
    UpgradeRig rig(233, {.settleMs = 20, .serverWaitMs = 1000, .reconnectMs = kWaitMs});
    QStringList commands;
    int refusedUids = 0;
    for (const auto &[faults, stage, types, message] : rows) {
        const CaseTrace trace(faults);
        rig.begin(faults);
        QTRY_COMPARE_WITH_TIMEOUT(rig.stage(), stage, kWaitMs);
        QElapsedTimer timer;
        timer.start();
        QTRY_COMPARE_WITH_TIMEOUT(rig.messages.count(message), 1, kWaitMs);
        QVERIFY(message != mute || timer.elapsed() < 3000);
        // Nothing was sent between the end of one and the begin of the next.
        commands.append(types);
        QCOMPARE(rig.commandTypes(), commands.join(u' '));
        refusedUids += message.startsWith(uid) ? 1 : 0;
        QTRY_COMPARE_WITH_TIMEOUT(rig.peerLines(u"boot answered 10 index 16 status 1"_s).size(),
                                  refusedUids, kWaitMs);
    }
    QCOMPARE(rig.peerLines(u"boot error: "_s), QStringList(3, u"length of 21"_s));
    QCOMPARE(rig.peerLines(u"server message "_s).size(), rows.size() - 4); // those with a sound UID
    rig.begin();
    QTRY_VERIFY_WITH_TIMEOUT(rig.isFinished(), kWaitMs);
    QCOMPARE(rig.commandTypes(), (commands << u"00 01 0f 21 22 23 23 23"_s).join(u' '));
    QCOMPARE(rig.messages, expectedMessages(3));
}

void TestOnlineUpgrade::endedAndFinishedUpgradesCanBeginAnew()
{
    UpgradeRig rig(116);
    // The choice of the port comes before the worker: there is nothing to end yet.
    for (const QString &message : expectedMessages(1).mid(1)) {
        bool ended = false;
        const auto connection =
            QObject::connect(rig.backend.get(), &CMain::messageChanged, rig.backend.get(), [&] {
                if (rig.lastMessage() == message && !std::exchange(ended, true))
                    rig.backend->completeUpdate();
            });
        rig.begin();
        QTRY_VERIFY_WITH_TIMEOUT(ended, kWaitMs);
        QObject::disconnect(connection);
        QVERIFY(!rig.backend->onlineUpgrade()->isRunning());
        QTRY_VERIFY(rig.backend->findChildren<QtSerialPortThread *>().isEmpty());
        QCOMPARE(rig.lastMessage(), u" "_s);
        QCOMPARE(rig.backend->upgradeProgress(), 0);
    }

    // The missing answer is told while this thread does not look: its telling comes too late.
    const auto commands = rig.peerLines(u"boot command"_s).size();
    rig.begin(u"boot mute 00"_s);
    QSemaphore told;
    QObject::connect(
        rig.worker(), &QtSerialPortThread::serialError, rig.worker(), [&] { told.release(); },
        Qt::DirectConnection);
    QTRY_COMPARE_WITH_TIMEOUT(rig.peerLines(u"boot command"_s).size(), commands + 1, kWaitMs);
    QVERIFY(told.tryAcquire(1, kWaitMs));
    rig.backend->completeUpdate();
    QCoreApplication::sendPostedEvents();
    QCOMPARE(rig.lastMessage(), u" "_s);

    for (int run = 0; run < 2; ++run) {
        rig.begin();
        // The end of the run before is no end of this one.
        QTRY_VERIFY_WITH_TIMEOUT(rig.messages == expectedMessages(1) && rig.isFinished(), kWaitMs);
    }
}

void TestOnlineUpgrade::destructionInMidUpgrade()
{
    // While it settles, an answer is due, the UID waits, before the request, among chunks, after.
    for (const auto &[stage, fault] : {std::pair(Stage::Idle, u""_s),
                                       {Stage::StartSent, u"boot mute 00"_s},
                                       {Stage::StartAccepted, u"server hangup 9"_s},
                                       {Stage::Type15Accepted, u""_s},
                                       {Stage::ChunkSent, u"boot mute 23/2"_s},
                                       {Stage::ChunkAccepted, u""_s}}) {
        const CaseTrace trace(fault);
        const int settleMs = stage == Stage::Idle ? kWaitMs : 20;
        UpgradeRig rig(233, {.settleMs = settleMs, .serverWaitMs = kWaitMs});
        rig.begin(fault);
        QTRY_COMPARE_WITH_TIMEOUT(rig.stage(), stage, kWaitMs);
        QElapsedTimer clock;
        clock.start();
        rig.backend.reset();
        QVERIFY2(clock.elapsed() < 5000, "a wait was not cut short");
    }
}

void TestOnlineUpgrade::portIsMissingOrTaken()
{
    CMain backend;
    QList<SerialPortEntry> ports;
    backend.onlineUpgrade()->setEnvironment({[&] { return ports; }, {.settleMs = 0}});
    backend.beginUpdate();
    QCOMPARE(backend.message(), u"错误：未找到目标设备，请检查设备是否连接"_s);
    QVERIFY(!backend.onlineUpgrade()->isRunning());
    ports.append({u"/nonexistent/tty"_s, pod_port::kVendorId, pod_port::kProductId});
    backend.beginUpdate();
    QVERIFY(backend.onlineUpgrade()->isRunning());
    QTRY_VERIFY(!backend.onlineUpgrade()->isRunning());
    QVERIFY(backend.message().startsWith(u"无法打开串口 /nonexistent/tty: "_s));
}

QTEST_GUILESS_MAIN(TestOnlineUpgrade)
#include "tst_online_upgrade.moc"
