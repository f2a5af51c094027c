// The local upgrade against podsim's bootloader on a pseudo terminal, and against lrzsz.

#include "CaseTrace.h"
#include "Files.h"
#include "LogCatcher.h"
#include "PodSim.h"
#include "backend/CMain.h"
#include "bootloader/AnswerQueue.h"
#include "control/PtyControlLink.h"
#include "firmware/local/LocalUpgrade.h"

#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTime>

#include <cerrno>
#include <memory>
#include <tuple>
#include <utility>

using namespace Qt::StringLiterals;
using State = LocalUpgrade::State;
using Times = UpgradeTimeouts;
using Timeout = int Times::*;

namespace {

constexpr int kBaud = 115200;
constexpr int kEndMs = 60000; // for an upgrade to end on a busy machine
constexpr int kNeverMs = 2 * kEndMs;
constexpr int kShortMs = 400; // sound steps are answered in time on a busy machine
constexpr qsizetype kThreeBlocks = 2500;
constexpr QLatin1String kSuccess{"Transfer complete successfully!"};

} // namespace

class TestLocalUpgrade : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_upgrade.setTimeouts({});
        m_sim.fault(u"clear"_s);
    }
    void imagesArriveAndEveryStepIsLogged();
    void faultsEndAsTheyShould();
    void erasingFlashMayTakeForEver();
    void lrzszTakesOurBlocks();
    void consoleRefusesAndDiesInMidTransfer();

private:
    QString firmware(const QString &name, const QByteArray &content)
    {
        return writeFile(m_folder.filePath(name), content);
    }

    /// True once an upgrade on podsim has come to an end.
    bool run(const QString &file)
    {
        m_upgrade.start(m_sim.ptyPath(), kBaud, file);
        return QTest::qWaitFor([this] { return !m_upgrade.isRunning(); }, kEndMs);
    }

    QTemporaryDir m_folder;
    const QString m_image = m_folder.filePath(u"image"_s);
    PodSim m_sim{{u"--bootloader"_s, u"--image"_s, m_image}};
    LocalUpgrade m_upgrade; // one for all tests: every end must leave it fit for the next start
};

void TestLocalUpgrade::imagesArriveAndEveryStepIsLogged()
{
    for (const auto &[size, name, nameInHeader] :
         {std::tuple(1, u"固件 升级é.bin"_s, u"固件 升级é.bin"_s),
          {1023, u"a"_s, u"a"_s},
          {1024, QString(200, u'n'), QString(122, u'n')},
          {1025, QString(70, u'固'), QString(40, u'固')},
          {1024 * 1024, u"b"_s, u"b"_s}}) {
        const CaseTrace trace(size, name);
        QVERIFY(run(firmware(name, mixedBytes(size))));
        QCOMPARE(m_upgrade.statusText(), kSuccess);
        QCOMPARE(contentOf(m_image), mixedBytes(size));
        const QString state = m_sim.fault(u"state"_s);
        QVERIFY2(state.contains(uR"("name":"%1")"_s.arg(nameInHeader)), qPrintable(state));
        QVERIFY2(state.contains(uR"("rejections":[])"_s), qPrintable(state));
    }

    const LogCatcher log;
    const QSignalSpy progress(&m_upgrade, &LocalUpgrade::progressed);
    QVERIFY(run(firmware(u"log.bin"_s, mixedBytes(kThreeBlocks))));
    QCOMPARE(progress, QList<QVariantList>({{0}, {30}, {60}, {90}, {100}}));
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
}

void TestLocalUpgrade::faultsEndAsTheyShould()
{
    const Times t;
    const QList<int> defaults{t.newBootMs,    t.bootMeMs,    t.blockMs,
                              t.firstEotMs,   t.secondEotMs, t.finalRequestMs,
                              t.nullHeaderMs, t.successMs,   t.writeMs};
    QCOMPARE(defaults, QList({6000, 3000, 3000, 3000, 3000, 3000, 3000, 20000, 1000}));

    struct Row
    {
        const char *faults;
        QList<Timeout> shortened; // no other time-out can be the one that ends it
        const char *reason;       // of the abortion; empty: success
        const char *line = "";    // that the log has...
        int times = 0;            // ... so often
    };
    const QList<Timeout> block{&Times::blockMs};
    const QList<Timeout> firstEot{&Times::firstEotMs};
    const char *const retries = "Retry limit reached";
    const char *const noNak = "Timeout: waiting for 'NAK'";
    const char *const noAck = "Timeout: waiting for 'ACK'";
    const char *const nullAck = "Timeout: waiting for second 'ACK'";
    const QList<Row> rows{
        {"at newboot silent", {&Times::newBootMs}, "Timeout: waiting for 'NEWBOOT'"},
        {"at header silent;at ready silent", block, retries, "packet 0", 4},
        {"at block:2 silent", block, retries, "retry package 2", 3},
        // An answer resets the count.
        {"at block:2 silent x3;at block:3 silent x3", block, "", "retry package", 6},
        {"at eot1 silent", firstEot, noNak},
        {"at eot2 silent;at final silent", {&Times::secondEotMs}, noAck},
        {"at final silent", {&Times::finalRequestMs}, "Timeout: waiting for 'C'"},
        {"at null silent;at success silent", {&Times::nullHeaderMs}, nullAck},
        {"at success silent", {&Times::successMs}, "Timeout: waiting for 'success'"},
        {"at block:2 nak", {}, "Unexpected response: 0x15", "packet 2", 1},
        {"at header c x1;at ready silent x1", {}, "", "packet 0", 2},
        {"at block:3 c x1", {}, "", "Receiver requests CRC mode", 1},
        {"at eot1 wrong 06", firstEot, noNak},
        // Each block that was sent again is acknowledged again: the answers are one ahead.
        {"at block:2 late 900 x1", block + firstEot, noNak, "packet 3", 1},
        {"at block:2 twice", firstEot, noNak},
        // Only a byte that comes alone is an answer.
        {"at block:2 joined 06", block, retries, "Received response", 2},
        {"at newboot noise fffe;at put noise 000a", {}, ""},
        // After 7 + 36 + 4 bytes of greeting and 133 of header, in the first block's payload.
        {"line garble 500", {}, "Unexpected response: 0x15", "packet 1", 1},
    };
    const QString file = firmware(u"faulty.bin"_s, mixedBytes(kThreeBlocks));
    for (const Row &row : rows) {
        const LogCatcher log;
        m_sim.fault(u"clear"_s);
        const QString faults = QString::fromLatin1(row.faults);
        for (const QString &fault : faults.split(u';'))
            m_sim.fault(fault);
        Times times{kNeverMs, kNeverMs, kNeverMs, kNeverMs, kNeverMs, kNeverMs, kNeverMs, kNeverMs};
        for (const Timeout timeout : row.shortened)
            times.*timeout = kShortMs;
        m_upgrade.setTimeouts(times);
        QVERIFY2(run(file), row.faults);
        const QString ending = QString::fromLatin1(row.reason);
        QCOMPARE(faults + u": "_s + m_upgrade.statusText().remove(u"Transfer Abort: "_s),
                 faults + u": "_s + (ending.isEmpty() ? kSuccess : ending));
        if (row.times > 0)
            QCOMPARE(faults + QString::number(log.count(QLatin1String(row.line))),
                     faults + QString::number(row.times));
    }
}

void TestLocalUpgrade::erasingFlashMayTakeForEver()
{
    const QString file = firmware(u"wait.bin"_s, mixedBytes(kThreeBlocks));
    m_upgrade.setTimeouts({.newBootMs = 2 * kShortMs, .bootMeMs = kShortMs, .blockMs = kShortMs});
    for (const auto &[fault, state] : {std::pair(u"at phrase silent"_s, State::PhraseSent),
                                       {u"at ready noise 00"_s, State::HeaderAccepted}}) {
        const CaseTrace trace(fault);
        PodSim sim({u"--bootloader"_s, u"--fault"_s, fault});
        m_upgrade.start(sim.ptyPath(), kBaud, file);
        QTRY_COMPARE_WITH_TIMEOUT(m_upgrade.state(), state, kEndMs);
        // The phrase is not for those who watch the operator's screen.
        QVERIFY(!m_upgrade.statusText().contains(u"3f1a9c2e"_s));
        QTest::qWait(2 * kShortMs); // in which nothing may happen
        m_upgrade.start(sim.ptyPath(), kBaud, file);
        QCOMPARE(m_upgrade.statusText(), u"Transfer already in progress"_s);
        QCOMPARE(m_upgrade.state(), state);
        sim.fault(u"line die"_s);
        QTRY_COMPARE_WITH_TIMEOUT(m_upgrade.statusText(),
                                  u"Transfer Abort: "_s + qt_error_string(EIO), kEndMs);
        QCOMPARE(m_upgrade.state(), State::Idle);
    }
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
        answers.put(exitCode == 0 ? "Ostrel_thread->Update success!\r\n" : "failed");
    });

    const QByteArray content = mixedBytes(256 * 1024 + 1); // the last block's number wrapped
    m_upgrade.start(link.slavePath(), kBaud, firmware(u"固件.bin"_s, content));
    QTRY_COMPARE_WITH_TIMEOUT(m_upgrade.state(), State::Idle, kEndMs);
    QCOMPARE(m_upgrade.statusText(), kSuccess);
    QCOMPARE(contentOf(folder.filePath(u"固件.bin"_s)), content);
}

void TestLocalUpgrade::consoleRefusesAndDiesInMidTransfer()
{
    const QByteArray content = mixedBytes(kThreeBlocks);
    const QString file = firmware(u"console.bin"_s, content);
    auto console = std::make_unique<CMain>();
    // A refused upgrade too takes the port from the serial link first.
    QVERIFY(console->connectSerial(m_sim.ptyPath(), kBaud));
    for (const auto &[port, path, text] :
         {std::tuple(m_sim.ptyPath(), QString(), u"Please select firmware file first!"_s),
          {u"/dev/no-such-port"_s, file, u"Failed to open serial port!"_s},
          {m_sim.ptyPath(), u"/nonexistent"_s, u"Transfer Abort: Cannot read firmware file: "_s},
          {m_sim.ptyPath(), firmware(u"empty.bin"_s, {}), u"Transfer Abort: File is empty"_s}}) {
        const CaseTrace trace(port, path);
        console->updateFirmwareByCom(port, kBaud, path);
        QVERIFY(!console->isConnected());
        QTRY_VERIFY_WITH_TIMEOUT(!console->localUpgradeRunning(), kEndMs);
        QVERIFY2(console->localUpgradeText().startsWith(text), qPrintable(text));
    }

    m_sim.fault(u"at block:3 silent"_s);
    console->updateFirmwareByCom(m_sim.ptyPath(), kBaud, file);
    QTRY_COMPARE_WITH_TIMEOUT(console->upgradeProgress(), 90, kEndMs);
    console.reset();
    m_sim.fault(u"clear"_s);
    QVERIFY(QFile::remove(m_image));
    QVERIFY(run(file));
    QCOMPARE(contentOf(m_image), content);
}

QTEST_GUILESS_MAIN(TestLocalUpgrade)

#include "tst_local_upgrade.moc"
