// Whole server-assisted upgrades: the backend between podsim's bootloader and its upgrade server.

#include "LogCatcher.h"
#include "UpgradeRig.h"

#include <QTest>
#include <QTimer>

using namespace Qt::StringLiterals;
using Stage = UpgradeExchange::Stage;

namespace {

constexpr int kWaitMs = 20000;
constexpr int kLongWaitMs = 120000; // hundreds of chunks under a sanitizer

} // namespace

class TestOnlineUpgrade : public QObject
{
    Q_OBJECT

private slots:
    void wholeImage_data();
    void wholeImage();
    void resendIsServed_data();
    void resendIsServed();
    void refusalStopsAndNextUpgradeWorks_data();
    void refusalStopsAndNextUpgradeWorks();
    void missingAnswerIsToldAndNotRepeated_data();
    void missingAnswerIsToldAndNotRepeated();
    void badCommandsAreAnsweredAndRepeated_data();
    void badCommandsAreAnsweredAndRepeated();
    void shortUidIsRefused();
    void uidIsRefusedWithoutServer();
    void uidWaitsForServerWithoutFreezing();
    void serverRefusals_data();
    void serverRefusals();
    void serverPackets_data();
    void serverPackets();
    void serverLinkComesBack();
};

void TestOnlineUpgrade::wholeImage_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("chunks");
    QTest::newRow("one byte") << 1 << 1;
    QTest::newRow("chunk less one") << 115 << 1;
    QTest::newRow("chunk") << 116 << 1;
    QTest::newRow("chunk and one") << 117 << 2;
    QTest::newRow("two chunks") << 232 << 2;
    QTest::newRow("two chunks and one") << 233 << 3;
    QTest::newRow("100 KiB") << 102400 << 883;
}

void TestOnlineUpgrade::wholeImage()
{
    QFETCH(const int, size);
    QFETCH(const int, chunks);
    UpgradeRig rig({.image = UpgradeRig::randomBytes(size)});
    rig.begin();
    QTRY_VERIFY_WITH_TIMEOUT(rig.isFinished(), kLongWaitMs);

    QCOMPARE(rig.messages(), UpgradeRig::expectedMessages(chunks));
    QCOMPARE(rig.progress, UpgradeRig::expectedProgress(chunks));
    QCOMPARE(rig.peerLines(u"boot error"_s), QStringList());
    QCOMPARE(rig.peerLines(u"server message"_s),
             QStringList{u"server message 01000000d0d1d2d3d4d5d6d7d8d9dadbdcdddedf"_s});
    QCOMPARE(rig.peerLines(u"boot answered"_s),
             (QStringList{u"boot answered 10 index 16 status 0"_s,
                          u"boot answered 11 index 17 status 0"_s,
                          u"boot answered 12 index 18 status 0"_s,
                          u"boot answered 13 index 19 status 0"_s}));
    const QStringList commands = rig.peerLines(u"boot command"_s);
    QCOMPARE(commands.mid(0, 4).join(u'|'),
             u"boot command 00 1/1 00|boot command 01 1/1 3a98|boot command 0f 1/1 0001|"
             "boot command 21 1/1 a0a1a2a3a4a5a6a7a8a9aaabacadaeaf"_s);
    QVERIFY(commands.at(4).startsWith(u"boot command 22 1/1 40414243"_s));
    QVERIFY(commands.at(4).endsWith(u"7c7d7e7f"_s));
}

void TestOnlineUpgrade::resendIsServed_data()
{
    QTest::addColumn<QString>("fault");
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("commands");
    QTest::newRow("start") << u"boot resend 00 2"_s << u"串口 P 重发Bootloader启动报文"_s
                           << u"00 00 00 01 0f 21 22 23 23 23"_s;
    QTest::newRow("delay") << u"boot resend 01"_s << u"串口 P 重新设定下位机请求延迟 15000"_s
                           << u"00 01 01 0f 21 22 23 23 23"_s;
    QTest::newRow("type 15") << u"boot resend 0f"_s << QString() << u"00 01 0f 0f 21 22 23 23 23"_s;
    QTest::newRow("uuid") << u"boot resend 21"_s << u"串口 P 重新发送UUID"_s
                          << u"00 01 0f 21 21 22 23 23 23"_s;
    QTest::newRow("signature") << u"boot resend 22 3"_s << u"串口 P 重新发送签名"_s
                               << u"00 01 0f 21 22 22 22 22 23 23 23"_s;
    QTest::newRow("chunk") << u"boot resend 23/2 2"_s << u"串口 P 重新发送固件 2-3"_s
                           << u"00 01 0f 21 22 23 23 23 23 23"_s;
    QTest::newRow("last chunk") << u"boot resend 23/3"_s << u"串口 P 重新发送固件 3-3"_s
                                << u"00 01 0f 21 22 23 23 23 23"_s;
}

void TestOnlineUpgrade::resendIsServed()
{
    QFETCH(const QString, fault);
    QFETCH(const QString, message);
    QFETCH(const QString, commands);
    UpgradeRig rig({.image = UpgradeRig::randomBytes(233), .faults = {fault}});
    rig.begin();
    QTRY_VERIFY_WITH_TIMEOUT(rig.isFinished(), kWaitMs);
    QCOMPARE(rig.commandTypes(), commands);
    QStringList expected = UpgradeRig::expectedMessages(3);
    QStringList told = rig.messages();
    QCOMPARE(told.removeAll(message) > 0, !message.isEmpty());
    QCOMPARE(told, expected);
}

void TestOnlineUpgrade::refusalStopsAndNextUpgradeWorks_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("commands");
    QTest::newRow("start") << u"00"_s << u"00"_s;
    QTest::newRow("delay") << u"01"_s << u"00 01"_s;
    QTest::newRow("type 15") << u"0f"_s << u"00 01 0f"_s;
    QTest::newRow("uuid") << u"21"_s << u"00 01 0f 21"_s;
    QTest::newRow("signature") << u"22"_s << u"00 01 0f 21 22"_s;
    QTest::newRow("chunk") << u"23/2"_s << u"00 01 0f 21 22 23 23"_s;
}

void TestOnlineUpgrade::refusalStopsAndNextUpgradeWorks()
{
    QFETCH(const QString, type);
    QFETCH(const QString, commands);
    UpgradeRig rig({.image = UpgradeRig::randomBytes(233), .faults = {u"boot refuse "_s + type}});
    rig.begin();
    QTRY_COMPARE_WITH_TIMEOUT(rig.stage(), Stage::Refused, kWaitMs);
    QCOMPARE(rig.commandTypes(), commands);

    rig.begin();
    QTRY_VERIFY_WITH_TIMEOUT(rig.isFinished(), kWaitMs);
    // Nothing was sent between the refusal and the second upgrade.
    QCOMPARE(rig.commandTypes(), commands + u' ' + UpgradeRig::kThreeChunkRun);
}

void TestOnlineUpgrade::missingAnswerIsToldAndNotRepeated_data()
{
    QTest::addColumn<QString>("fault");
    QTest::addColumn<Stage>("stage");
    QTest::addColumn<QString>("commands");
    QTest::newRow("start") << u"boot mute 00"_s << Stage::StartSent << u"00"_s;
    QTest::newRow("delay") << u"boot mute 01"_s << Stage::DelaySent << u"00 01"_s;
    QTest::newRow("uuid") << u"boot mute 21"_s << Stage::UuidSent << u"00 01 0f 21"_s;
    QTest::newRow("chunk") << u"boot mute 23/2"_s << Stage::ChunkSent << u"00 01 0f 21 22 23 23"_s;
}

void TestOnlineUpgrade::missingAnswerIsToldAndNotRepeated()
{
    QFETCH(const QString, fault);
    QFETCH(const Stage, stage);
    QFETCH(const QString, commands);
    UpgradeRig rig({.image = UpgradeRig::randomBytes(233), .faults = {fault}});
    rig.begin();
    QTRY_COMPARE_WITH_TIMEOUT(rig.lastMessage(), u"应答超时"_s, kWaitMs);
    QCOMPARE(rig.stage(), stage);

    rig.begin();
    QTRY_VERIFY_WITH_TIMEOUT(rig.isFinished(), kWaitMs);
    QCOMPARE(rig.commandTypes(), commands + u' ' + UpgradeRig::kThreeChunkRun);
    QCOMPARE(rig.messages().filter(u"应答超时"_s).size(), 1);
}

void TestOnlineUpgrade::badCommandsAreAnsweredAndRepeated_data()
{
    QTest::addColumn<QString>("fault");
    QTest::addColumn<QString>("answer");
    QTest::newRow("undecodable") << u"boot lowercase"_s << u"boot answered 10 index 0 status 1"_s;
    QTest::newRow("unparsable") << u"boot unparsable"_s << u"boot answered 10 index 0 status 2"_s;
    QTest::newRow("noise between frames")
        << u"boot garbage"_s << u"boot answered 10 index 16 status 0"_s;
}

void TestOnlineUpgrade::badCommandsAreAnsweredAndRepeated()
{
    QFETCH(const QString, fault);
    QFETCH(const QString, answer);
    UpgradeRig rig({.faults = {fault}});
    rig.begin();
    QTRY_VERIFY_WITH_TIMEOUT(rig.isFinished(), kWaitMs);
    QCOMPARE(rig.peerLines(u"boot answered"_s).constFirst(), answer);
    QCOMPARE(rig.messages(), UpgradeRig::expectedMessages(3));
}

void TestOnlineUpgrade::shortUidIsRefused()
{
    UpgradeRig rig({.faults = {u"boot uid 15"_s}});
    rig.begin();
    QTRY_COMPARE_WITH_TIMEOUT(rig.peerLines(u"boot answered"_s),
                              QStringList{u"boot answered 10 index 16 status 1"_s}, kWaitMs);
    QCOMPARE(rig.lastMessage(),
             u"串口 P 收到下位机UID D0D1D2D3D4D5D6D7D8D9DADBDCDDDE, UID长度错误"_s);
    QCOMPARE(rig.commandTypes(), u"00"_s);
    QCOMPARE(rig.peerLines(u"server message"_s), QStringList());
}

void TestOnlineUpgrade::uidIsRefusedWithoutServer()
{
    UpgradeRig rig({.times = {.settleMs = 20, .serverWaitMs = 300}, .serverReachable = false});
    rig.begin();
    QTRY_COMPARE_WITH_TIMEOUT(rig.peerLines(u"boot answered"_s),
                              QStringList{u"boot answered 10 index 16 status 1"_s}, kWaitMs);
    QCOMPARE(rig.lastMessage(),
             u"串口 P 收到下位机UID D0D1D2D3D4D5D6D7D8D9DADBDCDDDEDF, 客户端未连接"_s);
    QCOMPARE(rig.progress, QList<int>());
    QCOMPARE(rig.stage(), Stage::StartAccepted);
}

void TestOnlineUpgrade::uidWaitsForServerWithoutFreezing()
{
    // The server hangs up on the first connection; the second comes while the UID waits, and
    // while the bootloader grows impatient.
    UpgradeRig rig({.faults = {u"server hangup 1"_s, u"boot again 3"_s},
                    .times = {.settleMs = 20, .serverWaitMs = 60000, .reconnectMs = 2000}});
    int ticks = 0;
    QTimer ticker;
    QObject::connect(&ticker, &QTimer::timeout, &ticker, [&] {
        if (rig.stage() == Stage::StartAccepted)
            ++ticks;
    });
    ticker.start(10);
    rig.begin();
    QTRY_VERIFY_WITH_TIMEOUT(rig.isFinished(), kWaitMs);
    QVERIFY2(ticks >= 10, "the event loop stood still");
    QCOMPARE(rig.messages(), UpgradeRig::expectedMessages(3));
    QCOMPARE(rig.peerLines(u"boot answered 10"_s).size(), 1);
    QCOMPARE(rig.peerLines(u"server message"_s).size(), 1);
}

void TestOnlineUpgrade::serverRefusals_data()
{
    QTest::addColumn<QString>("fault");
    QTest::addColumn<QString>("message");
    QTest::newRow("error") << u"server code 80000001"_s << u"报文错误: 收到错误应答"_s;
    QTest::newRow("unknown code") << u"server code FFFFFFFE"_s
                                  << u"报文错误: 收到错误应答码: 4294967294"_s;
    QTest::newRow("short") << u"server short"_s << u"报文错误: 收到错误数据长度: 83"_s;
    QTest::newRow("silence") << u"server silent"_s << u"串口 P 发送UUID"_s;
}

void TestOnlineUpgrade::serverRefusals()
{
    QFETCH(const QString, fault);
    QFETCH(const QString, message);
    UpgradeRig rig({.faults = {fault}});
    rig.begin();
    QTRY_VERIFY_WITH_TIMEOUT(rig.messages().contains(message), kWaitMs);
    // The exchange goes on with nothing to hand over, which the bootloader refuses.
    QTRY_COMPARE_WITH_TIMEOUT(rig.stage(), Stage::Refused, kWaitMs);
    QCOMPARE(rig.peerLines(u"boot error"_s), QStringList{u"boot error: length of 21"_s});
    QVERIFY(!rig.messages().contains(u"串口 P 客户端收到服务器应答"_s));

    rig.begin();
    QTRY_VERIFY_WITH_TIMEOUT(rig.isFinished(), kWaitMs);
}

void TestOnlineUpgrade::serverPackets_data()
{
    QTest::addColumn<QString>("fault");
    QTest::addColumn<QString>("extraMessage");
    QTest::newRow("split") << u"server split 5"_s << QString();
    QTest::newRow("joined") << u"server join"_s << u"报文错误: 收到错误应答码: 7"_s;
    QTest::newRow("wrong magic first") << u"server magic"_s << QString();
}

void TestOnlineUpgrade::serverPackets()
{
    QFETCH(const QString, fault);
    QFETCH(const QString, extraMessage);
    UpgradeRig rig({.image = UpgradeRig::randomBytes(233), .faults = {fault}, .askDelayMs = 2000});
    rig.begin();
    QTRY_VERIFY_WITH_TIMEOUT(rig.isFinished(), kWaitMs);
    QStringList told = rig.messages();
    QCOMPARE(told.removeAll(extraMessage) > 0, !extraMessage.isEmpty());
    QCOMPARE(told, UpgradeRig::expectedMessages(3));
}

void TestOnlineUpgrade::serverLinkComesBack()
{
    const LogCatcher log;
    UpgradeRig rig({.faults = {u"server disconnect"_s}});
    rig.begin();
    QTRY_COMPARE_WITH_TIMEOUT(rig.peerLines(u"server client connected"_s).size(), 2, kWaitMs);
    QCOMPARE(log.count(u"连接丢失，尝试重连..."_s), 1);
    QCOMPARE(log.count(u"Attempting to reconnect..."_s), 1);
}

QTEST_GUILESS_MAIN(TestOnlineUpgrade)
#include "tst_online_upgrade.moc"
