// The fault matrix: each row does something bad to the running console and states what must hold.
// Usage: faults [--quick] [--only TEXT] [--report FILE]

#include "Surroundings.h"
#include "Trial.h"

#include <QDateTime>
#include <QHostAddress>
#include <QSysInfo>
#include <QUdpSocket>

namespace {

constexpr int kLossMs = Trial::kLossMs;
constexpr int kVanishedMs = 15000; // a vanished peer is noticed within 9 s
// How long faults last: enough for what they would break to break.
constexpr int kStallMs = 2000;
constexpr int kFloodSeconds = 5;
constexpr int kGarbageSeconds = 4;
constexpr int kSilenceMs = 2000;
constexpr int kSessionSeconds = 2;
constexpr int kBeyondSessionMs = (3 * kSessionSeconds + 1) * 1000;
constexpr int kAllPidsMs = 8000;
const QByteArray kCorrupt = QByteArrayLiteral("[TCP\ndevicePort\n=\x01\xFF\n[[]]\n\0\0garbage");

void commandsGoOn(Trial &t, int seconds)
{
    for (int i = 0; i < seconds; ++i) {
        t.lastFor(1000);
        t.expectControl();
        t.expectAnswer();
    }
}

void slowReader(Trial &t)
{
    t.move("w");
    t.fault(u"control stall on"_s);
    for (int i = 0; i < 1000; ++i) { // more than the peer's side holds
        t.press("e");
        t.release("e");
    }
    t.release("w");
    t.lastFor(kStallMs);
    t.expectAnswer();
    t.fault(u"control stall off"_s);
    t.expectMoving(false);
}

void serialUnplugged(Trial &t)
{
    t.expect(t.connectBy(Flight::Serial), u"no serial connection"_s);
    t.move("w");
    t.fault(u"control unplug"_s);
    t.expectShown(u"串口连接丢失"_s);
    t.expectShown(u"未连接"_s);
    t.release("w");
    t.fault(u"control replug"_s);
    t.expect(t.connectBy(Flight::Serial), u"no serial connection after the replug"_s);
    t.expectControl();
    t.expect(t.disconnect(), u"no disconnection"_s);
}

void inputFlood(Trial &t)
{
    constexpr int kSliceMs = 10;
    for (int slice = 0; slice < kFloodSeconds * 1000 / kSliceMs; ++slice) {
        for (const char *event :
             {"keydown --delay 0 w", "keyup --delay 0 w", "mousemove 300 300",
              "keydown --delay 0 e", "mousedown 4", "mouseup 4", "keyup --delay 0 e", "mousedown 1",
              "mousemove 360 330", "mouseup 1"})
            t.input(event);
        QThread::msleep(kSliceMs);
    }
    t.expectAnswer();
    t.expectMoving(false, Flight::kWaitMs);
}

void sizeChange(Trial &t)
{
    const auto shape = [&t] { return t.get("videoRenderer", "contentRect"); };
    const QString wide = shape();
    t.fault(u"video resize 480x360"_s);
    t.expect(t.waitFor([&] { return t.isPlaying() && shape() != wide; }, kLossMs),
             u"the new size is not shown"_s);
    t.expectControl();
    t.fault(u"video resize 640x360"_s);
    t.expect(t.waitFor([&] { return shape() == wide; }, kLossMs),
             u"the old size is not shown again"_s);
}

void shortSession(Trial &t)
{
    t.fault(u"video session %1"_s.arg(kSessionSeconds));
    t.expectLossAndReturn(u"video end"_s);
    t.restore();
    t.forget();
    t.lastFor(kBeyondSessionMs);
    t.expect(!t.said(u"连接中断"_s, 0), u"the session ran out"_s);
    t.fault(u"video session 60"_s);
}

Flight::Setup unknownPids()
{
    QUdpSocket free;
    free.bind(QHostAddress::LocalHost);
    const QString address = u"127.0.0.1:%1"_s.arg(free.localPort());
    return {.podArguments = {u"--udp"_s, address, u"--fault"_s, u"video data on"_s},
            .streamUrl = u"udp://"_s + address};
}

void upgradeServerSilent(Trial &t)
{
    QFile image(t.settingsPath() + u".image"_s);
    t.expect(image.open(QIODevice::WriteOnly) && image.write(QByteArray(3000, 'x')) == 3000,
             u"no image"_s);
    image.close();
    PodSim peers({u"--upgrade-bootloader"_s, u"--upgrade-server"_s, image.fileName(),
                  u"--upgrade-port"_s, u"0"_s, u"--fault"_s, u"server silent"_s});
    t.ask(u"upgrade %1 %2"_s.arg(peers.ptyPath()).arg(peers.upgradePort()));
    t.expect(t.openDrawer(6) && t.click(u"updateButton"_s), u"no upgrade page"_s);
    t.expect(t.waitFor([&t] { return t.get("cMain", "message").contains("UID"_L1); }, kLossMs),
             u"the UID is not shown"_s);
    t.lastFor(kSilenceMs);
    t.expectAnswer();
    t.expect(t.click(u"completeButton"_s), u"no end button"_s);
    t.closeDrawer();
}

void cannotBeSaved(Trial &t)
{
    t.restore();
    t.setup().spoil();
    t.expect(t.disconnect(), u"no disconnection"_s);
    t.expect(!t.said(u"设置无法保存"_s, 0), u"told too early"_s);
    t.restore(); // connecting stores the address
    t.expectShown(u"设置无法保存"_s);
    QFile settings(t.settingsPath());
    t.expect(settings.open(QIODevice::ReadOnly) && settings.readAll().contains("rtspIp="),
             u"the settings were lost"_s);
}

void corruptSettings(Trial &t)
{
    t.expectShown(u"设置文件已损坏，已恢复默认设置"_s);
    QFile kept(t.settingsPath() + u".damaged"_s);
    t.expect(kept.open(QIODevice::ReadOnly) && kept.readAll() == kCorrupt, u"not kept aside"_s);
    t.expect(t.get("mainWindow", "oldDevicePort") == "2000"_L1
                 && t.get("mainWindow", "rtspUrl").endsWith(u":554/live0"_s),
             u"no defaults"_s);
    t.expect(t.openDrawer(0) && t.enter("urlInput", t.streamUrl()) && t.click(u"urlButton"_s)
                 && t.enter("ipInput", u"127.0.0.1"_s)
                 && t.enter("portInput", QString::number(t.pod().controlPort())),
             u"no drawer"_s);
    t.restore();
}

enum RowFlag : quint8 {
    Long = 0,
    Quick = 1,   ///< also in the short run
    NoLevel = 2, ///< what the console holds is not compared
};

struct Row
{
    const char *fault;
    const char *mustHold; ///< besides what the report says of every row
    int flags;
    void (*act)(Trial &);
    Flight::Setup (*setup)() = nullptr; ///< of a console of its own
};

const Row kRows[] = {
    {"TCP connection reset in a motion", "lost link shown; the stop comes first after reconnecting",
     Quick,
     [](Trial &t) {
         t.move("w");
         t.fault(u"control drop rst"_s);
         t.expectShown(u"未连接"_s);
         t.release("w"); // reaches nobody: the stop is owed
     }},
    {"Pod stops reading for two seconds in a motion",
     "window goes on; all commands arrive in order, the stop within a second", Quick, slowReader},
    {"Serial plug pulled in a motion and put back",
     "lost port shown; the stop comes first after reconnecting", Quick, serialUnplugged},
    {"10,000 status frames a second", "commands and window within a second all the while", Quick,
     [](Trial &t) {
         t.fault(u"status rate 10000"_s);
         commandsGoOn(t, kFloodSeconds);
         t.fault(u"status rate 25"_s);
     }},
    {"1,000 input events a second", "every motion gets its stop; window goes on", Quick,
     inputFlood},
    {"Keyboard taken away in a motion", "stop within a second", Quick,
     [](Trial &t) {
         t.move("w");
         t.input("windowfocus 0"); // as if another program took the keyboard
         t.expectMoving(false);
         t.release("w");
         t.takeKeyboard();
     }},
    {"Stream stalls", "loss shown, stream comes back", Long,
     [](Trial &t) { t.expectLossAndReturn(u"video stall"_s, u"video resume"_s); }},
    {"Stream ends", "loss shown, stream comes back", Quick,
     [](Trial &t) { t.expectLossAndReturn(u"video end"_s); }},
    {"Video server dies and is started again", "loss shown, stream comes back", Long,
     [](Trial &t) { t.expectLossAndReturn(u"video kill"_s, u"video restart"_s); }},
    {"Picture size changes in mid-stream", "new size shown in its shape", Quick, sizeChange},
    {"Codec changes to H.265 and back", "loss shown, stream comes back", Long,
     [](Trial &t) {
         t.expectLossAndReturn(u"video format 640x360 25 h265"_s);
         t.restore();
         t.expectLossAndReturn(u"video format 640x360 25 h264"_s);
     }},
    {"Stream full of errors", "commands go on; picture mends", Quick,
     [](Trial &t) {
         t.fault(u"video garbage on"_s);
         commandsGoOn(t, kGarbageSeconds);
         t.fault(u"video garbage off"_s);
     }},
    {"Video server shortens its session time-out to 2 s", "session kept alive for 7 s", Long,
     shortSession},
    {"Upgrade server silent after the UID", "window goes on; upgrade can be ended", Long,
     upgradeServerSilent},
    {"Half-open link: the network is cut in a motion",
     "lost link shown within 15 s; the stop comes first after reconnecting", Quick,
     [](Trial &t) {
         t.move("w");
         t.setup().spoil();
         t.release("w");
         t.expectShown(u"未连接"_s, kVanishedMs);
         t.setup().mend();
     },
     surroundings::cutLink},
    {"Window closed in a motion", "stop sent, console ends in order", Quick | NoLevel,
     [](Trial &t) {
         t.restore();
         t.move("w");
         t.click(u"closeButton"_s);
         t.expect(t.ends(), u"the console did not end in order"_s);
     },
     [] { return Flight::Setup{}; }},
    {"MPEG-TS with unknown data PIDs", "stream opens and plays", Long,
     [](Trial &t) {
         t.lastFor(kAllPidsMs);
         t.expect(!t.log().contains("av_read_frame"), u"the unknown packets disturb reading"_s);
     },
     unknownPids},
    {"Disk full", "told when settings are stored; settings file intact; console goes on",
     Quick | NoLevel, cannotBeSaved,
     [] { return surroundings::smallDisk(u"cat /dev/zero >%1/filler"_s); }},
    {"Settings folder read-only", "told when settings are stored; console goes on", NoLevel,
     cannotBeSaved, [] { return surroundings::smallDisk(u"mount -o remount,ro %1"_s); }},
    {"Corrupt device_config.ini", "told at the start; defaults hold; file kept aside",
     Quick | NoLevel, corruptSettings, [] { return Flight::Setup{.settings = kCorrupt}; }},
};

/// Flies a row, on the shared console or one of its own; returns the report's cells.
QString fly(const Row &row, std::unique_ptr<Trial> &flight, bool &passed)
{
    if (row.setup || !flight) {
        flight.reset(); // two windows would fight for the keyboard
        const Flight::Setup setup = row.setup ? row.setup() : Flight::Setup{};
        if (!setup.missing.isEmpty())
            return u"skipped: %1 | – | – | – | – | –"_s.arg(setup.missing);
        flight = std::make_unique<Trial>(setup, QCoreApplication::applicationDirPath()
                                                    + u"/fault-failure"_s);
    }
    const bool hasLevel = (row.flags & NoLevel) == 0;
    if (hasLevel)
        flight->takeLevel();
    row.act(*flight);
    if (hasLevel) {
        flight->restore();
        flight->expectLevel();
    }
    flight->expectRecordInOrder();
    const QString cells = flight->cells();
    passed = flight->passed();
    if (row.setup || !passed)
        flight.reset(); // the next row is to judge its own fault alone
    return cells;
}

QString reportOf(const QStringList &lines, qint64 seconds)
{
    return u"# Fault matrix\n\nWritten by `scripts/faults.sh`: the real console program and "
           "`podsim` under Xvfb, software rendering; input as from a mouse and a keyboard.\n\n"
           "%1, %2 processors, %3; the run took %4 s.\n\n"
           "In every row: the process lives, every motion that the pod received got its stop "
           "(after a reconnection it is the first frame), a command reaches the pod within "
           "1,000 ms during the fault or right after it (worst case given), resident memory (MiB) "
           "returns to within 12 MiB, and there are no more descriptors and threads than before "
           "(an idle thread of a pool ends after 30 s).\n\n"
           "| fault | what must hold | outcome | shown to the operator | control (ms) | memory | "
           "descriptors | threads |\n|---|---|---|---|---|---|---|---|\n%5\n"_s
               .arg(QDate::currentDate().toString(Qt::ISODate))
               .arg(QThread::idealThreadCount())
               .arg(QSysInfo::prettyProductName())
               .arg(seconds)
               .arg(lines.join(u'\n'));
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication app(argc, argv);
    const bool isQuick = QCoreApplication::arguments().contains(u"--quick"_s);
    const QString only = valueOf(u"--only"_s);
    QElapsedTimer clock;
    clock.start();
    QStringList lines;
    bool allPassed = true;
    std::unique_ptr<Trial> flight;
    for (const Row &row : kRows) {
        const QString fault = QString::fromUtf8(row.fault);
        if ((isQuick && (row.flags & Quick) == 0) || !fault.contains(only, Qt::CaseInsensitive))
            continue;
        bool passed = true;
        const QString cells = fly(row, flight, passed);
        allPassed = allPassed && passed;
        lines.append(u"| %1 | %2 | %3 |"_s.arg(fault, QString::fromUtf8(row.mustHold), cells));
        std::printf("%6.1f s  %s\n", double(clock.elapsed()) / 1000, qPrintable(lines.last()));
        std::fflush(stdout);
    }
    QFile report(valueOf(u"--report"_s, u"/dev/null"_s));
    if (!report.open(QIODevice::WriteOnly))
        qFatal("faults: %s cannot be written", qPrintable(report.fileName()));
    report.write(reportOf(lines, clock.elapsed() / 1000).toUtf8());
    return allPassed && !lines.isEmpty() ? 0 : 1;
}
