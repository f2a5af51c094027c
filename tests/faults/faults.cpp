// The fault matrix: each row does something bad to the running console and states what must hold.
// Usage: faults [--quick] [--only TEXT]

#include "Flight.h"

#include <QHostAddress>
#include <QMap>
#include <QScopeGuard>
#include <QUdpSocket>

#include <unistd.h>

#include <memory>
#include <utility>

namespace {

const QByteArray kCorrupt = QByteArrayLiteral("[TCP\ndevicePort\n=\x01\xFF\n[[]]\n\0\0garbage");

void commandsGoOn(Flight &f, const QString &seconds)
{
    for (int i = 0; i < seconds.toInt(); ++i) {
        f.lastFor(1000);
        f.expectControl();
        f.expectAnswer();
    }
}

/// 1,000 events a second.
void flood(Flight &f, const QString &seconds)
{
    constexpr int kSlicesPerSecond = 100;
    for (int slice = 0; slice < seconds.toInt() * kSlicesPerSecond; ++slice) {
        f.input("keydown --delay 0 w keyup --delay 0 w mousemove 300 300 keydown --delay 0 e "
                "mousedown 4 mouseup 4 keyup --delay 0 e mousedown 1 mousemove 360 330 mouseup 1");
        QThread::msleep(1000 / kSlicesPerSecond);
    }
    f.expectAnswer();
    f.expectMoving(false, Flight::kWaitMs);
}

void fillQueue(Flight &f, const QString &key)
{
    for (int i = 0; i < 1000; ++i) { // more than the peer's side holds
        f.press(key.toLatin1());
        f.release(key.toLatin1());
    }
}

/// The picture comes back with this shape of its place on the screen.
void expectShape(Flight &f, const QString &shape)
{
    const auto isShown = [&] {
        const QStringList size = f.get("videoRenderer", "contentRect").split(u'x');
        return f.isPlaying() && size.size() == 2
               && qAbs(size[0].toDouble() / size[1].toDouble() - shape.toDouble()) < 0.02;
    };
    f.expectSoon(isShown, u"the size is not shown"_s, Flight::kLossMs);
}

void upgradeBySilentServer(Flight &f, const QString &silenceMs)
{
    PodSim peers({u"--upgrade-bootloader"_s, u"--upgrade-server"_s,
                  writeFile(f.settingsPath() + u".image"_s, QByteArray(3000, 'x')),
                  u"--upgrade-port"_s, u"0"_s, u"--fault"_s, u"server silent"_s});
    f.ask(u"upgrade cMain %1 %2"_s.arg(peers.ptyPath()).arg(peers.upgradePort()));
    f.openDrawer(6);
    f.click("updateButton");
    f.click("dialogButton");
    f.expectSoon([&f] { return f.get("cMain", "message").contains("UID"_L1); },
                 u"the UID is not shown"_s);
    f.lastFor(silenceMs.toInt());
    f.expectAnswer();
    f.click("completeButton");
    f.closeDrawer();
}

void expectSettings(Flight &f, const QString &content)
{
    f.expect(contentOf(f.settingsPath()).contains(content.toUtf8()), u"the settings were lost"_s);
}

void expectDefaults(Flight &f, const QString &)
{
    f.expect(contentOf(f.settingsPath() + u".damaged"_s) == kCorrupt, u"not kept aside"_s);
    f.expect(f.get("mainWindow", "oldDevicePort") == "2000"_L1, u"no default port"_s);
    f.expect(f.get("mainWindow", "rtspUrl").endsWith(":554/live0"_L1), u"no default stream"_s);
    f.openDrawer(0);
    f.enter("urlInput", f.streamUrl());
    f.click("urlButton");
    f.enter("ipInput", u"127.0.0.1"_s);
    f.enter("portInput", QString::number(f.pod().controlPort()));
}

/// Runs a line of shell, in which $PPID is this process.
bool sh(const QString &line)
{
    return ChildProcess(u"sh"_s, {u"-c"_s, line + u" 2>&1"_s}, ChildProcess::End::Anyhow)
        .succeeds(Flight::kWaitMs);
}

/// A console in a network of its own, so that its link to the pod can be cut without a word to
/// either end: without the pod's address what it sends goes nowhere, and nobody tells it.
Flight::Setup cutLink()
{
    return {.podArguments = {u"--bind"_s, u"0.0.0.0"_s},
            .host = u"10.231.%1.1"_s.arg(getpid() % 250),
            .launcher = u"ip netns exec pod%1"_s.arg(getpid()),
            .make = u"net=10.231.$((PPID % 250)) pod=pod$PPID && ip netns add $pod && "
                    "ip link add $pod type veth peer name pod0 netns $pod && "
                    "ip addr add $net.1/30 dev $pod && ip link set $pod up && "
                    "ip -n $pod addr add $net.2/30 dev pod0 && ip -n $pod link set pod0 up"_s,
            .undo = u"ip link del pod$PPID; ip netns del pod$PPID"_s};
}

/// Settings in a small file system.
Flight::Setup smallDisk()
{
    return {.folder = u"/tmp/podfaults%1"_s.arg(getpid()),
            .make = u"disk=/tmp/podfaults$PPID && mkdir $disk && "
                    "mount -t tmpfs -o size=64k podfaults $disk"_s,
            .undo = u"umount /tmp/podfaults$PPID; rmdir /tmp/podfaults$PPID"_s};
}

/// A home that takes no recordings: its folder for them is there, on a disk that is read-only.
Flight::Setup readOnlyHome()
{
    Flight::Setup setup = smallDisk();
    setup.launcher = u"HOME="_s + std::exchange(setup.folder, {});
    setup.make.replace(u"64k"_s, u"1g"_s); // more than a recording leaves free
    setup.make += u" && mkdir -p $disk/Videos/podconsole && mount -o remount,ro $disk"_s;
    return setup;
}

Flight::Setup unknownPids()
{
    QUdpSocket free;
    free.bind(QHostAddress::LocalHost);
    const QString address = u"127.0.0.1:%1"_s.arg(free.localPort());
    return {.podArguments = {u"--udp"_s, address, u"--fault"_s, u"video data on"_s},
            .streamUrl = u"udp://"_s + address};
}

/// What a row's steps mean: the first word of each, and what it does with the others.
using Words = const QString &;
using Step = void (*)(Flight &, Words);
const QMap<QString, Step> kSteps = {
    {u"fault"_s, [](Flight &f, Words line) { f.fault(line); }},
    {u"sh"_s, [](Flight &, Words line) { sh(line); }},
    {u"last"_s, [](Flight &f, Words ms) { f.lastFor(ms.toInt()); }},
    {u"press"_s, [](Flight &f, Words key) { f.press(key.toLatin1()); }},
    {u"release"_s, [](Flight &f, Words key) { f.release(key.toLatin1()); }},
    {u"moves"_s, [](Flight &f, Words) { f.expectMoving(true); }},
    {u"stopped"_s, [](Flight &f, Words) { f.expectMoving(false); }},
    {u"fill"_s, fillQueue},
    {u"flood"_s, flood},
    {u"input"_s, [](Flight &f, Words line) { f.input(line.toLatin1()); }},
    {u"keyboard"_s, [](Flight &f, Words) { f.takeKeyboard(); }},
    {u"click"_s, [](Flight &f, Words object) { f.click(object); }},
    {u"serial"_s, [](Flight &f, Words) { f.connectBy(Flight::Serial); }},
    {u"disconnect"_s, [](Flight &f, Words) { f.disconnect(); }},
    {u"restore"_s, [](Flight &f, Words) { f.restore(); }},
    {u"forget"_s, [](Flight &f, Words) { f.forget(); }},
    {u"shown"_s, [](Flight &f, Words text) { f.expectShown(text); }},
    {u"unsaid"_s, [](Flight &f, Words text) { f.expect(!f.said(text), u"shown: "_s + text); }},
    {u"lost"_s, [](Flight &f, Words) { f.expectShown(u"连接中断"_s, Flight::kLossMs); }},
    {u"back"_s, [](Flight &f, Words) { f.expectShown(u"连接恢复"_s, Flight::kLossMs); }},
    {u"control"_s, [](Flight &f, Words) { f.expectControl(); }},
    {u"answer"_s, [](Flight &f, Words) { f.expectAnswer(); }},
    {u"commands"_s, commandsGoOn},
    {u"shape"_s, expectShape},
    {u"upgrade"_s, upgradeBySilentServer},
    {u"settings"_s, expectSettings},
    {u"defaults"_s, expectDefaults},
    {u"ends"_s, [](Flight &f, Words) { f.expect(f.ends(), u"no orderly end"_s); }},
    {u"read"_s,
     [](Flight &f, Words) { f.expect(!f.log().contains("av_read_frame"), u"reads failed"_s); }},
};

/// Quick rows are also in the short run; where there is no level, what is held is not compared.
enum RowFlag : quint8 { Long = 0, Quick = 1, NoLevel = 2 };

struct Row
{
    const char *fault = nullptr;
    const char *mustHold = nullptr; ///< besides what the report says of every row
    int flags = Long;
    const char *steps = nullptr;
    Flight::Setup (*setup)() = nullptr; ///< of a console of its own
};

const auto kRows = std::to_array<Row>({
    {"TCP connection reset in a motion", "lost link shown; the stop comes first after reconnecting",
     Quick, "press w; moves; fault control drop rst; shown 未连接; release w"},
    {"Pod stops reading for two seconds in a motion",
     "window goes on; all commands arrive in order, the stop within a second", Quick,
     "press w; moves; fault control stall on; fill e; release w; last 2000; answer; "
     "fault control stall off; stopped"},
    {"Serial plug pulled in a motion and put back",
     "lost port shown; the stop comes first after reconnecting", Quick,
     "serial; press w; moves; fault control unplug; shown 串口连接丢失; shown 未连接; release w; "
     "fault control replug; serial; control; disconnect"},
    {"10,000 status frames a second", "commands and window within a second all the while", Quick,
     "fault status rate 10000; commands 5; fault status rate 25"},
    {"1,000 input events a second", "every motion gets its stop; window goes on", Quick, "flood 5"},
    {"Keyboard taken away in a motion", "stop within a second", Quick,
     "press w; moves; input windowfocus 0; stopped; release w; keyboard"},
    {"Stream stalls", "loss shown, stream comes back", Long,
     "fault video stall; lost; control; fault video resume; back"},
    {"Stream ends", "loss shown, stream comes back", Quick, "fault video end; lost; control; back"},
    {"Video server dies and is started again", "loss shown, stream comes back", Long,
     "fault video kill; lost; control; fault video restart; back"},
    {"Picture size changes in mid-stream", "new size shown in its shape", Quick,
     "shape 1.778; fault video resize 480x360; shape 1.333; control; "
     "fault video resize 640x360; shape 1.778"},
    {"Codec changes to H.265 and back", "loss shown, stream comes back", Long,
     "fault video format 640x360 25 h265; lost; control; back; restore; forget; "
     "fault video format 640x360 25 h264; lost; control; back"},
    {"Stream full of errors", "commands go on; picture mends", Quick,
     "fault video garbage on; commands 4; fault video garbage off"},
    {"Video server shortens its session time-out to 2 s", "session kept alive for 7 s", Long,
     "fault video session 2; fault video end; lost; control; back; restore; forget; last 7000; "
     "unsaid 连接中断; fault video session 60"},
    {"Upgrade server silent after the UID", "window goes on; upgrade can be ended", Long,
     "upgrade 2000"},
    {"Half-open link: the network is cut in a motion",
     "lost link shown within 15 s; the stop comes first after reconnecting", Quick,
     "press w; moves; sh ip addr del 10.231.$((PPID % 250)).1/30 dev pod$PPID; release w; "
     "shown 未连接; sh ip addr add 10.231.$((PPID % 250)).1/30 dev pod$PPID",
     cutLink},
    {"Window closed in a motion", "stop sent, console ends in order", Quick | NoLevel,
     "restore; press w; moves; click closeButton; ends", [] { return Flight::Setup{}; }},
    {"MPEG-TS with unknown data PIDs", "stream opens and plays", Long, "last 8000; read",
     unknownPids},
    {"Disk full", "told when settings are stored; settings file intact; console goes on",
     Quick | NoLevel,
     "restore; sh cat /dev/zero >/tmp/podfaults$PPID/filler; disconnect; unsaid 设置无法保存; "
     "restore; shown 设置无法保存; settings rtspIp=",
     smallDisk},
    {"Settings folder read-only", "told when settings are stored; console goes on", NoLevel,
     "restore; sh mount -o remount,ro /tmp/podfaults$PPID; disconnect; unsaid 设置无法保存; "
     "restore; shown 设置无法保存; settings rtspIp=",
     smallDisk},
    {"Recordings' folder read-only", "told at once; console goes on", Quick | NoLevel,
     "restore; input key shift+r; "
     "shown 本机录像已停止：无法在文件夹中创建文件 (Read-only file system); answer",
     readOnlyHome},
    {"Corrupt device_config.ini", "told at the start; defaults hold; file kept aside",
     Quick | NoLevel, "shown 设置文件已损坏，已恢复默认设置; defaults; restore",
     [] { return Flight::Setup{.settings = kCorrupt}; }},
});

/// Flies a row, on the shared console or one of its own, and prints it for the report; true when
/// what must hold did.
bool fly(const Row &row, std::unique_ptr<Flight> &flight)
{
    QElapsedTimer clock;
    clock.start();
    const auto report = [&](const QString &cells) {
        std::printf("%6.1f s  | %s | %s | %s |\n", double(clock.elapsed()) / 1000, row.fault,
                    row.mustHold, qPrintable(cells));
        std::fflush(stdout);
    };
    const Flight::Setup setup = row.setup ? row.setup() : Flight::Setup{};
    const auto undo = qScopeGuard([&setup] { sh(setup.undo); });
    if (row.setup || !flight) {
        flight.reset(); // two windows would fight for the keyboard
        if (!sh(setup.make)) {
            report(u"skipped: needs root, with network namespaces and mount | – | – | – | – | –"_s);
            return true;
        }
        flight = std::make_unique<Flight>(setup);
    }
    const bool hasLevel = (row.flags & NoLevel) == 0;
    const Vitals level = hasLevel ? flight->takeLevel() : Vitals{};
    for (const QString &step : QString::fromUtf8(row.steps).split(u"; "_s)) {
        const Step act = kSteps.value(step.section(u' ', 0, 0));
        if (!act)
            qFatal("faults: what is \"%s\"?", qPrintable(step));
        act(*flight, step.section(u' ', 1));
    }
    QString held = u"– | – | –"_s;
    if (hasLevel) {
        flight->restore();
        held = level.changeTo(flight->expectLevel(level));
    }
    flight->expectRecordInOrder();
    report(flight->outcome() + u" | "_s + held);
    const bool passed = flight->passed();
    if (row.setup || !passed)
        flight.reset(); // the next row is to judge its own fault alone
    return passed;
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication app(argc, argv);
    const bool isQuick = QCoreApplication::arguments().contains(u"--quick"_s);
    const QString only = valueOf(u"--only"_s);
    bool allPassed = true;
    int flown = 0;
    std::unique_ptr<Flight> flight;
    for (const Row &row : kRows) {
        if ((isQuick && (row.flags & Quick) == 0)
            || !QString::fromUtf8(row.fault).contains(only, Qt::CaseInsensitive))
            continue;
        allPassed = fly(row, flight) && allPassed;
        ++flown;
    }
    return allPassed && flown > 0 ? 0 : 1;
}
