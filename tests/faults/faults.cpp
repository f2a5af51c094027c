// The fault matrix: each row does something bad to the running console and states what must hold.
// Usage: faults [--quick] [--only TEXT] [--report FILE]

#include "Flight.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QHostAddress>
#include <QSysInfo>
#include <QThread>
#include <QUdpSocket>

#include <cstdio>
#include <memory>
#include <optional>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int kLossMs = 20000;     // a lost stream is noticed within 3 s and tried again after 5 s
constexpr int kVanishedMs = 15000; // a vanished peer is noticed within 9 s
constexpr int kLevelMs = 45000;    // idle pool threads end after 30 s
constexpr int kSlackKib = 4096;    // allocators keep some of what was freed
constexpr int kSampleMs = 1000;
constexpr int kAnswerMs = 1000;
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kMemoryIsTold = false; // the sanitizers keep what was freed
#else
constexpr bool kMemoryIsTold = true;
#endif

bool run(const QString &program, const QStringList &arguments)
{
    return ChildProcess(program, arguments, ChildProcess::End::Anyhow).succeeds(Flight::kWaitMs);
}

/// One row under way: the flight and what was seen of it.
class Trial
{
public:
    Flight &flight() { return *m_flight; }
    void begin(const Flight::Setup &setup)
    {
        m_own = std::make_unique<Flight>(setup);
        m_flight = m_own.get();
    }
    void use(Flight &flight)
    {
        m_flight = &flight;
        flight.forget();
    }
    void land() { m_own.reset(); }

    bool passed() const { return m_failures.isEmpty(); }
    void skip(const QString &reason) { m_skipped = reason; }

    void expect(bool holds, const QString &what)
    {
        if (!holds && passed() && m_flight)
            m_failures.append(what + u"; log: "_s + m_flight->logTail());
    }

    void fault(const QString &line) { m_flight->pod().fault(line); }
    void press(const char *key) { m_flight->input("keydown --delay 0 "_ba + key); }
    void release(const char *key) { m_flight->input("keyup --delay 0 "_ba + key); }

    void expectShown(const QString &text, int timeoutMs = Flight::kWaitMs)
    {
        expect(m_flight->said(text, timeoutMs), u"\"%1\" was not shown"_s.arg(text));
        if (!m_shown.contains(text))
            m_shown.append(text);
    }

    /// Puts the pod in motion and waits until it has the command.
    void move(const char *key)
    {
        press(key);
        expect(moves(true), u"the pod did not move"_s);
    }

    bool moves(bool wanted, int timeoutMs = Flight::kWaitMs)
    {
        return m_flight->waitFor(
            [&] {
                m_flight->record().update();
                return m_flight->record().isMoving() == wanted;
            },
            timeoutMs);
    }

    void expectControl()
    {
        const int ms = m_flight->measureControl();
        expect(ms >= 0, u"a command took over %1 ms"_s.arg(Flight::kControlMs));
        m_worstMs = std::max(m_worstMs, ms);
    }

    /// The window answers, and with it everything on its thread.
    void expectAnswer()
    {
        QElapsedTimer clock;
        clock.start();
        flight().get("mainWindow", "title");
        expect(clock.elapsed() < kAnswerMs, u"the window did not answer"_s);
    }

    /// Connected over TCP with the stream running and nothing moving.
    void restore()
    {
        expect(flight().connectBy(Flight::Tcp), u"no connection"_s);
        expect(flight().waitFor([this] { return flight().isPlaying(); }, kLossMs), u"no video"_s);
        expectControl();
    }

    /// restore(), after once around: what is made at the first use is no growth.
    void takeLevel()
    {
        restore();
        expect(flight().disconnect() && flight().openDrawer(0) && flight().click("urlButton"),
               u"no drawer"_s);
        expect(flight().waitFor([this] { return !flight().isPlaying(); }), u"no new start"_s);
        restore();
        m_before = flight().vitals();
        // Picture buffers come and go: the highest of a second counts.
        flight().waitFor(
            [this] {
                m_before->residentKib =
                    std::max(m_before->residentKib, flight().vitals().residentKib);
                return false;
            },
            kSampleMs);
    }

    void expectLevel()
    {
        const auto isBack = [&] {
            m_after = flight().vitals();
            return m_after.descriptors <= m_before->descriptors
                   && m_after.threads <= m_before->threads
                   && (!kMemoryIsTold || m_after.residentKib - m_before->residentKib < kSlackKib);
        };
        const bool back = flight().waitFor(isBack, kLevelMs);
        expect(back, u"left over: %1 KiB, %2 descriptors, %3 threads"_s
                         .arg(m_after.residentKib - m_before->residentKib)
                         .arg(m_after.descriptors - m_before->descriptors)
                         .arg(m_after.threads - m_before->threads));
    }

    void expectRecordInOrder()
    {
        flight().record().update();
        const QStringList faults = flight().record().faults();
        expect(faults.isEmpty(), faults.join(u", "_s));
        expect(!flight().record().isMoving(), u"a motion is left without its stop"_s);
    }

    QString cells() const;
    QString failures() const { return m_failures.join(u'\n'); }

private:
    std::unique_ptr<Flight> m_own;
    Flight *m_flight = nullptr;
    QStringList m_failures;
    QStringList m_shown;
    QString m_skipped;
    std::optional<Vitals> m_before;
    Vitals m_after;
    int m_worstMs = -1;
};

QString Trial::cells() const
{
    const auto pair = [](auto before, auto after) { return u"%1 → %2"_s.arg(before).arg(after); };
    const auto mib = [](qint64 kib) { return QString::number(double(kib) / 1024, 'f', 1); };
    const QString none = u"–"_s;
    const QString outcome = !passed()             ? u"**failed**"_s
                            : m_skipped.isEmpty() ? u"held"_s
                                                  : u"skipped: "_s + m_skipped;
    QStringList cells = {outcome, m_shown.isEmpty() ? none : m_shown.join(u"; "_s),
                         m_worstMs < 0 ? none : QString::number(m_worstMs)};
    if (m_before && passed())
        cells += {pair(mib(m_before->residentKib), mib(m_after.residentKib)),
                  pair(m_before->descriptors, m_after.descriptors),
                  pair(m_before->threads, m_after.threads)};
    else
        cells += {none, none, none};
    return cells.join(u" | "_s);
}

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
    QThread::sleep(2);
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
    for (int i = 0; i < 5; ++i) {
        QThread::sleep(1);
        t.expectControl();
        t.expectAnswer();
    }
    t.fault(u"status rate 25"_s);
}

/// A link in a network of its own, so that it can be cut without a word to either end.
class CutLink
{
public:
    CutLink()
        : m_name(u"pod%1"_s.arg(getpid() % 100000))
        , m_net(u"10.231.%1."_s.arg(getpid() % 250))
    {
        const QString commands =
            u"ip netns add %1 && ip link add %1 type veth peer name pod0 netns %1 && "
            "ip addr add %2/30 dev %1 && ip link set %1 up && ip -n %1 addr add %3/30 dev pod0 && "
            "ip -n %1 link set pod0 up"_s;
        m_made = geteuid() == 0 && sh(commands.arg(m_name, host(), m_net + u'2'));
    }
    ~CutLink() { sh(u"ip link del %1; ip netns del %1"_s.arg(m_name)); }
    CutLink(const CutLink &) = delete;
    CutLink &operator=(const CutLink &) = delete;

    bool isMade() const { return m_made; }
    QString host() const { return m_net + u'1'; }
    QStringList launcher() const { return {u"ip"_s, u"netns"_s, u"exec"_s, m_name}; }
    void set(const char *state)
    {
        sh(u"ip link set %1 %2"_s.arg(m_name, QLatin1StringView(state)));
    }

private:
    static bool sh(const QString &line) { return run(u"sh"_s, {u"-c"_s, line + u" 2>&1"_s}); }

    QString m_name;
    QString m_net;
    bool m_made;
};

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
    link.set("down");
    t.release("w");
    t.expectShown(u"未连接"_s, kVanishedMs);
    link.set("up");
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
    for (int i = 0; i < 4; ++i) {
        QThread::sleep(1);
        t.expectControl();
    }
    t.fault(u"video garbage off"_s);
}

void shortSession(Trial &t)
{
    t.fault(u"video session 2"_s);
    lostAndRestored(t, {u"video end"_s}, {});
    t.restore();
    t.flight().forget();
    QThread::sleep(7);
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
    QThread::sleep(8);
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
    QThread::sleep(2);
    t.expectAnswer();
    t.expect(t.flight().click("completeButton"), u"no end button"_s);
    t.flight().closeDrawer();
}

// Settings

/// A small file system, for what a full or read-only disk does.
class SmallDisk
{
public:
    explicit SmallDisk(const char *size)
        : m_made(
            geteuid() == 0
            && run(u"mount"_s, {u"-t"_s, u"tmpfs"_s, u"-o"_s, u"size="_s + QLatin1StringView(size),
                                u"podfaults"_s, m_folder.path()}))
    {
    }
    ~SmallDisk()
    {
        if (m_made)
            run(u"umount"_s, {m_folder.path()});
    }
    SmallDisk(const SmallDisk &) = delete;
    SmallDisk &operator=(const SmallDisk &) = delete;

    bool isMade() const { return m_made; }
    QString path() const { return m_folder.path(); }

private:
    QTemporaryDir m_folder;
    bool m_made;
};

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

constexpr Row kRows[] = {
    {"TCP connection reset in a motion", "lost link shown; the stop comes first after reconnecting",
     resetByPeer, true},
    {"Half-open link: the network is cut in a motion",
     "lost link shown within 15 s; the stop comes first after reconnecting", halfOpenLink, true,
     true},
    {"Pod stops reading for two seconds in a motion",
     "window goes on; all commands arrive in order, the stop within a second", slowReader, true},
    {"Serial plug pulled in a motion and put back",
     "lost port shown; the stop comes first after reconnecting", serialUnplugged, true},
    {"10,000 status frames a second", "commands and window within a second all the while",
     statusFlood, true},
    {"1,000 input events a second", "every motion gets its stop; window goes on", inputFlood, true},
    {"Keyboard taken away in a motion", "stop within a second", keyboardTakenAway, true},
    {"Window closed in a motion", "stop sent, console ends in order", windowClosed, true, true},
    {"Stream stalls", "loss shown, stream comes back", streamStall},
    {"Stream ends", "loss shown, stream comes back", streamEnd, true},
    {"Video server dies and is started again", "loss shown, stream comes back", serverDeath},
    {"Picture size changes in mid-stream", "new size shown in its shape", sizeChange, true},
    {"Codec changes to H.265 and back", "loss shown, stream comes back", codecChange},
    {"Stream full of errors", "commands go on; picture mends", garbage, true},
    {"Video server shortens its session time-out to 2 s", "session kept alive for 7 s",
     shortSession},
    {"MPEG-TS with unknown data PIDs", "stream opens and plays", unknownPids, false, true},
    {"Upgrade server silent after the UID", "window goes on; upgrade can be ended",
     upgradeServerSilent},
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
           "4 MiB, and descriptors and threads return exactly.\n\n"
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
                    trial.passed() ? "" : qPrintable(trial.failures() + u'\n'));
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
