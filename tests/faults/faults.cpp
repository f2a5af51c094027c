// The fault matrix: each row does something bad to the running console and states what must hold.
// Usage: faults [--quick] [--only TEXT]

#include "Surroundings.h"
#include "Trial.h"

#include <QHostAddress>
#include <QMap>
#include <QUdpSocket>

namespace {

const QByteArray kCorrupt = QByteArrayLiteral("[TCP\ndevicePort\n=\x01\xFF\n[[]]\n\0\0garbage");

void commandsGoOn(Trial &t, const QString &seconds)
{
    for (int i = 0; i < seconds.toInt(); ++i) {
        t.lastFor(1000);
        t.expectControl();
        t.expectAnswer();
    }
}

/// 1,000 events a second.
void flood(Trial &t, const QString &seconds)
{
    constexpr int kSlicesPerSecond = 100;
    for (int slice = 0; slice < seconds.toInt() * kSlicesPerSecond; ++slice) {
        for (const char *event :
             {"keydown --delay 0 w", "keyup --delay 0 w", "mousemove 300 300",
              "keydown --delay 0 e", "mousedown 4", "mouseup 4", "keyup --delay 0 e", "mousedown 1",
              "mousemove 360 330", "mouseup 1"})
            t.input(event);
        QThread::msleep(1000 / kSlicesPerSecond);
    }
    t.expectAnswer();
    t.expectMoving(false, Flight::kWaitMs);
}

void fillQueue(Trial &t, const QString &key)
{
    for (int i = 0; i < 1000; ++i) { // more than the peer's side holds
        t.press(key.toLatin1());
        t.release(key.toLatin1());
    }
}

/// The picture comes back with this shape of its place on the screen.
void expectShape(Trial &t, const QString &shape)
{
    const auto isShown = [&] {
        const QStringList size = t.get("videoRenderer", "contentRect").split(u'x');
        return t.isPlaying() && size.size() == 2
               && qAbs(size[0].toDouble() / size[1].toDouble() - shape.toDouble()) < 0.02;
    };
    t.expect(t.waitFor(isShown, Trial::kLossMs), u"the size is not shown"_s);
}

void upgradeBySilentServer(Trial &t, const QString &silenceMs)
{
    PodSim peers({u"--upgrade-bootloader"_s, u"--upgrade-server"_s,
                  writeFile(t.settingsPath() + u".image"_s, QByteArray(3000, 'x')),
                  u"--upgrade-port"_s, u"0"_s, u"--fault"_s, u"server silent"_s});
    t.ask(u"upgrade %1 %2"_s.arg(peers.ptyPath()).arg(peers.upgradePort()));
    t.expect(t.openDrawer(6) && t.click(u"updateButton"_s), u"no upgrade page"_s);
    t.expect(t.waitFor([&t] { return t.get("cMain", "message").contains("UID"_L1); }),
             u"the UID is not shown"_s);
    t.lastFor(silenceMs.toInt());
    t.expectAnswer();
    t.expect(t.click(u"completeButton"_s), u"no end button"_s);
    t.closeDrawer();
}

void expectSettings(Trial &t, const QString &content)
{
    t.expect(contentOf(t.settingsPath()).contains(content.toUtf8()), u"the settings were lost"_s);
}

void expectDefaults(Trial &t, const QString &)
{
    t.expect(contentOf(t.settingsPath() + u".damaged"_s) == kCorrupt, u"not kept aside"_s);
    t.expect(t.get("mainWindow", "oldDevicePort") == "2000"_L1
                 && t.get("mainWindow", "rtspUrl").endsWith(u":554/live0"_s),
             u"no defaults"_s);
    t.expect(t.openDrawer(0) && t.enter("urlInput", t.streamUrl()) && t.click(u"urlButton"_s)
                 && t.enter("ipInput", u"127.0.0.1"_s)
                 && t.enter("portInput", QString::number(t.pod().controlPort())),
             u"no drawer"_s);
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
using Step = void (*)(Trial &, const QString &);
const QMap<QString, Step> kSteps = {
    {u"fault"_s, [](Trial &t, const QString &line) { t.fault(line); }},
    {u"spoil"_s, [](Trial &t, const QString &) { t.setup().spoil(); }},
    {u"mend"_s, [](Trial &t, const QString &) { t.setup().mend(); }},
    {u"last"_s, [](Trial &t, const QString &ms) { t.lastFor(ms.toInt()); }},
    {u"move"_s, [](Trial &t, const QString &key) { t.move(key.toLatin1()); }},
    {u"release"_s, [](Trial &t, const QString &key) { t.release(key.toLatin1()); }},
    {u"fill"_s, fillQueue},
    {u"flood"_s, flood},
    {u"input"_s, [](Trial &t, const QString &line) { t.input(line.toLatin1()); }},
    {u"keyboard"_s, [](Trial &t, const QString &) { t.takeKeyboard(); }},
    {u"click"_s, [](Trial &t, const QString &object) { t.click(object); }},
    {u"connect"_s, [](Trial &t, const QString &) { t.expectConnection(Flight::Serial); }},
    {u"disconnect"_s,
     [](Trial &t, const QString &) { t.expect(t.disconnect(), u"no disconnection"_s); }},
    {u"restore"_s, [](Trial &t, const QString &) { t.restore(); }},
    {u"forget"_s, [](Trial &t, const QString &) { t.forget(); }},
    {u"shown"_s, [](Trial &t, const QString &text) { t.expectShown(text); }},
    {u"unsaid"_s,
     [](Trial &t, const QString &text) { t.expect(!t.said(text, 0), text + u" was shown"_s); }},
    {u"lost"_s, [](Trial &t, const QString &) { t.expectShown(u"连接中断"_s, Trial::kLossMs); }},
    {u"back"_s, [](Trial &t, const QString &) { t.expectShown(u"连接恢复"_s, Trial::kLossMs); }},
    {u"stopped"_s, [](Trial &t, const QString &) { t.expectMoving(false); }},
    {u"control"_s, [](Trial &t, const QString &) { t.expectControl(); }},
    {u"answer"_s, [](Trial &t, const QString &) { t.expectAnswer(); }},
    {u"commands"_s, commandsGoOn},
    {u"shape"_s, expectShape},
    {u"upgrade"_s, upgradeBySilentServer},
    {u"settings"_s, expectSettings},
    {u"defaults"_s, expectDefaults},
    {u"ends"_s,
     [](Trial &t, const QString &) { t.expect(t.ends(), u"the console did not end in order"_s); }},
    {u"read"_s,
     [](Trial &t, const QString &) {
         t.expect(!t.log().contains("av_read_frame"), u"the packets disturb reading"_s);
     }},
};

enum RowFlag : quint8 {
    Long = 0,
    Quick = 1,   ///< also in the short run
    NoLevel = 2, ///< what the console holds is not compared
};

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
     Quick, "move w; fault control drop rst; shown 未连接; release w"},
    {"Pod stops reading for two seconds in a motion",
     "window goes on; all commands arrive in order, the stop within a second", Quick,
     "move w; fault control stall on; fill e; release w; last 2000; answer; "
     "fault control stall off; stopped"},
    {"Serial plug pulled in a motion and put back",
     "lost port shown; the stop comes first after reconnecting", Quick,
     "connect serial; move w; fault control unplug; shown 串口连接丢失; shown 未连接; release w; "
     "fault control replug; connect serial; control; disconnect"},
    {"10,000 status frames a second", "commands and window within a second all the while", Quick,
     "fault status rate 10000; commands 5; fault status rate 25"},
    {"1,000 input events a second", "every motion gets its stop; window goes on", Quick, "flood 5"},
    {"Keyboard taken away in a motion", "stop within a second", Quick,
     "move w; input windowfocus 0; stopped; release w; keyboard"},
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
     "move w; spoil; release w; shown 未连接; mend", surroundings::cutLink},
    {"Window closed in a motion", "stop sent, console ends in order", Quick | NoLevel,
     "restore; move w; click closeButton; ends", [] { return Flight::Setup{}; }},
    {"MPEG-TS with unknown data PIDs", "stream opens and plays", Long, "last 8000; read",
     unknownPids},
    {"Disk full", "told when settings are stored; settings file intact; console goes on",
     Quick | NoLevel,
     "restore; spoil; disconnect; unsaid 设置无法保存; restore; shown 设置无法保存; "
     "settings rtspIp=",
     [] { return surroundings::smallDisk(u"cat /dev/zero >%1/filler"_s); }},
    {"Settings folder read-only", "told when settings are stored; console goes on", NoLevel,
     "restore; spoil; disconnect; unsaid 设置无法保存; restore; shown 设置无法保存; "
     "settings rtspIp=",
     [] { return surroundings::smallDisk(u"mount -o remount,ro %1"_s); }},
    {"Corrupt device_config.ini", "told at the start; defaults hold; file kept aside",
     Quick | NoLevel, "shown 设置文件已损坏，已恢复默认设置; defaults; restore",
     [] { return Flight::Setup{.settings = kCorrupt}; }},
});

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
    for (const QString &step : QString::fromUtf8(row.steps).split(u"; "_s)) {
        const Step act = kSteps.value(step.section(u' ', 0, 0));
        if (!act)
            qFatal("faults: what is \"%s\"?", qPrintable(step));
        act(*flight, step.section(u' ', 1));
    }
    if (hasLevel) {
        flight->restore();
        flight->expectLevel();
    }
    flight->expectRecordInOrder();
    QString cells = flight->cells();
    passed = flight->passed();
    if (row.setup || !passed)
        flight.reset(); // the next row is to judge its own fault alone
    return cells;
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication app(argc, argv);
    const bool isQuick = QCoreApplication::arguments().contains(u"--quick"_s);
    const QString only = valueOf(u"--only"_s);
    QElapsedTimer clock;
    clock.start();
    bool allPassed = true;
    int flown = 0;
    std::unique_ptr<Trial> flight;
    for (const Row &row : kRows) {
        const QString fault = QString::fromUtf8(row.fault);
        if ((isQuick && (row.flags & Quick) == 0) || !fault.contains(only, Qt::CaseInsensitive))
            continue;
        bool passed = true;
        const QString cells = fly(row, flight, passed);
        allPassed = allPassed && passed;
        ++flown;
        std::printf("%6.1f s  | %s | %s | %s |\n", double(clock.elapsed()) / 1000,
                    qPrintable(fault), row.mustHold, qPrintable(cells));
        std::fflush(stdout);
    }
    return allPassed && flown > 0 ? 0 : 1;
}
