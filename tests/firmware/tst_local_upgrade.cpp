// The local upgrade against podsim's bootloader on a pseudo terminal, and against lrzsz.

#include "CMain.h"
#include "LogCatcher.h"
#include "LrzszReceiver.h"
#include "PodSim.h"
#include "firmware/local/LocalUpgrade.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <memory>

using namespace Qt::StringLiterals;
using State = LocalUpgrade::State;

namespace {

constexpr int kBaud = 115200;
constexpr int kEndMs = 60000; // for an upgrade to end on a busy machine
constexpr int kShortMs = 400; // stands for a time-out that is to run out
constexpr int kThreeBlocks = 2500;

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

/// A port that answers every write from within the wait for it, as fast as a port can be.
class EagerPort : public QIODevice
{
public:
    bool isSequential() const override { return true; }

    qint64 bytesAvailable() const override { return m_answers.isEmpty() ? 0 : m_answers[0].size(); }

    bool waitForBytesWritten(int) override
    {
        m_deepest = qMax(m_deepest, ++m_depth);
        m_answers += answersTo(std::exchange(m_out, {}));
        emit readyRead();
        --m_depth;
        return true;
    }

    int deepest() const { return m_deepest; }

protected:
    // One answer, then nothing, so that no two of them come in one read.
    qint64 readData(char *data, qint64) override
    {
        if (std::exchange(m_pausing, !m_pausing) || m_answers.isEmpty())
            return 0;
        const QByteArray answer = m_answers.takeFirst();
        std::ranges::copy(answer, data);
        return answer.size();
    }

    qint64 writeData(const char *data, qint64 size) override
    {
        m_out.append(data, size);
        return size;
    }

private:
    QList<QByteArray> answersTo(const QByteArray &bytes)
    {
        if (bytes.startsWith('\xFF'))
            return {"NEWBOOT"};
        if (bytes.size() == 36)
            return {"ok"};
        if (bytes == "put\n")
            return {"C"};
        if (bytes == "\x04" && m_eots++ == 0)
            return {"\x15"};
        if (bytes == "\x04" || (bytes.startsWith('\x01') && m_eots == 0))
            return {"\x06", "C"};
        if (bytes.startsWith('\x01'))
            return {"\x06", "Ostrel_thread->Update success!"};
        return {"\x06"};
    }

    QList<QByteArray> m_answers;
    bool m_pausing = false;
    QByteArray m_out;
    int m_eots = 0;
    int m_depth = 0;
    int m_deepest = 0;
};

} // namespace

class TestLocalUpgrade : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void defaultTimeouts();
    void imagesArrive_data();
    void imagesArrive();
    void everyStepIsLogged();
    void faultsEndAsTheyShould_data();
    void faultsEndAsTheyShould();
    void someStatesWaitUntilThePortDies_data();
    void someStatesWaitUntilThePortDies();
    void portDeathAmongBlocks();
    void refusals_data();
    void refusals();
    void vanishedFileEndsTheAttempt();
    void answersWithinAWriteDoNotNest();
    void lrzszTakesOurBlocks_data();
    void lrzszTakesOurBlocks();
    void consoleShowsWhatHappens();
    void consoleGivesItsPortUp_data();
    void consoleGivesItsPortUp();
    void consoleDiesInMidTransfer();

private:
    QString firmware(const QString &name, const QByteArray &content);

    QJsonObject simState()
    {
        return QJsonDocument::fromJson(m_sim->fault(u"state"_s).toUtf8()).object();
    }

    void start(LocalUpgrade &upgrade, const QString &file)
    {
        upgrade.start(m_sim->ptyPath(), kBaud, file);
    }

    QTemporaryDir m_folder;
    QString m_image;
    std::unique_ptr<PodSim> m_sim;
    LocalUpgrade m_upgrade; // one for all tests: every end must leave it fit for the next start
};

void TestLocalUpgrade::initTestCase()
{
    m_image = m_folder.filePath(u"image"_s);
    m_sim = std::make_unique<PodSim>(QStringList{u"--bootloader"_s, u"--image"_s, m_image});
}

void TestLocalUpgrade::init()
{
    QCOMPARE(m_upgrade.state(), State::Idle);
    m_upgrade.setTimeouts({});
    m_sim->fault(u"clear"_s);
    QFile::remove(m_image);
}

QString TestLocalUpgrade::firmware(const QString &name, const QByteArray &content)
{
    QFile file(m_folder.filePath(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("cannot write %s", qPrintable(file.fileName()));
    return file.fileName();
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
    QTest::addColumn<qsizetype>("size");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("nameInHeader");
    const auto row = [](const char *tag, qsizetype size, const QString &name,
                        const QString &cut = {}) {
        QTest::newRow(tag) << size << name << (cut.isEmpty() ? name : cut);
    };
    row("1 byte", 1, u"one.bin"_s);
    row("block less a byte", 1023, u"固件 升级é.bin"_s);
    row("one block", 1024, QString(200, u'n'), QString(122, u'n'));
    row("block and a byte", 1025, u"with space.bin"_s);
    row("128 blocks", 128 * 1024, u"固件128.bin"_s);
    row("number wraps", 255 * 1024 + 1, QString(70, u'固'), QString(40, u'固'));
    row("1 MiB", 1024 * 1024, u"big.bin"_s);
}

void TestLocalUpgrade::imagesArrive()
{
    QFETCH(qsizetype, size);
    QFETCH(QString, name);
    QFETCH(QString, nameInHeader);
    const QByteArray content = randomBytes(size);
    QList<int> percents;
    const auto connection = connect(&m_upgrade, &LocalUpgrade::progressed, this,
                                    [&](int percent) { percents.append(percent); });
    start(m_upgrade, firmware(name, content));
    QCOMPARE(m_upgrade.state(), State::WaitingForNewBoot);
    QTRY_COMPARE_WITH_TIMEOUT(m_upgrade.state(), State::Idle, kEndMs);
    disconnect(connection);

    QCOMPARE(m_upgrade.statusText(), u"Transfer complete successfully!"_s);
    QVERIFY(contentOf(m_image) == content);
    QCOMPARE(simState()[u"name"].toString(), nameInHeader);
    QCOMPARE(simState()[u"rejections"].toArray(), QJsonArray());

    QList<int> expected{0};
    const int blocks = int((size + 1023) / 1024);
    for (int block = 1; block <= blocks; ++block)
        expected.append(block * 90 / blocks);
    QCOMPARE(percents, expected << 100);
}

void TestLocalUpgrade::everyStepIsLogged()
{
    const LogCatcher log;
    start(m_upgrade, firmware(u"log.bin"_s, randomBytes(kThreeBlocks)));
    QTRY_COMPARE_WITH_TIMEOUT(m_upgrade.state(), State::Idle, kEndMs);

    // In this order; a reply may come in several reads, so that what else was read stands between.
    const QStringList steps{
        u"Serial port opened"_s,
        u"Sent command: ff012800000029"_s,
        u"Waiting for NEWBOOT..."_s,
        u"Received 'NEWBOOT', sending '3f1a9c2e-7b44-11ee-9d10-0a1b2c3d4e5f'..."_s,
        u"Send: 3f1a9c2e-7b44-11ee-9d10-0a1b2c3d4e5f"_s,
        u"Sending 'put'..."_s,
        u"Send: put\n"_s,
        u"Received 'C', Starting YModem transfer..."_s,
        u"Starting YModem transfer (3 packets)..."_s,
        u"Sent YModem packet 0 (HEADER)"_s,
        u"[0x06]"_s,
        u"Received response: 0x06"_s,
        u"Header accepted, waiting for 'C'"_s,
        u"C"_s,
        u"Received 'C', starting data transfer..."_s,
        u"Sent YModem packet 1 (DATA)"_s,
        u"Sent YModem packet 2 (DATA)"_s,
        u"Sent YModem packet 3 (DATA)"_s,
        u"Received response: 0x06"_s,
        u"Sending EOT..."_s,
        u"Waiting for NAK"_s,
        u"[0x15]"_s,
        u"Sending second EOT..."_s,
        u"Waiting for ACK"_s,
        u"Waiting for C"_s,
        u"Sent null header,Waiting for ACK"_s,
        u"Transfer complete,Waiting for SUCCESS"_s,
        u"Transfer complete successfully!"_s,
        u"Serial port closed"_s};
    static const QRegularExpression stamped(u"^\\[\\d\\d:\\d\\d:\\d\\d\\.\\d{3}\\] (.*)$"_s,
                                            QRegularExpression::DotMatchesEverythingOption);
    qsizetype found = 0;
    for (const QString &line : log.lines()) {
        const QString text = stamped.match(line).captured(1);
        if (found < steps.size() && text == steps[found])
            ++found;
    }
    QVERIFY2(found == steps.size(), qPrintable(u"not logged: "_s + steps.value(found)));
}

void TestLocalUpgrade::faultsEndAsTheyShould_data()
{
    using Timeout = int UpgradeTimeouts::*;
    QTest::addColumn<QString>("faults");
    QTest::addColumn<Timeout>("shortened");
    QTest::addColumn<QString>("ending");
    QTest::addColumn<QString>("line"); // that the log has...
    QTest::addColumn<int>("times");    // ... so often
    const auto row = [](const char *tag, const char *faults, Timeout shortened, const char *ending,
                        const char *line = "", int times = 0) {
        QTest::newRow(tag) << QString::fromLatin1(faults) << shortened
                           << QString::fromLatin1(ending) << QString::fromLatin1(line) << times;
    };
    constexpr Timeout none = nullptr;
    constexpr Timeout block = &UpgradeTimeouts::blockMs;
    constexpr Timeout firstEot = &UpgradeTimeouts::firstEotMs;
    constexpr char success[] = "Transfer complete successfully!";

    row("silent after reboot", "at newboot silent", &UpgradeTimeouts::newBootMs,
        "Transfer Abort: Timeout: waiting for 'NEWBOOT'");
    row("silent on the header", "at header silent;at ready silent", block,
        "Transfer Abort: Retry limit reached", "Sent YModem packet 0 (HEADER)", 4);
    row("silent on a block", "at block:2 silent", block, "Transfer Abort: Retry limit reached",
        "retry package 2", 3);
    row("an answer resets the count", "at block:2 silent x3;at block:3 silent x3", block, success,
        "retry package", 6);
    row("silent on EOT", "at eot1 silent", firstEot, "Transfer Abort: Timeout: waiting for 'NAK'");
    row("silent on second EOT", "at eot2 silent;at final silent", &UpgradeTimeouts::secondEotMs,
        "Transfer Abort: Timeout: waiting for 'ACK'");
    row("no final request", "at final silent", &UpgradeTimeouts::finalRequestMs,
        "Transfer Abort: Timeout: waiting for 'C'");
    row("silent on closing header", "at null silent;at success silent",
        &UpgradeTimeouts::nullHeaderMs, "Transfer Abort: Timeout: waiting for second 'ACK'");
    row("no success", "at success silent", &UpgradeTimeouts::successMs,
        "Transfer Abort: Timeout: waiting for 'success'");
    row("other last word", "at success wrong 4661696c", &UpgradeTimeouts::successMs,
        "Transfer Abort: Timeout: waiting for 'success'");

    row("NAK of the header", "at header nak", none, "Transfer Abort: Unexpected response: 0x15");
    row("NAK of a block", "at block:2 nak", none, "Transfer Abort: Unexpected response: 0x15",
        "Sent YModem packet 2", 1);
    row("wrong byte", "at block:1 wrong 0a", none, "Transfer Abort: Unexpected response: 0x0a");
    row("C for the header's ACK", "at header c x1;at ready silent x1", none, success,
        "Sent YModem packet 0", 2);
    row("C for a block's ACK", "at block:3 c x1", none, success, "Receiver requests CRC mode", 1);
    row("ACK for EOT's NAK", "at eot1 wrong 06", firstEot,
        "Transfer Abort: Timeout: waiting for 'NAK'");

    row("ACK late but in time", "at block:2 late 300", none, success, "retry package", 0);
    // Each block that was sent again is acknowledged again: from then on the answers are one ahead.
    row("ACK too late", "at block:2 late 900 x1", block,
        "Transfer Abort: Timeout: waiting for 'NAK'", "Sent YModem packet 3", 1);
    row("ACK twice", "at block:2 twice", firstEot, "Transfer Abort: Timeout: waiting for 'NAK'");
    // Only a byte that comes alone is an answer.
    row("two bytes in one read", "at block:2 joined 06", block,
        "Transfer Abort: Retry limit reached", "Received response", 2);
    row("request in one read with the ACK", "at header joined 43;at ready silent", block,
        "Transfer Abort: Retry limit reached", "Sent YModem packet 0", 4);

    row("noise around texts", "at newboot noise fffe;at put noise 000a", none, success);
    row("noise before an ACK", "at block:2 noise 7e", none,
        "Transfer Abort: Unexpected response: 0x7e");
    // After 7 + 36 + 4 bytes of greeting and 133 of header, in the payload of the first block.
    row("noise on the way to the pod", "line garble 500", none,
        "Transfer Abort: Unexpected response: 0x15", "Sent YModem packet 1", 1);
}

void TestLocalUpgrade::faultsEndAsTheyShould()
{
    QFETCH(QString, faults);
    QFETCH(int UpgradeTimeouts::*, shortened);
    QFETCH(QString, line);
    const LogCatcher log;
    for (const QString &fault : faults.split(u';'))
        m_sim->fault(fault);
    UpgradeTimeouts timeouts;
    if (shortened)
        timeouts.*shortened = kShortMs;
    m_upgrade.setTimeouts(timeouts);

    start(m_upgrade, firmware(u"faulty.bin"_s, randomBytes(kThreeBlocks)));
    QTRY_COMPARE_WITH_TIMEOUT(m_upgrade.state(), State::Idle, kEndMs);
    QTEST(m_upgrade.statusText(), "ending");
    if (!line.isEmpty())
        QTEST(int(log.count(line)), "times");
}

void TestLocalUpgrade::someStatesWaitUntilThePortDies_data()
{
    QTest::addColumn<QString>("fault");
    QTest::addColumn<State>("state");
    QTest::newRow("phrase") << u"at phrase silent"_s << State::PhraseSent;
    QTest::newRow("put") << u"at put silent"_s << State::PutSent;
    QTest::newRow("ready") << u"at ready silent"_s << State::HeaderAccepted;
    QTest::newRow("ready with noise") << u"at ready noise 00"_s << State::HeaderAccepted;
}

void TestLocalUpgrade::someStatesWaitUntilThePortDies()
{
    QFETCH(QString, fault);
    QFETCH(State, state);
    PodSim sim({u"--bootloader"_s, u"--fault"_s, fault});
    const LogCatcher log;
    m_upgrade.setTimeouts({300, 300, 300, 300, 300, 300, 300, 300});
    const QString file = firmware(u"wait.bin"_s, randomBytes(kThreeBlocks));
    m_upgrade.start(sim.ptyPath(), kBaud, file);
    QTRY_COMPARE_WITH_TIMEOUT(m_upgrade.state(), state, kEndMs);

    QTest::qWait(1500); // five times the longest time-out
    QCOMPARE(m_upgrade.state(), state);
    m_upgrade.start(sim.ptyPath(), kBaud, file);
    QCOMPARE(m_upgrade.statusText(), u"Transfer already in progress"_s);
    QCOMPARE(m_upgrade.state(), state);

    sim.fault(u"line die"_s);
    QTRY_COMPARE_WITH_TIMEOUT(m_upgrade.state(), State::Idle, kEndMs);
    QCOMPARE(log.count(u"Transfer Abort: "_s), 1);
    QVERIFY2(!m_upgrade.statusText().contains(u"Timeout"), qPrintable(m_upgrade.statusText()));
}

void TestLocalUpgrade::portDeathAmongBlocks()
{
    PodSim sim({u"--bootloader"_s, u"--fault"_s, u"at block:2 die"_s});
    m_upgrade.start(sim.ptyPath(), kBaud, firmware(u"death.bin"_s, randomBytes(kThreeBlocks)));
    QTRY_COMPARE_WITH_TIMEOUT(m_upgrade.state(), State::Idle, kEndMs);
    QVERIFY2(m_upgrade.statusText().startsWith(u"Transfer Abort: "),
             qPrintable(m_upgrade.statusText()));
    QVERIFY2(!m_upgrade.statusText().contains(u"limit"), qPrintable(m_upgrade.statusText()));
}

void TestLocalUpgrade::refusals_data()
{
    QTest::addColumn<QString>("port");
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("reason");
    QTest::newRow("no file") << m_sim->ptyPath() << QString()
                             << u"Please select firmware file first!"_s;
    QTest::newRow("no such port") << u"/dev/no-such-port"_s << m_image
                                  << u"Failed to open serial port!"_s;
}

void TestLocalUpgrade::refusals()
{
    QFETCH(QString, port);
    QFETCH(QString, file);
    m_upgrade.start(port, kBaud, file);
    QCOMPARE(m_upgrade.state(), State::Idle);
    QTEST(m_upgrade.statusText(), "reason");
}

void TestLocalUpgrade::vanishedFileEndsTheAttempt()
{
    const LogCatcher log;
    const QString file = firmware(u"gone.bin"_s, "x");
    start(m_upgrade, file);
    QVERIFY(QFile::remove(file));
    QTRY_COMPARE_WITH_TIMEOUT(m_upgrade.state(), State::Idle, kEndMs);
    const QString reason = u"Transfer Abort: Cannot read firmware file: "_s;
    QVERIFY2(m_upgrade.statusText().startsWith(reason), qPrintable(m_upgrade.statusText()));
    QCOMPARE(log.count(u"Sent YModem packet"_s), 0);

    start(m_upgrade, firmware(u"empty.bin"_s, {}));
    QTRY_COMPARE_WITH_TIMEOUT(m_upgrade.state(), State::Idle, kEndMs);
    QCOMPARE(m_upgrade.statusText(), u"Transfer Abort: File is empty"_s);
}

void TestLocalUpgrade::answersWithinAWriteDoNotNest()
{
    auto *const port = new EagerPort;
    LocalUpgrade upgrade(port, [port](const QString &, int) {
        return port->open(QIODevice::ReadWrite | QIODevice::Unbuffered);
    });
    upgrade.start({}, kBaud, firmware(u"eager.bin"_s, randomBytes(300 * 1024)));
    QCOMPARE(upgrade.statusText(), u"Transfer complete successfully!"_s);
    QVERIFY(!port->isOpen());
    QCOMPARE(port->deepest(), 1);
}

void TestLocalUpgrade::lrzszTakesOurBlocks_data()
{
    QTest::addColumn<qsizetype>("size");
    QTest::addColumn<QString>("name");
    QTest::newRow("one byte over") << qsizetype(1025) << u"over.bin"_s;
    QTest::newRow("non-ASCII name, number wraps") << qsizetype(300 * 1024 - 1) << u"固件.bin"_s;
}

void TestLocalUpgrade::lrzszTakesOurBlocks()
{
    QFETCH(qsizetype, size);
    QFETCH(QString, name);
    const QTemporaryDir folder;
    LrzszReceiver receiver(folder.path());
    const QByteArray content = randomBytes(size);
    m_upgrade.start(receiver.portName(), kBaud, firmware(name, content));
    QTRY_COMPARE_WITH_TIMEOUT(m_upgrade.state(), State::Idle, kEndMs);
    QCOMPARE(m_upgrade.statusText(), u"Transfer complete successfully!"_s);
    QVERIFY(contentOf(folder.filePath(name)) == content);
}

void TestLocalUpgrade::consoleShowsWhatHappens()
{
    CMain console;
    QSignalSpy texts(&console, &CMain::localUpgradeTextChanged);
    QSignalSpy errors(&console, &CMain::sbusDataError);
    QSignalSpy progress(&console, &CMain::upgradeProgressChanged);
    QCOMPARE(console.localUpgradeText(), QString());
    const QString file = firmware(u"console.bin"_s, randomBytes(10 * 1024));

    m_sim->fault(u"at block:6 nak x1"_s);
    console.updateFirmwareByCom(m_sim->ptyPath(), kBaud, file);
    QVERIFY(console.localUpgradeRunning());
    QCOMPARE(console.localUpgradeText(), u"Waiting for NEWBOOT..."_s);
    QTRY_VERIFY_WITH_TIMEOUT(!console.localUpgradeRunning(), kEndMs);
    QCOMPARE(console.localUpgradeText(), u"Transfer Abort: Unexpected response: 0x15"_s);
    QCOMPARE(console.upgradeProgress(), 54); // keeps what it had: block 6 of 10

    progress.clear();
    console.updateFirmwareByCom(m_sim->ptyPath(), kBaud, file);
    QTRY_VERIFY_WITH_TIMEOUT(!console.localUpgradeRunning(), kEndMs);
    QCOMPARE(console.upgradeProgress(), 100);
    QList<int> percents;
    for (const QList<QVariant> &change : progress)
        percents.append(change.constFirst().toInt());
    QCOMPARE(percents, QList<int>({0, 9, 18, 27, 36, 45, 54, 63, 72, 81, 90, 100}));

    console.updateFirmwareByCom(m_sim->ptyPath(), kBaud, {});
    QCOMPARE(console.localUpgradeText(), u"Please select firmware file first!"_s);
    QVERIFY(texts.count() > 10);
    QCOMPARE(errors.count(), 0);
    QCOMPARE(console.message(), QString());
}

void TestLocalUpgrade::consoleGivesItsPortUp_data()
{
    QTest::addColumn<bool>("overTcp");
    QTest::newRow("serial link is closed") << false;
    QTest::newRow("TCP link stays") << true;
}

void TestLocalUpgrade::consoleGivesItsPortUp()
{
    QFETCH(bool, overTcp);
    QTcpServer pod;
    QVERIFY(pod.listen(QHostAddress::LocalHost, 0));
    CMain console;
    QVERIFY(overTcp ? console.connectTCP(u"127.0.0.1"_s, pod.serverPort())
                    : console.connectSerial(m_sim->ptyPath(), kBaud));
    QTRY_VERIFY(console.isConnected());
    // Even when the upgrade is refused: the port is given up first.
    console.updateFirmwareByCom(m_sim->ptyPath(), kBaud, {});
    QCOMPARE(console.isConnected(), overTcp);
    console.updateFirmwareByCom(m_sim->ptyPath(), kBaud, firmware(u"port.bin"_s, randomBytes(1)));
    QTRY_VERIFY_WITH_TIMEOUT(!console.localUpgradeRunning(), kEndMs);
    QCOMPARE(console.localUpgradeText(), u"Transfer complete successfully!"_s);
}

void TestLocalUpgrade::consoleDiesInMidTransfer()
{
    const QByteArray content = randomBytes(200 * 1024);
    const QString file = firmware(u"mid.bin"_s, content);
    auto console = std::make_unique<CMain>();
    m_sim->fault(u"at block:100 silent"_s);
    console->updateFirmwareByCom(m_sim->ptyPath(), kBaud, file);
    QTRY_COMPARE_WITH_TIMEOUT(console->upgradeProgress(), 45, kEndMs);
    console.reset();

    m_sim->fault(u"clear"_s);
    start(m_upgrade, file);
    QTRY_COMPARE_WITH_TIMEOUT(m_upgrade.state(), State::Idle, kEndMs);
    QVERIFY(contentOf(m_image) == content);
}

QTEST_GUILESS_MAIN(TestLocalUpgrade)

#include "tst_local_upgrade.moc"
