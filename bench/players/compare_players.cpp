// The console beside the players that a user would pick instead: each shows the same stream on a
// display of its own, and what is on the display tells how old the picture is. Writes one line of
// text for each run, of which PlayersReport makes tables and plots of them.

#include "BenchReport.h"
#include "ControlProbe.h"
#include "Player.h"
#include "PlayersReport.h"
#include "PreparedStream.h"
#include "Screen.h"
#include "StreamServer.h"

#include <QCommandLineParser>
#include <QDir>
#include <QFile>
#include <QGuiApplication>

#include <array>
#include <cstdio>
#include <thread>

namespace {

constexpr int kLoopSeconds = 4;
constexpr int kFirstPictureWaitMs = 20000;
constexpr int kRecoverWaitMs = 25000;
constexpr int kSettleMs = 1500; // players that catch up or warm up
constexpr int kOutageMs = 2000;
constexpr std::chrono::milliseconds kSampleStep(2);

struct Stream
{
    const char *name;
    VideoFormat format;
};

const auto kStreams = std::to_array<Stream>({
    {"720p25-h264", {{1280, 720}, 25, VideoFormat::Codec::H264}},
    {"720p25-h265", {{1280, 720}, 25, VideoFormat::Codec::H265}},
    {"1080p30-h264", {{1920, 1080}, 30, VideoFormat::Codec::H264}},
    {"1080p30-h265", {{1920, 1080}, 30, VideoFormat::Codec::H265}},
    {"1080p60-h264", {{1920, 1080}, 60, VideoFormat::Codec::H264}},
    {"1080p60-h265", {{1920, 1080}, 60, VideoFormat::Codec::H265}},
    {"2160p25-h264", {{3840, 2160}, 25, VideoFormat::Codec::H264}},
    {"2160p25-h265", {{3840, 2160}, 25, VideoFormat::Codec::H265}},
    {"2160p60-h264", {{3840, 2160}, 60, VideoFormat::Codec::H264}},
});

struct Options
{
    int measureMs = 5000;
    bool recover = false;
    QString trace; // a file for every picture's time and latency
};

struct Run
{
    double firstPictureMs = -1;
    double recoverMs = -1;
    std::vector<double> ages;      // of the picture on screen, at every sample
    std::vector<double> latencies; // of each picture when it came on screen
    double seconds = 0;
    bench::Usage player;
    bench::Usage display;
};

double msSince(qint64 us) { return double(bench::StreamServer::nowUs() - us) / 1000; }

/// One player on one display, watched.
class Watch
{
public:
    Watch(const bench::PlayerKind &kind, bench::StreamServer &server)
        : m_server(server)
        , m_beginUs(bench::StreamServer::nowUs())
        , m_player(kind, server.url(), server.format().codec, m_screen.display())
    {
    }

    /// Waits until a picture sent after `sinceUs` is on screen; its delay since then, or -1.
    double waitForPicture(qint64 sinceUs, int limitMs)
    {
        while (msSince(sinceUs) < limitMs) {
            const auto index = m_screen.readStrip();
            if (index && m_server.sentUs(*index) > sinceUs)
                return msSince(sinceUs);
            std::this_thread::sleep_for(kSampleStep);
        }
        return -1;
    }

    double waitForFirstPicture() { return waitForPicture(m_beginUs, kFirstPictureWaitMs); }

    double waitForRecovery()
    {
        m_server.kill();
        std::this_thread::sleep_for(std::chrono::milliseconds(kOutageMs));
        m_server.restart();
        return waitForPicture(bench::StreamServer::nowUs(), kRecoverWaitMs);
    }

    void measure(int forMs, Run &run, std::FILE *trace)
    {
        const bench::Usage playerBefore = bench::usageOf(m_player.pid());
        const bench::Usage displayBefore = bench::usageOf(m_screen.serverPid());
        const qint64 begin = bench::StreamServer::nowUs();
        std::optional<qint64> last = m_screen.readStrip();
        while (msSince(begin) < forMs) {
            std::this_thread::sleep_for(kSampleStep);
            const auto index = m_screen.readStrip();
            const qint64 sentUs = index ? m_server.sentUs(*index) : 0;
            if (sentUs == 0)
                continue;
            const double age = msSince(sentUs);
            run.ages.push_back(age);
            if (index == last)
                continue;
            last = index;
            run.latencies.push_back(age);
            if (trace)
                std::fprintf(trace, "%.1f %.1f\n", msSince(begin), age);
        }
        run.seconds = msSince(begin) / 1000;
        run.player = bench::usageOf(m_player.pid());
        run.player.cpuMs -= playerBefore.cpuMs;
        run.display = bench::usageOf(m_screen.serverPid());
        run.display.cpuMs -= displayBefore.cpuMs;
    }

    void keepPicture(const QString &path) const { m_screen.pixels().copy().save(path); }

private:
    bench::StreamServer &m_server;
    bench::Screen m_screen;
    qint64 m_beginUs;
    bench::Player m_player;
};

Run watch(const bench::PlayerKind &kind, bench::StreamServer &server, const Options &options)
{
    Run run;
    Watch watch(kind, server);
    run.firstPictureMs = watch.waitForFirstPicture();
    if (run.firstPictureMs < 0) {
        watch.keepPicture(QStringLiteral("no-picture-%1.png").arg(kind.name));
        return run;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(kSettleMs));
    std::FILE *trace =
        options.trace.isEmpty() ? nullptr : std::fopen(qPrintable(options.trace), "w");
    watch.measure(options.measureMs, run, trace);
    if (trace)
        std::fclose(trace);
    if (options.recover)
        run.recoverMs = watch.waitForRecovery();
    return run;
}

void print(const char *stream, const QString &player, const Run &run)
{
    const bench::Summary age = bench::summarise(run.ages);
    const bench::Summary latency = bench::summarise(run.latencies);
    const double shown = std::max(double(run.latencies.size()), 1.0);
    std::printf("%-13s %-10s %7.1f %7.1f %7.1f %7.1f %6.1f %7.2f %7.2f %6.3f %7.1f %7.0f %7.0f\n",
                stream, qPrintable(player), age.median, latency.median, latency.p99, latency.max,
                shown / std::max(run.seconds, 0.001), run.player.cpuMs / shown,
                run.display.cpuMs / shown, run.player.cpuMs / 1000 / std::max(run.seconds, 0.001),
                run.player.memoryMb, run.firstPictureMs, run.recoverMs);
    std::fflush(stdout);
}

QStringList listOf(const QCommandLineParser &parser, const char *option)
{
    return parser.value(QString::fromLatin1(option)).split(u',', Qt::SkipEmptyParts);
}

void declare(QCommandLineParser &parser)
{
    const auto add = [&](const char *name, const char *text, const char *value,
                         const char *byDefault) {
        parser.addOption({QString::fromLatin1(name), QString::fromLatin1(text),
                          QString::fromLatin1(value), QString::fromLatin1(byDefault)});
    };
    parser.addHelpOption();
    add("streams", "Which, by name.", "list", "720p25-h264,1080p30-h264");
    add("players", "Which, by name.", "list", "console,gstreamer,mpv,ffplay");
    add("console", "The console, when not this build's.", "program", PODCONSOLE_EXECUTABLE);
    add("other-console", "Further consoles to compare with, as player 'other'.", "program", "");
    add("rounds", "How often each player runs, in turns.", "count", "5");
    add("seconds", "How long each is watched.", "count", "5");
    add("trace", "Note time and latency of every picture there.", "file", "");
    add("cache", "Where encoded streams are kept.", "folder",
        qPrintable(QDir::temp().filePath(QStringLiteral("podconsole-bench"))));
    add("report", "Make tables and plots of results and traces; measure nothing.", "files", "");
    add("docs", "Folder of performance.md and its pictures.", "folder", "docs");
    parser.addOption({QStringLiteral("recover"), QStringLiteral("Also break the stream.")});
}

} // namespace

int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen"); // its own drawing; players get real displays
    QGuiApplication app(argc, argv);
    QCommandLineParser parser;
    declare(parser);
    parser.process(app);

    if (const QStringList files = listOf(parser, "report"); !files.isEmpty())
        return bench::writeReport(files, parser.value(QStringLiteral("docs"))) ? 0 : 1;

    std::vector<bench::PlayerKind> kinds =
        bench::playerKinds(parser.value(QStringLiteral("console")));
    for (const QString &other : listOf(parser, "other-console")) {
        bench::PlayerKind kind = kinds.front();
        kind.program = other;
        kind.name = QStringLiteral("other");
        kinds.push_back(kind);
    }
    Options options;
    options.measureMs = parser.value(QStringLiteral("seconds")).toInt() * 1000;
    options.recover = parser.isSet(QStringLiteral("recover"));
    options.trace = parser.value(QStringLiteral("trace"));
    const QStringList streams = listOf(parser, "streams");
    const QStringList players = listOf(parser, "players");

    std::printf("# stream      player       age   first     p99     max    fps cpu/pic disp/pic "
                "  core  memory   start recover\n");
    for (const Stream &stream : kStreams) {
        if (!streams.contains(QString::fromLatin1(stream.name)))
            continue;
        bench::StreamServer server(bench::prepareStream(stream.format, kLoopSeconds,
                                                        parser.value(QStringLiteral("cache"))));
        for (int round = 0; round < parser.value(QStringLiteral("rounds")).toInt(); ++round) {
            for (const bench::PlayerKind &kind : kinds) {
                if (players.contains(kind.name))
                    print(stream.name, kind.name, watch(kind, server, options));
            }
        }
    }
    return 0;
}
