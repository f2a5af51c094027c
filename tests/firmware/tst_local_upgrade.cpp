// The local upgrade against podsim's bootloader on a pseudo terminal, and against lrzsz.

#include "CMain.h"
#include "LogCatcher.h"
#include "PodSim.h"
#include "bootloader/AnswerQueue.h"
#include "control/PtyControlLink.h"
#include "firmware/local/LocalUpgrade.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>
#include <QTime>

#include <array>
#include <memory>

using namespace Qt::StringLiterals;
using State = LocalUpgrade::State;
using Timeout = int UpgradeTimeouts::*;

namespace {

constexpr int kBaud = 115200;
constexpr int kEndMs = 60000; // for an upgrade to end on a busy machine
constexpr int kShortMs = 800; // for a time-out that must have no effect; greeting takes less
constexpr int kThreeBlocks = 2500;
constexpr QLatin1String kSuccess{"Transfer complete successfully!"};

QByteArray randomBytes(qsizetype size)
{
    QByteArray bytes(size, '\0');
    QRandomGenerator random{quint32(size)};
    for (char &byte : bytes)
        byte = char(random.bounded(256));
    return bytes;
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(no file)");
}

} // namespace

class TestLocalUpgrade : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void defaultTimeouts();
    void imagesArrive_data();
    void imagesArrive();
    void everyStepIsLogged();
    void faultsEndAsTheyShould_data();
    void faultsEndAsTheyShould();
    void someStatesWaitUntilThePortDies();
    void refusals();
    void lrzszTakesOurBlocks();
    void consoleShowsWhatHappensAndDiesInMidTransfer();

private:
    QString firmware(const QString &name, const QByteArray &content);
    /// True once an upgrade on podsim has come to an end.
    bool run(const QString &file);

    QTemporaryDir m_folder;
    const QString m_image = m_folder.filePath(u"image"_s);
    PodSim m_sim{{u"--bootloader"_s, u"--image"_s, m_image}};
    LocalUpgrade m_upgrade; // one for all tests: every end must leave it fit for the next start
};

void TestLocalUpgrade::init()
{
    QCOMPARE(m_upgrade.state(), State::Idle);
    m_upgrade.setTimeouts({});
    m_sim.fault(u"clear"_s);
    QFile::remove(m_image);
}

QString TestLocalUpgrade::firmware(const QString &name, const QByteArray &content)
{
    QFile file(m_folder.filePath(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("cannot write %s", qPrintable(file.fileName()));
    return file.fileName();
}

bool TestLocalUpgrade::run(const QString &file)
{
    m_upgrade.start(m_sim.ptyPath(), kBaud, file);
    return m_upgrade.state() == State::WaitingForNewBoot
           && QTest::qWaitFor([this] { return !m_upgrade.isRunning(); }, kEndMs);
}

void TestLocalUpgrade::defaultTimeouts()
{
    const UpgradeTimeouts t;
    const QList<int> ms{t.newBootMs,      t.bootMeMs,     t.blockMs,   t.firstEotMs, t.secondEotMs,
                        t.finalRequestMs, t.nullHeaderMs, t.successMs, t.writeMs};
    QCOMPARE(ms, QList<int>({6000, 3000, 3000, 3000, 3000, 3000, 3000, 20000, 1000}));
    QCOMPARE(LocalUpgrade::kBlockTries, 4);
}

void TestLocalUpgrade::imagesArrive_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("nameInHeader");
    QTest::newRow("1") << u"固件 升级é.bin"_s << u"固件 升级é.bin"_s;
    QTest::newRow("1024") << QString(200, u'n') << QString(122, u'n');
    QTest::newRow("1025") << u"with space.bin"_s << u"with space.bin"_s;
    QTest::newRow("261121") << QString(70, u'固') << QString(40, u'固'); // block number wraps
}

void TestLocalUpgrade::imagesArrive()
{
    QFETCH(QString, name);
    const QByteArray content = randomBytes(QByteArray(QTest::currentDataTag()).toInt());
    QList<int> percents;
    const auto connection = connect(&m_upgrade, &LocalUpgrade::progressed, this,
                                    [&](int percent) { percents.append(percent); });
    QVERIFY(run(firmware(name, content)));
    disconnect(connection);
    QCOMPARE(m_upgrade.statusText(), kSuccess);
    QVERIFY(contentOf(m_image) == content);
    const auto state = QJsonDocument::fromJson(m_sim.fault(u"state"_s).toUtf8()).object();
    QTEST(state[u"name"].toString(), "nameInHeader");
    QCOMPARE(state[u"rejections"].toArray(), QJsonArray());

    QList<int> expected{0};
    const int blocks = int((content.size() + 1023) / 1024);
    for (int block = 1; block <= blocks; ++block)
        expected.append(block * 90 / blocks);
    QCOMPARE(percents, expected << 100);
}

void TestLocalUpgrade::everyStepIsLogged()
{
    const LogCatcher log;
    QStringList told;
    const auto watch = connect(&m_upgrade, &LocalUpgrade::statusChanged, this,
                               [&] { told.append(m_upgrade.statusText()); });
    QVERIFY(run(firmware(u"log.bin"_s, randomBytes(kThreeBlocks))));
    disconnect(watch);
    // In this order; a reply may come in several reads, so that what else was read stands between.
    const QString steps =
        u"Serial port opened|Sent command: ff012800000029|Waiting for NEWBOOT...|"
        "Received 'NEWBOOT', sending '3f1a9c2e-7b44-11ee-9d10-0a1b2c3d4e5f'...|"
        "Send: 3f1a9c2e-7b44-11ee-9d10-0a1b2c3d4e5f|Sending 'put'...|Send: put\n|"
        "Received 'C', Starting YModem transfer...|Starting YModem transfer (3 packets)...|"
        "Sent YModem packet 0 (HEADER)|[0x06]|Received response: 0x06|"
        "Header accepted, waiting for 'C'|C|Received 'C', starting data transfer...|"
        "Sent YModem packet 1 (DATA)|Sent YModem packet 2 (DATA)|Sent YModem packet 3 (DATA)|"
        "Received response: 0x06|Sending EOT...|Waiting for NAK|[0x15]|Sending second EOT...|"
        "Waiting for ACK|Waiting for C|Sent null header,Waiting for ACK|"
        "Transfer complete,Waiting for SUCCESS|Transfer complete successfully!|"
        "Serial port closed"_s;
    QStringList missing = steps.split(u'|');
    for (const QString &line : log.lines()) {
        const bool stamped = QTime::fromString(line.mid(1, 12), u"HH:mm:ss.zzz"_s).isValid();
        if (stamped && !missing.isEmpty() && line.mid(15) == missing[0])
            missing.removeFirst();
    }
    QCOMPARE(missing, QStringList());
    // The phrase is for the log and the line, not for those who watch the operator's screen.
    QVERIFY(told.contains(u"Received 'NEWBOOT', sending the unlock phrase..."_s));
    QVERIFY(!told.join(u'\n').contains(u"3f1a9c2e"_s));
}

void TestLocalUpgrade::faultsEndAsTheyShould_data()
{
    QTest::addColumn<QString>("faults");
    QTest::addColumn<QList<Timeout>>("shortened");
    QTest::addColumn<QString>("ending");
    QTest::addColumn<QString>("line"); // that the log has...
    QTest::addColumn<int>("times");    // ... so often
    const auto row = [](const char *faults, const QList<Timeout> &shortened, const char *reason,
                        const char *line = "", int times = 0) {
        const QString ending = reason ? u"Transfer Abort: "_s + QLatin1String(reason) : kSuccess;
        QTest::newRow(faults) << QString::fromLatin1(faults) << shortened << ending
                              << QString::fromLatin1(line) << times;
    };
    constexpr Timeout block = &UpgradeTimeouts::blockMs;
    constexpr Timeout firstEot = &UpgradeTimeouts::firstEotMs;
    constexpr const char *succeeds = nullptr;
    constexpr char retries[] = "Retry limit reached";

    row("at newboot silent", {&UpgradeTimeouts::newBootMs}, "Timeout: waiting for 'NEWBOOT'");
    row("at header silent;at ready silent", {block}, retries, "Sent YModem packet 0 (HEADER)", 4);
    row("at block:2 silent", {block}, retries, "retry package 2", 3);
    // An answer resets the count.
    row("at block:2 silent x3;at block:3 silent x3", {block}, succeeds, "retry package", 6);
    row("at eot1 silent", {firstEot}, "Timeout: waiting for 'NAK'");
    row("at eot2 silent;at final silent", {&UpgradeTimeouts::secondEotMs},
        "Timeout: waiting for 'ACK'");
    row("at final silent", {&UpgradeTimeouts::finalRequestMs}, "Timeout: waiting for 'C'");
    row("at null silent;at success silent", {&UpgradeTimeouts::nullHeaderMs},
        "Timeout: waiting for second 'ACK'");
    row("at success silent", {&UpgradeTimeouts::successMs}, "Timeout: waiting for 'success'");

    row("at block:2 nak", {}, "Unexpected response: 0x15", "Sent YModem packet 2", 1);
    row("at block:1 wrong 0a", {}, "Unexpected response: 0x0a");
    row("at header c x1;at ready silent x1", {}, succeeds, "Sent YModem packet 0", 2);
    row("at block:3 c x1", {}, succeeds, "Receiver requests CRC mode", 1);
    row("at eot1 wrong 06", {firstEot}, "Timeout: waiting for 'NAK'");

    row("at block:2 late 300", {}, succeeds, "retry package", 0);
    // Each block that was sent again is acknowledged again: from then on the answers are one ahead.
    row("at block:2 late 900 x1", {block, firstEot}, "Timeout: waiting for 'NAK'",
        "Sent YModem packet 3", 1);
    row("at block:2 twice", {firstEot}, "Timeout: waiting for 'NAK'");
    // Only a byte that comes alone is an answer.
    row("at block:2 joined 06", {block}, retries, "Received response", 2);
    row("at header joined 43;at ready silent", {block}, retries, "Sent YModem packet 0", 4);

    row("at newboot noise fffe;at put noise 000a", {}, succeeds);
    // After 7 + 36 + 4 bytes of greeting and 133 of header, in the payload of the first block.
    row("line garble 500", {}, "Unexpected response: 0x15", "Sent YModem packet 1", 1);
}

void TestLocalUpgrade::faultsEndAsTheyShould()
{
    QFETCH(QString, faults);
    QFETCH(QList<Timeout>, shortened);
    QFETCH(QString, line);
    const LogCatcher log;
    for (const QString &fault : faults.split(u';'))
        m_sim.fault(fault);
    // No other time-out can be the one that ends it.
    constexpr int never = 2 * kEndMs;
    UpgradeTimeouts timeouts{never, never, never, never, never, never, never, never};
    for (const Timeout timeout : shortened) // sound blocks are answered in time on a busy machine
        timeouts.*timeout = timeout == &UpgradeTimeouts::blockMs ? 400 : 100;
    m_upgrade.setTimeouts(timeouts);

    QVERIFY(run(firmware(u"faulty.bin"_s, randomBytes(kThreeBlocks))));
    QTEST(m_upgrade.statusText(), "ending");
    if (!line.isEmpty())
        QTEST(int(log.count(line)), "times");
}

void TestLocalUpgrade::someStatesWaitUntilThePortDies()
{
    struct Stuck
    {
        PodSim sim;
        State state;
        LocalUpgrade upgrade{nullptr};
    };
    const auto podsim = [](const QString &fault) {
        return PodSim({u"--bootloader"_s, u"--fault"_s, fault});
    };
    std::array<Stuck, 3> all{{{podsim(u"at phrase silent"_s), State::PhraseSent},
                              {podsim(u"at ready noise 00"_s), State::HeaderAccepted},
                              {podsim(u"at block:2 silent"_s), State::BlockSent}}};
    const LogCatcher log;
    const QString file = firmware(u"wait.bin"_s, randomBytes(kThreeBlocks));
    for (Stuck &stuck : all) {
        if (stuck.state != State::BlockSent)
            stuck.upgrade.setTimeouts(
                {kShortMs, kShortMs, kShortMs, kShortMs, kShortMs, kShortMs, kShortMs, kShortMs});
        stuck.upgrade.start(stuck.sim.ptyPath(), kBaud, file);
    }
    for (const Stuck &stuck : all)
        QTRY_COMPARE_WITH_TIMEOUT(stuck.upgrade.state(), stuck.state, kEndMs);
    QTest::qWait(2 * kShortMs); // in which nothing may happen
    for (Stuck &stuck : all) {
        QCOMPARE(stuck.upgrade.state(), stuck.state);
        stuck.upgrade.start(stuck.sim.ptyPath(), kBaud, file);
        QCOMPARE(stuck.upgrade.statusText(), u"Transfer already in progress"_s);
        QCOMPARE(stuck.upgrade.state(), stuck.state);
        stuck.sim.fault(u"line die"_s);
    }
    for (const Stuck &stuck : all) {
        QTRY_COMPARE_WITH_TIMEOUT(stuck.upgrade.state(), State::Idle, kEndMs);
        const QString text = stuck.upgrade.statusText();
        QVERIFY2(!text.contains(u"Timeout"_s) && !text.contains(u"limit"_s), qPrintable(text));
    }
    QCOMPARE(log.count(u"Transfer Abort: "_s), qsizetype(all.size()));
}

void TestLocalUpgrade::refusals()
{
    m_upgrade.start(u"/dev/no-such-port"_s, kBaud, m_image);
    QCOMPARE(m_upgrade.statusText(), u"Failed to open serial port!"_s);
    QCOMPARE(m_upgrade.state(), State::Idle);

    const LogCatcher log;
    QVERIFY(run(u"/nonexistent/gone.bin"_s));
    const QString reason = u"Transfer Abort: Cannot read firmware file: "_s;
    QVERIFY2(m_upgrade.statusText().startsWith(reason), qPrintable(m_upgrade.statusText()));
    QVERIFY(run(firmware(u"empty.bin"_s, {})));
    QCOMPARE(m_upgrade.statusText(), u"Transfer Abort: File is empty"_s);
    QCOMPARE(log.count(u"Sent YModem packet"_s), 0);
}

// A bootloader whose YModem is another program's: the greeting is played, the blocks go to lrzsz's
// `rb` and its answers to the console, with the NAK that a bootloader has for a first EOT and the
// word of success added.
void TestLocalUpgrade::lrzszTakesOurBlocks()
{
    PtyControlLink link;
    QString error;
    QVERIFY2(link.open({}, error), qPrintable(error));
    link.holdSlave();
    AnswerQueue answers(link);
    const QTemporaryDir folder;
    QProcess rb;
    rb.setWorkingDirectory(folder.path());
    bool refusedEot = false;
    connect(&link, &ControlLink::received, &rb, [&](const QByteArray &bytes) {
        if (rb.state() == QProcess::NotRunning && bytes == "put\n")
            rb.start(u"rb"_s, {u"-q"_s});
        else if (rb.state() == QProcess::NotRunning)
            answers.put(bytes.startsWith('\xFF') ? "NEWBOOT" : "unlocked");
        else if (bytes == "\x04" && !std::exchange(refusedEot, true))
            answers.put("\x15");
        else
            rb.write(bytes);
    });
    connect(&rb, &QProcess::readyReadStandardOutput, &rb, [&] {
        for (const char byte : rb.readAllStandardOutput())
            answers.put(QByteArray(1, byte));
    });
    connect(&rb, &QProcess::finished, &rb, [&](int exitCode) {
        if (exitCode == 0)
            answers.put("Ostrel_thread->Update success!\r\n");
    });

    const QByteArray content = randomBytes(256 * 1024 + 1); // the last block's number wrapped
    m_upgrade.start(link.slavePath(), kBaud, firmware(u"固件.bin"_s, content));
    QTRY_COMPARE_WITH_TIMEOUT(m_upgrade.state(), State::Idle, kEndMs);
    QCOMPARE(m_upgrade.statusText(), kSuccess);
    QVERIFY(contentOf(folder.filePath(u"固件.bin"_s)) == content);
}

void TestLocalUpgrade::consoleShowsWhatHappensAndDiesInMidTransfer()
{
    auto owner = std::make_unique<CMain>();
    CMain &console = *owner;
    QSignalSpy errors(&console, &CMain::sbusDataError);
    QSignalSpy progress(&console, &CMain::upgradeProgressChanged);
    const QByteArray content = randomBytes(10 * 1024);
    const QString file = firmware(u"console.bin"_s, content);

    // A refused upgrade too takes the port from the serial link first, and leaves TCP alone.
    QTcpServer pod;
    QVERIFY(pod.listen(QHostAddress::LocalHost, 0));
    QVERIFY(console.connectTCP(u"127.0.0.1"_s, pod.serverPort()));
    console.updateFirmwareByCom(m_sim.ptyPath(), kBaud, {});
    QVERIFY(console.isConnected());
    QVERIFY(console.connectSerial(m_sim.ptyPath(), kBaud));
    console.updateFirmwareByCom(m_sim.ptyPath(), kBaud, {});
    QCOMPARE(console.localUpgradeText(), u"Please select firmware file first!"_s);
    QVERIFY(!console.isConnected());

    m_sim.fault(u"at block:6 nak x1"_s);
    console.updateFirmwareByCom(m_sim.ptyPath(), kBaud, file);
    QVERIFY(console.localUpgradeRunning());
    QCOMPARE(console.localUpgradeText(), u"Waiting for NEWBOOT..."_s);
    QTRY_VERIFY_WITH_TIMEOUT(!console.localUpgradeRunning(), kEndMs);
    QCOMPARE(console.localUpgradeText(), u"Transfer Abort: Unexpected response: 0x15"_s);
    QCOMPARE(console.upgradeProgress(), 54); // keeps what it had: block 6 of 10

    progress.clear();
    console.updateFirmwareByCom(m_sim.ptyPath(), kBaud, file);
    QTRY_VERIFY_WITH_TIMEOUT(!console.localUpgradeRunning(), kEndMs);
    QCOMPARE(progress.size(), 12); // 0, one for each block, 100

    QCOMPARE(errors.count(), 0);
    QCOMPARE(console.message(), QString());

    m_sim.fault(u"at block:6 silent"_s);
    console.updateFirmwareByCom(m_sim.ptyPath(), kBaud, file);
    QTRY_COMPARE_WITH_TIMEOUT(console.upgradeProgress(), 54, kEndMs);
    owner.reset();
    m_sim.fault(u"clear"_s);
    QFile::remove(m_image);
    QVERIFY(run(file));
    QVERIFY(contentOf(m_image) == content);
}

QTEST_GUILESS_MAIN(TestLocalUpgrade)

#include "tst_local_upgrade.moc"
