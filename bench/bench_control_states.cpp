// How long the operator's key events take to the pod's socket, and how long the GUI thread stands
// still, while the video does what video does: plays, fails, reconnects, is stopped and resized.

#include "BenchReport.h"
#include "ControlProbe.h"
#include "PodSim.h"
#include "RtspStub.h"
#include "StalledDisk.h"
#include "UiHarness.h"
#include "recorder/FlightRecorder.h"

#include <QCommandLineParser>
#include <QEventLoop>
#include <QRandomGenerator>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTemporaryFile>
#include <QTest>
#include <QUdpSocket>

#include <sys/resource.h>

#include <array>
#include <cstdio>
#include <thread>

namespace {

constexpr int kWaitMs = 30000;
constexpr int kReconnectIntervalMs = 1000; // the shortest, for as many attempts as can be
constexpr int kServerTurnMs = 4000;        // how long the server is up, and down, in turns
constexpr int kResizeIntervalMs = 16;
constexpr int kMinTurnMs = 50; // from stop to play and from play to stop
constexpr int kMaxTurnMs = 1500;
constexpr int kDefaultHolds = 1000;
constexpr int kNameWidth = 30;
constexpr int kSimulatorNice = 10;

const QStringList kFullHd = {QStringLiteral("--size"),  QStringLiteral("1920x1080"),
                             QStringLiteral("--fps"),   QStringLiteral("60"),
                             QStringLiteral("--codec"), QStringLiteral("h264")};

/// The console, its pod, and whatever serves or disturbs its stream. What disturbs it belongs to
/// the GUI thread, or to a thread that calls nothing of the console.
struct Stage
{
    bench::ProcessorWait guiWait;
    bench::PodEnd pod{guiWait};
    std::unique_ptr<PodSim> sim;
    std::unique_ptr<RtspStub> stub;
    std::unique_ptr<UiHarness> ui = std::make_unique<UiHarness>(UiHarness::kNoStream, false);
    QTemporaryDir recordings;
    std::unique_ptr<StalledDisk> disk;
    QTimer disturbance;
    std::jthread serverTrouble;

    Stage()
    {
        if (!ui->backend().connectTCP(QStringLiteral("127.0.0.1"), pod.port()))
            bench::fail("cannot connect");
        ui->video()->setReconnectInterval(kReconnectIntervalMs);
    }

    ~Stage()
    {
        disturbance.stop();
        serverTrouble = {};
        disk.reset();
        ui.reset(); // before the pod, which would be missed
    }

    void open(const QString &url)
    {
        ui->window()->setProperty("rtspUrl", url);
        QTimer::singleShot(0, ui->video(), &VideoRenderer::play);
    }

    void playFullHd()
    {
        // A pod has processors of its own: where simulator and console want the same one, the
        // console's turn comes first. The simulator inherits this from the thread that starts it.
        std::thread([this] {
            setpriority(PRIO_PROCESS, 0, kSimulatorNice);
            sim = std::make_unique<PodSim>(kFullHd);
        }).join();
        open(sim->rtspUrl());
        if (!QTest::qWaitFor([this] { return !ui->video()->contentRect().isEmpty(); }, kWaitMs))
            bench::fail("no picture");
    }
};

QString refusedUrl()
{
    QTcpServer server;
    server.listen(QHostAddress::LocalHost);
    return QStringLiteral("rtsp://127.0.0.1:%1/live0").arg(server.serverPort());
}

QString unsentUrl()
{
    QUdpSocket socket;
    socket.bind(QHostAddress::LocalHost);
    return QStringLiteral("udp://127.0.0.1:%1").arg(socket.localPort());
}

void stayIdle(Stage &) {}
void play(Stage &stage) { stage.playFullHd(); }

void playAndRecord(Stage &stage)
{
    stage.playFullHd();
    auto *const recorder = stage.ui->window()->findChild<FlightRecorder *>();
    recorder->setFolder(stage.recordings.path());
    recorder->start();
    if (!QTest::qWaitFor([recorder] { return recorder->bytes() > 0; }, kWaitMs))
        bench::fail("nothing is recorded");
}

void playAndRecordInVain(Stage &stage)
{
    playAndRecord(stage);
    stage.disk = std::make_unique<StalledDisk>(stage.recordings.path());
    const auto *const recorder = stage.ui->window()->findChild<FlightRecorder *>();
    if (!QTest::qWaitFor([recorder] { return recorder->state() == QLatin1String("Stalled"); },
                         kWaitMs))
        bench::fail("the disk takes something");
}

void openRefused(Stage &stage) { stage.open(refusedUrl()); }
void openUnsent(Stage &stage) { stage.open(unsentUrl()); }

void openSilent(Stage &stage)
{
    stage.stub = std::make_unique<RtspStub>(RtspStub::Manner::Silent);
    stage.open(stage.stub->url());
}

void loseAgainAndAgain(Stage &stage)
{
    stage.playFullHd();
    stage.serverTrouble = std::jthread([sim = stage.sim.get()](const std::stop_token &stop) {
        for (bool up = true; !stop.stop_requested(); up = !up) {
            sim->fault(up ? QStringLiteral("video kill") : QStringLiteral("video restart"));
            for (int ms = 0; ms < kServerTurnMs && !stop.stop_requested(); ms += 20)
                QThread::msleep(20);
        }
    });
}

void stopAndRestart(Stage &stage)
{
    stage.playFullHd();
    const auto nextTurn = [] {
        return int(QRandomGenerator::global()->bounded(kMinTurnMs, kMaxTurnMs));
    };
    stage.disturbance.setSingleShot(true);
    QObject::connect(&stage.disturbance, &QTimer::timeout, stage.ui->video(),
                     [&stage, nextTurn, plays = true]() mutable {
                         plays = !plays;
                         // First, since either may serve events until it is overtaken.
                         stage.disturbance.start(nextTurn());
                         plays ? stage.ui->video()->play() : stage.ui->video()->stop();
                     });
    stage.disturbance.start(nextTurn());
}

void resizeAllTheTime(Stage &stage)
{
    stage.playFullHd();
    stage.disturbance.setTimerType(Qt::PreciseTimer);
    QObject::connect(&stage.disturbance, &QTimer::timeout, stage.ui->window(),
                     [&stage, step = 0]() mutable {
                         ++step;
                         stage.ui->window()->resize(900 + 16 * (step % 23), 640 + 12 * (step % 17));
                     });
    stage.disturbance.start(kResizeIntervalMs);
}

struct State
{
    const char *name;
    void (*enter)(Stage &);
};

constexpr auto kStates = std::to_array<State>({
    {"no stream", stayIdle},
    {"playing 1080p60", play},
    {"playing and recording", playAndRecord},
    {"recording to a stalled disk", playAndRecordInVain},
    {"dead RTSP, reconnecting", openRefused},
    {"silent RTSP, reconnecting", openSilent},
    {"dead UDP, reconnecting", openUnsent},
    {"server lost again and again", loseAgainAndAgain},
    {"stopped and restarted", stopAndRestart},
    {"playing in a resized window", resizeAllTheTime},
});

void measure(const State &state, int holds)
{
    Stage stage;
    state.enter(stage);
    bench::TurnMeter meter(stage.guiWait);
    bench::Latencies latencies;
    QEventLoop loop;
    int pictures = 0;
    QObject::connect(stage.ui->window(), &QQuickWindow::frameSwapped, &loop, [&] { ++pictures; });
    const bench::Clock::time_point begin = bench::Clock::now();
    meter.start();
    std::thread hands([&] {
        latencies = bench::holdKeys(*stage.ui->window(), stage.pod, holds);
        QMetaObject::invokeMethod(&loop, [&] {
            meter.stop();
            stage.disturbance.stop();
            stage.ui->video()->stop(); // ends an open that loop's end would wait for
            loop.quit();
        });
    });
    loop.exec();
    hands.join();
    const double seconds = bench::milliseconds(bench::Clock::now() - begin) / 1000;

    const bench::Summary all = bench::summarise(latencies.all);
    const bench::Summary net = bench::summarise(latencies.net);
    std::printf("%-*s %6zu %7.2f %7.2f %7.2f %8.2f %8.2f %8.1f %8.1f %6.1f\n", kNameWidth,
                state.name, all.samples, all.median, all.p99, all.max, net.p99, net.max,
                meter.longestGapMs(), meter.longestNetGapMs(), pictures / seconds);
    std::fflush(stdout);
}

void printTableHead()
{
    const QString method =
        QStringLiteral(
            "Platform %1, scene graph %2. The whole interface in its window; key events enter "
            "from\n"
            "a thread of their own where the platform's do, 3 to 15 ms apart, and count until the\n"
            "pod's read returns on another (loopback TCP, 25 status frames a second). A gap is "
            "the\n"
            "time between two firings of a 1 ms timer on the GUI thread. The net columns leave "
            "out\n"
            "what GUI thread and pod spent ready but without a processor. Reconnections come "
            "every\n"
            "second; a lost server is down and up for 4 s in turns; stop and play follow each "
            "other\n"
            "after 0.05 to 1.5 s; the window is resized every 16 ms. The simulated pod, which "
            "encodes\n"
            "the stream on the same processors, runs at a lower priority. Milliseconds.")
            .arg(QGuiApplication::platformName(),
                 qEnvironmentVariable("QT_QUICK_BACKEND", QStringLiteral("of its own choice")));
    bench::printMethod("Control while the video is in trouble", qPrintable(method));
    std::printf("%-*s %6s %7s %7s %7s %8s %8s %8s %8s %6s\n", kNameWidth, "", "events", "median",
                "p99", "max", "net p99", "net max", "gap", "net gap", "fps");
}

void swallow(QtMsgType, const QMessageLogContext &, const QString &) {}

/// Where the console's log goes is part of what is measured.
void sendLogTo(const QString &file)
{
    if (file.isEmpty())
        return;
    if (file == QLatin1String("none"))
        qInstallMessageHandler(swallow);
    else if (std::freopen(qPrintable(file), "w", stderr) == nullptr)
        bench::fail("cannot write the log");
}

} // namespace

int main(int argc, char *argv[])
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        qputenv("QT_QUICK_BACKEND", "software");
    }
    QGuiApplication app(argc, argv);
    QTemporaryFile ownLog;
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Key to wire latency and event loop gaps for every state of the stream."));
    parser.addHelpOption();
    parser.addOption({QStringLiteral("holds"), QStringLiteral("Presses and releases per state."),
                      QStringLiteral("count"), QString::number(kDefaultHolds)});
    parser.addOption({QStringLiteral("state"), QStringLiteral("Only states whose name has this."),
                      QStringLiteral("text")});
    parser.addOption({QStringLiteral("log"),
                      QStringLiteral("The console's log: a file, \"none\" or \"stderr\"; a "
                                     "temporary file by default."),
                      QStringLiteral("file")});
    parser.process(app);
    QString log = parser.value(QStringLiteral("log"));
    if (log.isEmpty() && ownLog.open())
        log = ownLog.fileName();
    sendLogTo(log == QLatin1String("stderr") ? QString() : log);
    UiHarness::prepare();

    printTableHead();
    const QString wanted = parser.value(QStringLiteral("state"));
    for (const State &state : kStates) {
        if (QString::fromLatin1(state.name).contains(wanted))
            measure(state, parser.value(QStringLiteral("holds")).toInt());
    }
    return 0;
}
