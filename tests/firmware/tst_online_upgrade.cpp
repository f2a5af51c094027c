// Whole server-assisted upgrades: the backend between podsim's bootloader and its upgrade server.

#include "CMain.h"
#include "LogCatcher.h"
#include "PodSim.h"
#include "firmware/online/OnlineUpgrade.h"

#include <QElapsedTimer>
#include <QFile>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <algorithm>
#include <atomic>
#include <memory>
#include <optional>
#include <tuple>

using namespace Qt::StringLiterals;
using Stage = UpgradeExchange::Stage;
using Ports = QList<SerialPortEntry>;

namespace {

constexpr int kWaitMs = 20000;
constexpr int kLongWaitMs = 120000; // hundreds of chunks under a sanitizer

QByteArray randomBytes(qsizetype size)
{
    QRandomGenerator random(quint32(size) + 1U);
    QByteArray bytes;
    for (qsizetype i = 0; i < size; ++i)
        bytes.append(static_cast<char>(random.bounded(256)));
    return bytes;
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void plug(CMain &backend, const Ports &ports, const QtSerialPortThread::Settings &settings)
{
    backend.onlineUpgrade()->setEnvironment({[ports] { return ports; }, settings});
}

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

QList<int> expectedProgress(int chunks)
{
    QList<int> percents{1, 2, 3};
    for (int index = 1; index <= chunks; ++index) {
        const int percent = std::max(index * 100 / chunks, 3);
        if (percent != percents.constLast()) // the backend tells changes only
            percents.append(percent);
    }
    return percents << UpgradeExchange::kEndMark;
}

/// A backend between podsim's bootloader and upgrade server, with times short enough for a test.
class UpgradeRig
{
public:
    struct Setup
    {
        int imageSize = 233; // three chunks
        QString faults = {}; // lines, apart by a semicolon
        QtSerialPortThread::Settings times = {
            .settleMs = 20, .serverWaitMs = 10000, .reconnectMs = 100};
        bool serverReachable = true;
    };

    explicit UpgradeRig(const Setup &setup)
        : m_image(randomBytes(setup.imageSize))
    {
        QFile image(m_folder.filePath(u"image"_s));
        if (!image.open(QIODevice::WriteOnly) || image.write(m_image) != m_image.size())
            qFatal("UpgradeRig: no image");
        image.close();
        sim.emplace(QStringList{u"--log"_s, m_folder.filePath(u"log"_s), u"--upgrade-bootloader"_s,
                                u"--image"_s, m_folder.filePath(u"received"_s),
                                u"--upgrade-server"_s, image.fileName(), u"--upgrade-port"_s,
                                u"0"_s, u"--upgrade-ask-delay"_s, u"500"_s});
        for (const QString &fault : setup.faults.split(u';', Qt::SkipEmptyParts))
            sim->fault(fault);
        m_port = sim->ptyPath();
        QtSerialPortThread::Settings times = setup.times;
        times.serverAddress = u"127.0.0.1"_s;
        times.serverPort = setup.serverReachable ? sim->upgradePort() : 1; // nobody listens
        plug(*backend, {{u"COM7"_s, {}, {}}, {m_port, pod_port::kVendorId, pod_port::kProductId}},
             times);
        QObject::connect(backend.get(), &CMain::messageChanged, backend.get(),
                         [this](QString text) { messages.append(text.replace(m_port, u"P"_s)); });
        QObject::connect(backend.get(), &CMain::upgradeProgressChanged, backend.get(),
                         [this](int percent) { progress.append(percent); });
    }

    /// What earlier upgrades told is forgotten.
    void begin()
    {
        messages.clear();
        progress.clear();
        backend->beginUpdate();
    }

    /// True once bootloader and backend have the whole image behind them.
    bool isFinished() const
    {
        return backend->upgradeProgress() == UpgradeExchange::kEndMark
               && stage() == Stage::ChunkAccepted
               && contentOf(m_folder.filePath(u"received"_s)) == m_image;
    }

    Stage stage() const
    {
        // Of several, the older ones wait to be deleted.
        const auto workers = backend->findChildren<QtSerialPortThread *>();
        return workers.isEmpty() ? Stage::Idle : workers.constLast()->stage();
    }

    QString lastMessage() const { return messages.value(messages.size() - 1); }

    /// Lines of the peers' log that begin so.
    QStringList peerLines(const QString &start) const
    {
        const QByteArray log = contentOf(m_folder.filePath(u"log"_s));
        QStringList lines = QString::fromUtf8(log).split(u'\n');
        lines.removeIf([&](const QString &line) { return !line.startsWith(start); });
        return lines;
    }

    /// Types of the commands that the bootloader received, in order.
    QString commandTypes() const
    {
        QStringList types;
        for (const QString &line : peerLines(u"boot command"_s))
            types.append(line.section(u' ', 2, 2));
        return types.join(u' ');
    }

    std::unique_ptr<CMain> backend = std::make_unique<CMain>();
    std::optional<PodSim> sim;
    QStringList messages; // "P" in place of the port's name
    QList<int> progress;

private:
    QTemporaryDir m_folder;
    QByteArray m_image;
    QString m_port;
};

} // namespace

class TestOnlineUpgrade : public QObject
{
    Q_OBJECT

private slots:
    void wholeImage_data();
    void wholeImage();
    void everyFailureLeavesTheNextUpgradeFit();
    void uidIsRefused();
    void uidWaitsForServerWithoutFreezing();
    void endedAndFinishedUpgradesCanBeginAnew();
    void destructionInMidUpgrade();
    void lateTimeoutOfAnEndedUpgradeIsNotShown();
    void portsAreChosenByTheirIds();
};

void TestOnlineUpgrade::wholeImage_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<QString>("faults");
    QTest::addColumn<QString>("extra"); // messages and answers, apart by a semicolon
    QTest::addColumn<QString>("commands");
    const QString sound = u"00 01 0f 21 22 23"_s;
    const auto row = [](int size, const QString &commands, const QString &faults = {},
                        const QString &extra = {}) {
        QTest::addRow("%d bytes", size) << size << faults << extra << commands;
    };
    row(1, sound);
    // Undecodable and unparsable commands are answered and come again.
    row(115, sound, u"boot lowercase"_s, u"boot answered 10 index 0 status 1"_s);
    row(116, sound, u"boot unparsable"_s, u"boot answered 10 index 0 status 2"_s);
    row(117, sound + u" 23"_s, u"boot garbage;server magic"_s);
    row(232, sound + u" 23"_s, u"server split 20;server join"_s, u"报文错误: 收到错误应答码: 7"_s);
    row(233, u"00 00 00 01 01 0f 0f 21 21 22 22 22 22 23 23 23 23 23"_s,
        u"boot resend 00 2;boot resend 01;boot resend 0f;boot resend 21;boot resend 22 3;"
        "boot resend 23/2 2"_s,
        // The same text twice running is told once.
        u"串口 P 重发Bootloader启动报文;串口 P 重新设定下位机请求延迟 15000;"
        "串口 P 重新发送UUID;串口 P 重新发送签名;串口 P 重新发送固件 2-3"_s);
    row(102400, sound + u" 23"_s.repeated(882));
}

void TestOnlineUpgrade::wholeImage()
{
    QFETCH(const int, size);
    QFETCH(const QString, faults);
    QFETCH(const QString, extra);
    UpgradeRig rig({.imageSize = size, .faults = faults});
    rig.begin();
    QTRY_VERIFY_WITH_TIMEOUT(rig.isFinished(), kLongWaitMs);

    QStringList told = rig.messages + rig.peerLines(u"boot answered"_s);
    for (const QString &text : extra.split(u';', Qt::SkipEmptyParts))
        QVERIFY2(told.removeOne(text), qPrintable(text));
    const int chunks = (size + 115) / 116;
    QCOMPARE(told,
             expectedMessages(chunks)
                 + u"boot answered 10 index 16 status 0|boot answered 11 index 17 status 0|"
                   "boot answered 12 index 18 status 0|boot answered 13 index 19 status 0"_s.split(
                       u'|'));
    QCOMPARE(rig.progress, expectedProgress(chunks));
    QCOMPARE(rig.peerLines(u"boot error"_s), QStringList());
    QCOMPARE(rig.peerLines(u"server message"_s),
             QStringList{u"server message 01000000d0d1d2d3d4d5d6d7d8d9dadbdcdddedf"_s});
    QTEST(rig.commandTypes(), "commands");
    QStringList commands = rig.peerLines(u"boot command"_s);
    commands.removeDuplicates();
    QCOMPARE(commands.mid(0, 4).join(u'|'),
             u"boot command 00 1/1 00|boot command 01 1/1 3a98|boot command 0f 1/1 0001|"
             "boot command 21 1/1 a0a1a2a3a4a5a6a7a8a9aaabacadaeaf"_s);
    QVERIFY(commands.at(4).startsWith(u"boot command 22 1/1 40414243"_s));
    QVERIFY(commands.at(4).endsWith(u"7c7d7e7f"_s));
}

void TestOnlineUpgrade::everyFailureLeavesTheNextUpgradeFit()
{
    const QString mute = u"应答超时"_s;
    const QString opened = u"串口 P 已打开"_s; // a refusal tells nothing of its own
    // The exchange goes on with nothing to hand over, which the bootloader refuses.
    const QString noUuid = u"00 01 0f 21"_s;
    // The fault, the stage that the upgrade ends in, its commands, what it tells.
    const QList<std::tuple<QString, Stage, QString, QString>> rows{
        {u"boot refuse 00"_s, Stage::Refused, u"00"_s, opened},
        {u"boot mute 00"_s, Stage::StartSent, u"00"_s, mute},
        {u"boot refuse 01"_s, Stage::Refused, u"00 01"_s, opened},
        {u"boot mute 01"_s, Stage::DelaySent, u"00 01"_s, mute},
        {u"boot refuse 0f"_s, Stage::Refused, u"00 01 0f"_s, opened},
        {u"server code 80000001"_s, Stage::Refused, noUuid, u"报文错误: 收到错误应答"_s},
        {u"server code FFFFFFFE"_s, Stage::Refused, noUuid,
         u"报文错误: 收到错误应答码: 4294967294"_s},
        {u"server short"_s, Stage::Refused, noUuid, u"报文错误: 收到错误数据长度: 83"_s},
        {u"server silent"_s, Stage::Refused, noUuid, u"串口 P 发送UUID"_s},
        {u"boot refuse 21"_s, Stage::Refused, noUuid, opened},
        {u"boot mute 21"_s, Stage::UuidSent, noUuid, mute},
        {u"boot refuse 22"_s, Stage::Refused, u"00 01 0f 21 22"_s, opened},
        {u"boot refuse 23/2"_s, Stage::Refused, u"00 01 0f 21 22 23 23"_s, opened},
        {u"boot mute 23/2"_s, Stage::ChunkSent, u"00 01 0f 21 22 23 23"_s, mute},
    };
    UpgradeRig rig({});
    QStringList commands;
    for (const auto &[fault, stage, types, message] : rows) {
        rig.sim->fault(fault);
        rig.begin();
        QTRY_COMPARE_WITH_TIMEOUT(rig.stage(), stage, kWaitMs);
        QTRY_COMPARE_WITH_TIMEOUT(rig.messages.count(message), 1, kWaitMs);
        // Nothing was sent between the end of one and the begin of the next.
        commands.append(types);
        QCOMPARE(rig.commandTypes(), commands.join(u' '));
    }
    QCOMPARE(rig.peerLines(u"boot error"_s), QStringList(4, u"boot error: length of 21"_s));
    rig.begin();
    QTRY_VERIFY_WITH_TIMEOUT(rig.isFinished(), kWaitMs);
    QCOMPARE(rig.commandTypes(), (commands << u"00 01 0f 21 22 23 23 23"_s).join(u' '));
    QCOMPARE(rig.messages, expectedMessages(3));
}

void TestOnlineUpgrade::uidIsRefused()
{
    for (const bool serverReachable : {true, false}) {
        UpgradeRig rig({.faults = serverReachable ? u"boot uid 15"_s : QString(),
                        .times = {.settleMs = 20, .serverWaitMs = 300},
                        .serverReachable = serverReachable});
        rig.begin();
        QTRY_COMPARE_WITH_TIMEOUT(rig.peerLines(u"boot answered"_s),
                                  QStringList{u"boot answered 10 index 16 status 1"_s}, kWaitMs);
        const QString uid = u"串口 P 收到下位机UID D0D1D2D3D4D5D6D7D8D9DADBDCDDDE"_s;
        QCOMPARE(rig.lastMessage(),
                 uid + (serverReachable ? u", UID长度错误"_s : u"DF, 客户端未连接"_s));
        QCOMPARE(rig.commandTypes(), u"00"_s);
        QCOMPARE(rig.peerLines(u"server message"_s), QStringList());
        QCOMPARE(rig.progress, QList<int>());
        QCOMPARE(rig.stage(), Stage::StartAccepted);
    }
}

void TestOnlineUpgrade::uidWaitsForServerWithoutFreezing()
{
    // The server hangs up on the first connection; the second comes while the UID waits, and
    // while the bootloader grows impatient.
    const LogCatcher log;
    UpgradeRig rig({.faults = u"server hangup 1;boot again 3"_s,
                    .times = {.settleMs = 20, .serverWaitMs = 60000, .reconnectMs = 2000}});
    int ticks = 0;
    QTimer ticker;
    QObject::connect(&ticker, &QTimer::timeout, &ticker,
                     [&] { ticks += rig.stage() == Stage::StartAccepted ? 1 : 0; });
    ticker.start(10);
    rig.begin();
    QTRY_VERIFY_WITH_TIMEOUT(rig.isFinished(), kWaitMs);
    QVERIFY2(ticks >= 10, "the event loop stood still");
    QCOMPARE(rig.messages, expectedMessages(3));
    QCOMPARE(rig.peerLines(u"boot answered 10"_s).size(), 1);
    QCOMPARE(rig.peerLines(u"server message"_s).size(), 1);
    QCOMPARE(log.count(u"连接丢失，尝试重连..."_s), 1);
}

void TestOnlineUpgrade::endedAndFinishedUpgradesCanBeginAnew()
{
    UpgradeRig rig({.imageSize = 232});
    // The choice of the port comes before the worker: there is nothing to end yet.
    for (const QString &message : expectedMessages(2).mid(1)) {
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
    for (int run = 0; run < 2; ++run) {
        rig.begin();
        // The end of the run before is no end of this one.
        QTRY_VERIFY_WITH_TIMEOUT(rig.messages == expectedMessages(2) && rig.isFinished(), kWaitMs);
    }

    const LogCatcher log;
    rig.sim.reset(); // unplugs it
    QTRY_VERIFY_WITH_TIMEOUT(log.contains(u"串口错误: "_s), kWaitMs);
    QTest::qWait(50); // in which nothing more may come
    QCOMPARE(log.count(u"串口错误: "_s), 1);
    rig.backend->completeUpdate();
    QVERIFY(!rig.backend->onlineUpgrade()->isRunning());
}

void TestOnlineUpgrade::destructionInMidUpgrade()
{
    // While it settles, an answer is due, the UID waits, before the request, among chunks, after.
    const QList<std::pair<Stage, QString>> rows{{Stage::Idle, {}},
                                                {Stage::StartSent, u"boot mute 00"_s},
                                                {Stage::StartAccepted, u"server hangup 9"_s},
                                                {Stage::Type15Accepted, {}},
                                                {Stage::ChunkSent, u"boot mute 23/2"_s},
                                                {Stage::ChunkAccepted, {}}};
    for (const auto &[stage, fault] : rows) {
        const int settleMs = stage == Stage::Idle ? 60000 : 20;
        UpgradeRig rig({.faults = fault, .times = {.settleMs = settleMs, .serverWaitMs = 60000}});
        rig.begin();
        QTRY_COMPARE_WITH_TIMEOUT(rig.stage(), stage, kWaitMs);
        QElapsedTimer clock;
        clock.start();
        rig.backend.reset();
        QVERIFY2(clock.elapsed() < 5000, "a wait was not cut short");
    }
}

void TestOnlineUpgrade::lateTimeoutOfAnEndedUpgradeIsNotShown()
{
    UpgradeRig rig({.faults = u"boot mute 00"_s});
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

void TestOnlineUpgrade::portsAreChosenByTheirIds()
{
    constexpr quint16 kVendor = 0x0483;
    constexpr quint16 kProduct = 0x56CE;
    const QList<std::pair<Ports, QString>> rows{
        {{}, {}},
        {{{u"COM3"_s, {}, {}}}, {}},
        {{{u"COM3"_s, kVendor, quint16(0x5740)}}, {}},
        {{{u"COM3"_s, quint16(0x0484), kProduct}}, {}},
        {{{u"COM3"_s, kVendor, {}}}, {}},
        {{{u"com1"_s, kVendor, kProduct}}, {}}, // never
        {{{u"COM10"_s, kVendor, kProduct}}, u"COM10"_s},
        {{{u"COM1"_s, kVendor, kProduct},
          {u"COM4"_s, kVendor, kProduct},
          {u"COM5"_s, kVendor, kProduct}},
         u"COM4"_s},
    };
    for (const auto &[ports, found] : rows) {
        CMain backend;
        plug(backend, ports, {.settleMs = 60000});
        backend.beginUpdate();
        QCOMPARE(backend.message(), found.isEmpty() ? u"错误：未找到目标设备，请检查设备是否连接"_s
                                                    : u"使用端口:"_s + found);
        QCOMPARE(backend.onlineUpgrade()->isRunning(), !found.isEmpty());
    }

    CMain backend;
    plug(backend, {{u"/nonexistent/tty"_s, kVendor, kProduct}}, {.settleMs = 0});
    backend.beginUpdate();
    QVERIFY(backend.onlineUpgrade()->isRunning());
    QTRY_VERIFY(!backend.onlineUpgrade()->isRunning());
    const QString start = u"无法打开串口 /nonexistent/tty: "_s;
    QVERIFY2(backend.message().startsWith(start) && backend.message().size() > start.size(),
             qPrintable(backend.message()));
}

QTEST_GUILESS_MAIN(TestOnlineUpgrade)
#include "tst_online_upgrade.moc"
