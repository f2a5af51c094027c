// The fault matrix: each row does something bad to the running console and states what must hold.
// Usage: faults [--quick] [--only TEXT] [--report FILE]

#include "Surroundings.h"
#include "Trial.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QElapsedTimer>
#include <QHostAddress>
#include <QSysInfo>
#include <QThread>
#include <QUdpSocket>

#include <cstdio>
#include <memory>

using namespace Qt::StringLiterals;

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
constexpr qint64 kWholeLog = 1 << 30;

// Control link

void resetByPeer(Trial &t)
{
    t.move("w");
    t.fault(u"control drop rst"_s);
    t.expectShown(u"未连接"_s);
    t.release("w"); // reaches nobody: the stop is owed
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
    t.expect(t.moves(false, Flight::kControlMs), u"the stop did not arrive"_s);
}

void serialUnplugged(Trial &t)
{
    t.expect(t.flight().connectBy(Flight::Serial), u"no serial connection"_s);
    t.move("w");
    t.fault(u"control unplug"_s);
    t.expectShown(u"串口连接丢失"_s);
    t.expectShown(u"未连接"_s);
    t.release("w");
    t.fault(u"control replug"_s);
    t.expect(t.flight().connectBy(Flight::Serial), u"no serial connection after the replug"_s);
    t.expectControl();
    t.expect(t.flight().disconnect(), u"no disconnection"_s);
}

void statusFlood(Trial &t)
{
    t.fault(u"status rate 10000"_s);
    for (int i = 0; i < kFloodSeconds; ++i) {
        t.lastFor(1000);
        t.expectControl();
        t.expectAnswer();
    }
    t.fault(u"status rate 25"_s);
}

void halfOpenLink(Trial &t)
{
    CutLink link;
    if (!link.isMade())
        return t.skip(u"needs root and network namespaces"_s);
    t.begin({.podArguments = {u"--bind"_s, u"0.0.0.0"_s},
             .host = link.host(),
             .launcher = link.launcher()});
    t.takeLevel();
    t.move("w");
    link.cut();
    t.release("w");
    t.expectShown(u"未连接"_s, kVanishedMs);
    link.mend();
    t.restore();
    t.expectLevel();
    t.expectRecordInOrder();
    t.land();
}

// Operator

void inputFlood(Trial &t)
{
    constexpr int kSeconds = 5;
    constexpr int kSliceMs = 10;
    const QList<QByteArray> events = {
        "keydown --delay 0 w", "keyup --delay 0 w", "mousemove 300 300", "keydown --delay 0 e",
        "mousedown 4",         "mouseup 4",         "keyup --delay 0 e", "mousedown 1",
        "mousemove 360 330",   "mouseup 1"};
    for (int slice = 0; slice < kSeconds * 1000 / kSliceMs; ++slice) {
        for (const QByteArray &event : events)
            t.flight().input(event);
        QThread::msleep(kSliceMs);
    }
    t.expectAnswer();
    t.expect(t.moves(false), u"a motion is left without its stop"_s);
}

void keyboardTakenAway(Trial &t)
{
    t.move("w");
    t.flight().input("windowfocus 0"); // as if another program took the keyboard
    t.expect(t.moves(false, Flight::kControlMs), u"the stop did not arrive"_s);
    t.release("w");
    t.flight().takeKeyboard();
}

void windowClosed(Trial &t)
{
    t.begin({});
    t.restore();
    t.move("w");
    t.flight().click("closeButton");
    t.expect(t.flight().ends(Flight::kWaitMs), u"the console did not end in order"_s);
    t.expectRecordInOrder();
    t.land();
}

// Video

void lostAndRestored(Trial &t, const QStringList &faults, const QStringList &cures)
{
    t.flight().forget();
    for (const QString &line : faults)
        t.fault(line);
    t.expectShown(u"连接中断"_s, kLossMs);
    t.expectControl();
    for (const QString &line : cures)
        t.fault(line);
    t.expectShown(u"连接恢复"_s, kLossMs);
}

void streamStall(Trial &t) { lostAndRestored(t, {u"video stall"_s}, {u"video resume"_s}); }
void streamEnd(Trial &t) { lostAndRestored(t, {u"video end"_s}, {}); }
void serverDeath(Trial &t) { lostAndRestored(t, {u"video kill"_s}, {u"video restart"_s}); }

void codecChange(Trial &t)
{
    lostAndRestored(t, {u"video format 640x360 25 h265"_s}, {});
    t.restore();
    lostAndRestored(t, {u"video format 640x360 25 h264"_s}, {});
}

void sizeChange(Trial &t)
{
    const auto shape = [&t] { return t.flight().get("videoRenderer", "contentRect"); };
    const QString wide = shape();
    t.fault(u"video resize 480x360"_s);
    t.expect(t.flight().waitFor([&] { return t.flight().isPlaying() && shape() != wide; }, kLossMs),
             u"the new size is not shown"_s);
    t.expectControl();
    t.fault(u"video resize 640x360"_s);
    t.expect(t.flight().waitFor([&] { return shape() == wide; }, kLossMs),
             u"the old size is not shown again"_s);
}

void garbage(Trial &t)
{
    t.fault(u"video garbage on"_s);
    for (int i = 0; i < kGarbageSeconds; ++i) {
        t.lastFor(1000);
        t.expectControl();
    }
    t.fault(u"video garbage off"_s);
}

void shortSession(Trial &t)
{
    t.fault(u"video session %1"_s.arg(kSessionSeconds));
    lostAndRestored(t, {u"video end"_s}, {});
    t.restore();
    t.flight().forget();
    t.lastFor(kBeyondSessionMs);
    t.expect(!t.flight().said(u"连接中断"_s, 0), u"the session ran out"_s);
    t.fault(u"video session 60"_s);
}

void unknownPids(Trial &t)
{
    QUdpSocket free;
    free.bind(QHostAddress::LocalHost);
    const QString address = u"127.0.0.1:%1"_s.arg(free.localPort());
    free.close();
    t.begin({.podArguments = {u"--udp"_s, address, u"--fault"_s, u"video data on"_s},
             .streamUrl = u"udp://"_s + address});
    t.takeLevel();
    t.lastFor(kAllPidsMs);
    t.expect(!t.flight().logTail(kWholeLog).contains(u"av_read_frame"_s),
             u"the unknown packets disturb reading"_s);
    t.restore();
    t.expectLevel();
    t.expectRecordInOrder();
    t.land();
}

// Upgrade

void upgradeServerSilent(Trial &t)
{
    QFile image(t.flight().settingsPath() + u".image"_s);
    t.expect(image.open(QIODevice::WriteOnly) && image.write(QByteArray(3000, 'x')) == 3000,
             u"no image"_s);
    image.close();
    PodSim peers({u"--upgrade-bootloader"_s, u"--upgrade-server"_s, image.fileName(),
                  u"--upgrade-port"_s, u"0"_s, u"--fault"_s, u"server silent"_s});
    t.flight().ask(u"upgrade %1 %2"_s.arg(peers.ptyPath()).arg(peers.upgradePort()));
    t.expect(t.flight().openDrawer(6) && t.flight().click("updateButton"), u"no upgrade page"_s);
    const auto message = [&t] { return t.flight().get("cMain", "message"); };
    const auto tells = [&](const QString &text) {
        t.expect(t.flight().waitFor([&] { return message().contains(text); }, kLossMs),
                 u"\"%1\" was not shown but %2"_s.arg(text, message()));
    };
    tells(u"UID"_s);
    t.lastFor(kSilenceMs);
    t.expectAnswer();
    t.expect(t.flight().click("completeButton"), u"no end button"_s);
    t.flight().closeDrawer();
}

// Settings

void cannotBeSaved(Trial &t, const std::function<void(const SmallDisk &)> &spoil)
{
    const SmallDisk disk("64k");
    if (!disk.isMade())
        return t.skip(u"needs root and mount"_s);
    t.begin({.folder = disk.path()});
    t.restore();
    spoil(disk);
    t.expect(t.flight().disconnect(), u"no disconnection"_s);
    t.expect(!t.flight().said(u"设置无法保存"_s, 0), u"told too early"_s);
    t.restore(); // connecting stores the address
    t.expectShown(u"设置无法保存"_s);
    QFile settings(t.flight().settingsPath());
    t.expect(settings.open(QIODevice::ReadOnly) && settings.readAll().contains("rtspIp="),
             u"the settings were lost"_s);
    settings.close();
    t.expectRecordInOrder();
    t.land();
}

void diskFull(Trial &t)
{
    cannotBeSaved(t, [](const SmallDisk &disk) {
        QFile filler(disk.path() + u"/filler"_s);
        if (filler.open(QIODevice::WriteOnly | QIODevice::Unbuffered)) {
            while (filler.write(QByteArray(1024, 'x')) > 0) {
            }
        }
    });
}

void readOnlyFolder(Trial &t)
{
    cannotBeSaved(t, [](const SmallDisk &disk) {
        run(u"mount"_s, {u"-o"_s, u"remount,ro"_s, disk.path()});
    });
}

void corruptSettings(Trial &t)
{
    const QByteArray corrupt = QByteArrayLiteral("[TCP\ndevicePort\n=\x01\xFF\n[[]]\n\0\0garbage");
    t.begin({.settings = corrupt});
    t.expectShown(u"设置文件已损坏，已恢复默认设置"_s);
    QFile kept(t.flight().settingsPath() + u".damaged"_s);
    t.expect(kept.open(QIODevice::ReadOnly) && kept.readAll() == corrupt, u"not kept aside"_s);
    t.expect(t.flight().get("mainWindow", "oldDevicePort") == "2000"_L1
                 && t.flight().get("mainWindow", "rtspUrl").endsWith(u":554/live0"_s),
             u"no defaults"_s);
    t.expect(t.flight().openDrawer(0) && t.flight().enter("urlInput", t.flight().streamUrl())
                 && t.flight().click("urlButton") && t.flight().enter("ipInput", u"127.0.0.1"_s)
                 && t.flight().enter("portInput", QString::number(t.flight().pod().controlPort())),
             u"no drawer"_s);
    t.restore();
    t.expectRecordInOrder();
    t.land();
}

struct Row
{
    const char *fault;
    const char *mustHold; ///< besides what the report says of every row
    void (*act)(Trial &);
    bool quick = false; ///< also in the short run
    bool own = false;   ///< starts a console of its own, or does not fly at all
};

// Those with a console of their own come last: two windows would fight for the keyboard.
constexpr Row kRows[] = {
    {"TCP connection reset in a motion", "lost link shown; the stop comes first after reconnecting",
     resetByPeer, true},
    {"Pod stops reading for two seconds in a motion",
     "window goes on; all commands arrive in order, the stop within a second", slowReader, true},
    {"Serial plug pulled in a motion and put back",
     "lost port shown; the stop comes first after reconnecting", serialUnplugged, true},
    {"10,000 status frames a second", "commands and window within a second all the while",
     statusFlood, true},
    {"1,000 input events a second", "every motion gets its stop; window goes on", inputFlood, true},
    {"Keyboard taken away in a motion", "stop within a second", keyboardTakenAway, true},
    {"Stream stalls", "loss shown, stream comes back", streamStall},
    {"Stream ends", "loss shown, stream comes back", streamEnd, true},
    {"Video server dies and is started again", "loss shown, stream comes back", serverDeath},
    {"Picture size changes in mid-stream", "new size shown in its shape", sizeChange, true},
    {"Codec changes to H.265 and back", "loss shown, stream comes back", codecChange},
    {"Stream full of errors", "commands go on; picture mends", garbage, true},
    {"Video server shortens its session time-out to 2 s", "session kept alive for 7 s",
     shortSession},
    {"Upgrade server silent after the UID", "window goes on; upgrade can be ended",
     upgradeServerSilent},
    {"Half-open link: the network is cut in a motion",
     "lost link shown within 15 s; the stop comes first after reconnecting", halfOpenLink, true,
     true},
    {"Window closed in a motion", "stop sent, console ends in order", windowClosed, true, true},
    {"MPEG-TS with unknown data PIDs", "stream opens and plays", unknownPids, false, true},
    {"Disk full", "told when settings are stored; settings file intact; console goes on", diskFull,
     true, true},
    {"Settings folder read-only", "told when settings are stored; console goes on", readOnlyFolder,
     false, true},
    {"Corrupt device_config.ini", "told at the start; defaults hold; file kept aside",
     corruptSettings, true, true},
};

struct Options
{
    bool quick = false;
    QString only;
    QString report;
};

QString reportOf(const QStringList &lines, int seconds)
{
    return u"# Fault matrix\n\n"
           "Written by `scripts/faults.sh`: the real console program and `podsim` under Xvfb, "
           "software rendering; input as from a mouse and a keyboard.\n\n"
           "%1, %2 processors, %3; the run took %4 s.\n\n"
           "In every row: the process lives, every motion that the pod received got its stop "
           "(after "
           "a reconnection it is the first frame), a command reaches the pod within 1,000 ms "
           "during "
           "the fault or right after it (worst case given), resident memory (MiB) returns to "
           "within "
           "8 MiB, and there are no more descriptors and threads than before (an idle thread of a "
           "pool ends after 30 s).\n\n"
           "| fault | what must hold | outcome | shown to the operator | control (ms) | memory | "
           "descriptors | threads |\n|---|---|---|---|---|---|---|---|\n"_s
               .arg(QDate::currentDate().toString(Qt::ISODate))
               .arg(QThread::idealThreadCount())
               .arg(QSysInfo::prettyProductName())
               .arg(seconds)
           + lines.join(u'\n') + u'\n';
}

int fly(const Options &options)
{
    QElapsedTimer clock;
    clock.start();
    QStringList lines;
    int failed = 0;
    std::unique_ptr<Flight> shared;
    for (const Row &row : kRows) {
        if ((options.quick && !row.quick)
            || !QString::fromUtf8(row.fault).contains(options.only, Qt::CaseInsensitive))
            continue;
        Trial trial;
        if (row.own) {
            shared.reset();
            row.act(trial);
        } else {
            if (!shared)
                shared = std::make_unique<Flight>(Flight::Setup{});
            trial.use(*shared);
            trial.takeLevel();
            row.act(trial);
            trial.restore();
            trial.expectLevel();
            trial.expectRecordInOrder();
            if (!trial.passed())
                shared.reset(); // the next row is to judge its own fault alone
        }
        failed += trial.passed() ? 0 : 1;
        lines.append(u"| %1 | %2 | %3 |"_s.arg(QString::fromUtf8(row.fault),
                                               QString::fromUtf8(row.mustHold), trial.cells()));
        std::printf("%6.1f s  %s\n%s", double(clock.elapsed()) / 1000, qPrintable(lines.last()),
                    trial.passed() ? "" : qPrintable(trial.failure() + u'\n'));
        std::fflush(stdout);
    }
    if (!options.report.isEmpty()) {
        QFile file(options.report);
        if (!file.open(QIODevice::WriteOnly))
            qFatal("faults: %s cannot be written", qPrintable(options.report));
        file.write(reportOf(lines, int(clock.elapsed() / 1000)).toUtf8());
    }
    return lines.isEmpty() || failed > 0 ? 1 : 0;
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const auto valueOf = [&](const QString &option) {
        const qsizetype index = arguments.indexOf(option);
        return index < 0 ? QString() : arguments.value(index + 1);
    };
    return fly({arguments.contains(u"--quick"_s), valueOf(u"--only"_s), valueOf(u"--report"_s)});
}
