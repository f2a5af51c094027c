// Where the time of a picture goes inside the console, and what becomes of those that are not
// shown: the figures that the video item keeps, read while the whole interface plays podsim.

#include "BenchReport.h"
#include "ControlProbe.h"
#include "PodSim.h"
#include "StalledDisk.h"
#include "UiHarness.h"
#include "recorder/FlightRecorder.h"

#include <QTemporaryDir>
#include <QTest>

#include <array>
#include <cstdio>
#include <optional>

namespace {

constexpr int kWaitMs = 30000;
constexpr int kSettleMs = 3000; // the first key pictures, and the learning of the sender's manner
constexpr int kMeasureMs = 8000;
constexpr int kSampleMs = 15;

enum class Disk : quint8 { None, Fine, Stalled }; // that is recorded to

struct Stream
{
    const char *name;
    const char *size;
    const char *fps;
    Disk disk = Disk::None;
};

constexpr auto kStreams = std::to_array<Stream>({
    {"720p25", "1280x720", "25"},
    {"1080p30", "1920x1080", "30"},
    {"1080p60", "1920x1080", "60"},
    {"1080p60 recorded", "1920x1080", "60", Disk::Fine},
    {"1080p60 on stalled disk", "1920x1080", "60", Disk::Stalled},
});

struct Times
{
    std::vector<double> decode, convert, paint, age;

    void add(const VideoStatistics &now)
    {
        decode.push_back(now.decodeMs);
        convert.push_back(now.convertMs);
        paint.push_back(now.paintMs);
        age.push_back(now.ageMs);
    }
};

void record(const UiHarness &ui, const QTemporaryDir &folder)
{
    auto *const recorder = ui.window()->findChild<FlightRecorder *>();
    recorder->setFolder(folder.path());
    recorder->start();
    if (!QTest::qWaitFor([recorder] { return recorder->bytes() > 0; }, kWaitMs))
        bench::fail("nothing is recorded");
}

void measure(const Stream &stream)
{
    const QTemporaryDir folder;
    const PodSim sim({QStringLiteral("--size"), QString::fromLatin1(stream.size),
                      QStringLiteral("--fps"), QString::fromLatin1(stream.fps)});
    UiHarness ui(UiHarness::kNoStream, false);
    VideoRenderer *video = ui.video();
    ui.window()->setProperty("rtspUrl", sim.rtspUrl());
    video->play();
    if (!QTest::qWaitFor([&] { return video->statistics().presented > 0; }, kWaitMs))
        bench::fail("no picture");
    std::optional<StalledDisk> disk; // gone before the window, whose end would wait for it
    if (stream.disk != Disk::None)
        record(ui, folder);
    if (stream.disk == Disk::Stalled)
        disk.emplace(folder.path());
    QTest::qWait(kSettleMs);

    const VideoStatistics before = video->statistics();
    Times times;
    for (const bench::Clock::time_point end =
             bench::Clock::now() + std::chrono::milliseconds(kMeasureMs);
         bench::Clock::now() < end;) {
        const quint64 presented = video->statistics().presented;
        QTest::qWait(kSampleMs);
        if (video->statistics().presented != presented)
            times.add(video->statistics());
    }
    const VideoStatistics after = video->statistics();
    const auto median = [](const std::vector<double> &values) {
        return bench::summarise(values).median;
    };
    std::printf("%-24s %8llu %8llu %9llu %8llu %9llu %7.2f %8.2f %7.2f %7.2f\n", stream.name,
                after.received - before.received, after.decoded - before.decoded,
                after.converted - before.converted, after.dropped - before.dropped,
                after.presented - before.presented, median(times.decode), median(times.convert),
                median(times.paint), median(times.age));
    std::fflush(stdout);
    video->stop();
}

} // namespace

int main(int argc, char *argv[])
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        qputenv("QT_QUICK_BACKEND", "software");
    }
    const QGuiApplication app(argc, argv);
    UiHarness::prepare();
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    bench::printMethod("The stages of a picture",
                       "Pictures in 8 s, and milliseconds, medians. The age is that of a picture\n"
                       "when it has been painted, since its last packet was read.");
    std::printf("%-24s %8s %8s %9s %8s %9s %7s %8s %7s %7s\n", "", "received", "decoded",
                "converted", "dropped", "presented", "decode", "convert", "paint", "age");
    for (const Stream &stream : kStreams)
        measure(stream);
    return 0;
}
