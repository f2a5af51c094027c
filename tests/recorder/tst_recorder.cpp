// The recorder on real streams: files and podsim, played by the console's own player; what it wrote
// is read back by ffmpeg and ffprobe.

#include "CaseTrace.h"
#include "Pictures.h"
#include "RecordingBench.h"
#include "StalledDisk.h"
#include "UdpStreams.h"
#include "recorder/PacketTimes.h"
#include "recorder/StreamRecorder.h"
#include "recorder/WriteQueue.h"
#include "video/FFmpegPlayer.h"

#include <QDateTime>
#include <QDir>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <tuple>

using namespace Qt::StringLiterals;
using recording::State;
using recording::Trouble;

namespace {

MediaItem item(const std::shared_ptr<const RecordedStream> &stream, int number, bool isKey)
{
    constexpr int kBytes = 1000;
    ffmpeg::PacketPtr packet(av_packet_alloc());
    av_new_packet(packet.get(), kBytes);
    packet->pts = number;
    packet->flags = isKey ? AV_PKT_FLAG_KEY : 0;
    return {stream, std::move(packet), number * 100'000};
}

} // namespace

class TestRecorder : public QObject
{
    Q_OBJECT

private slots:
    void boundsAreKept();
    void timesRiseFromZero();
    void recordingIsTheStream();
    void liveStreamIsRecordedFromBeforeTheStart();
    void changesGoOnInTheNextFile();
    void troublesEndTheRecording();
    void stalledDiskCostsTheRecordingAlone();
    void earlierFilesAreKept();
};

void TestRecorder::boundsAreKept()
{
    const auto stream = std::make_shared<RecordedStream>();
    // Ten pictures a second, a key picture every `group`: the room in pictures, the seconds asked
    // for, the number of the first picture kept of 100.
    const QList<std::tuple<int, int, int, qint64>> rings = {
        {10, 1000, 2, 70}, // reaches back to the key picture before
        {10, 1000, 0, 90}, {1, 1000, 2, 79}, {50, 1000, 1, 50},
        {100, 1000, 1, 0}, {10, 25, 9, 80}, // the room is what counts
        {60, 20, 1, -1},                    // no group fits
    };
    for (const auto &[group, room, seconds, first] : rings) {
        const CaseTrace trace("group ", group, " room ", room, " seconds ", seconds);
        PacketRing ring(room * 1000);
        ring.setSpan(seconds * 1'000'000);
        for (int i = 0; i < 100; ++i)
            ring.add(item(stream, i, i % group == 0));
        QCOMPARE(ring.items().empty() ? -1 : ring.items().front().packet->pts, first);
    }

    WriteQueue queue(10'000);
    for (int i = 0; i < 25; ++i)
        queue.add(item(stream, i, i % 8 == 0));
    MediaItem next;
    bool afterGap = false;
    QCOMPARE(queue.take(next, afterGap, 0), WriteQueue::Next::Item);
    QVERIFY(next.packet->pts == 16 && afterGap); // 0 to 10 were thrown away, 11 to 15 had no key
    QCOMPARE(queue.dropped(), quint64(16));
    queue.end();
    while (queue.take(next, afterGap, 0) == WriteQueue::Next::Item)
        QVERIFY(!afterGap);
    QCOMPARE(next.packet->pts, 24);
}

void TestRecorder::timesRiseFromZero()
{
    constexpr qint64 kLost = AV_NOPTS_VALUE;
    // By how many pictures the order differs, times of showing as they come; what the file has of
    // them, nothing where it cannot go on.
    const QList<std::tuple<int, QList<qint64>, QList<qint64>>> rows = {
        {0, {90000, 93600, 97200}, {0, 3600, 7200}},
        {0, {5000, 5000, 4000, 8600}, {0, 1, 2, 3600}},
        {0, {kLost, kLost}, {0, 3600}},
        {1, {kLost, 7200, 3600, 10800}, {3600, 10800, 7200, 14400}}, // as RTSP begins
        {1, {3600, 14400, 7200, 10800, 18000}, {3600, 14400, 7200, 10800, 18000}},
        {0, {200000, 100000}, {0}},
        {0, {0, 1000000}, {0}},
    };
    for (const auto &[reorder, given, written] : rows) {
        const CaseTrace trace(reorder, given);
        PacketTimes times(reorder);
        QList<qint64> shown;
        QList<qint64> decoded;
        for (const qint64 time : given) {
            AVPacket packet{};
            packet.pts = time;
            packet.dts = AV_NOPTS_VALUE;
            if (!times.setVideo(packet))
                break;
            shown.append(packet.pts);
            decoded.append(packet.dts);
            QVERIFY(packet.dts <= packet.pts);
        }
        QCOMPARE(shown, written);
        QCOMPARE(decoded.value(0), 0);
        QVERIFY(std::ranges::adjacent_find(decoded, std::greater_equal<>()) == decoded.end());
    }
}

void TestRecorder::recordingIsTheStream()
{
    const QTemporaryDir folder;
    const QString make = u"-f lavfi -i testsrc=size=320x240:rate=25:duration=2 -g 10 -c:v "_s;
    const QList<std::pair<QString, QString>> sources = {
        {u"libx264"_s, u"reordered.ts"_s},
        {u"libx264 -bf 0"_s, u"plain.ts"_s},
        {u"libx264"_s, u"withLengths.mp4"_s}, // instead of start codes
        {u"libx265 -x265-params log-level=error"_s, u"h265.ts"_s},
        {u"libx265 -x265-params log-level=error"_s, u"h265.mp4"_s},
    };
    for (const auto &[codec, name] : sources) {
        const CaseTrace trace(codec);
        const QString source = folder.filePath(name);
        QVERIFY(runFfmpeg(make + codec, source));
        Bench bench;
        const QSignalSpy lost(&bench.player, &FFmpegPlayer::connectionLost);
        bench.start();
        QVERIFY(bench.play(source));
        QTRY_COMPARE_WITH_TIMEOUT(lost.size(), 1, kWaitMs);
        bench.recorder->stop();
        const QByteArrayList expected = Pictures(source).hashes;
        QCOMPARE(expected.size(), 50);
        QTRY_COMPARE_WITH_TIMEOUT(Pictures(bench.files()).hashes, expected, kWaitMs);
        QCOMPARE(bench.files().size(), 1);
    }
}

void TestRecorder::liveStreamIsRecordedFromBeforeTheStart()
{
    const QString udp = freeUdpUrl();
    QList<std::tuple<QString, QString>> rows = {{u"h264"_s, {}}, {u"h265"_s, {}}};
    if (kUdpStreamsCanRun)
        rows.append({{u"h264"_s, udp}, {u"h265"_s, udp}});
    for (const auto &[codec, address] : rows) {
        const CaseTrace trace(codec, address);
        PodSim sim({u"--size"_s, u"320x240"_s, u"--codec"_s, codec, u"--udp"_s, udp.mid(6)});
        Bench bench;
        QVERIFY(bench.play(address.isEmpty() ? sim.rtspUrl() : address));
        QVERIFY(bench.plays(60)); // with a key picture, whatever the simulator's interval
        const int before = bench.tee->count;
        bench.start();
        QVERIFY(bench.plays(30));
        QTRY_COMPARE(bench.recorder->status().state, State::Writing);
        sim.fault(u"video stall"_s);
        QTRY_COMPARE(bench.recorder->status().state, State::Waiting);
        bench.recorder->stop();
        bench.player.stop();
        const QString raw = writeFile(bench.folder.filePath(codec), bench.tee->bytes());
        const QByteArrayList sent = Pictures(raw).hashes;
        QByteArrayList kept;
        // The last picture's way to the file may take a moment.
        QTRY_VERIFY_WITH_TIMEOUT(
            (kept = Pictures(bench.files()).hashes).value(kept.size() - 1) == sent.last(), kWaitMs);
        QVERIFY2(kept.size() >= 30 + qMin(before, 30), qPrintable(QString::number(kept.size())));
        QCOMPARE(kept, sent.last(kept.size()));
    }
}

void TestRecorder::changesGoOnInTheNextFile()
{
    const QTemporaryDir folder;
    QByteArray both;
    QByteArrayList expected;
    for (const QString &size : {u"320x240"_s, u"640x480"_s}) {
        const QString part = folder.filePath(size + u".ts"_s);
        QVERIFY(runFfmpeg(u"-f lavfi -i testsrc=size=%1:duration=1 -bf 0 -c:v libx264"_s.arg(size),
                          part));
        both += contentOf(part);
        expected += Pictures(part).hashes;
    }
    Bench bench;
    bench.start();
    for (int stream = 0; stream < 2; ++stream) {
        const QSignalSpy lost(&bench.player, &FFmpegPlayer::connectionLost);
        QVERIFY(bench.play(writeFile(folder.filePath(u"both.ts"_s), both)));
        QTRY_COMPARE_WITH_TIMEOUT(lost.size(), 1, kWaitMs);
    }
    bench.recorder->stop();
    QTRY_COMPARE_WITH_TIMEOUT(Pictures(bench.files()).hashes, expected + expected, kWaitMs);
    QCOMPARE(bench.files().size(), 4);
    QCOMPARE(bench.recorder->status().files, 4);
}

void TestRecorder::troublesEndTheRecording()
{
    const PodSim sim({u"--size"_s, u"320x240"_s});
    Bench bench;
    QVERIFY(bench.play(sim.rtspUrl()));
    QVERIFY(bench.plays(60));
    const QString good = bench.folder.path();
    const QString file = writeFile(bench.folder.filePath(u"file"_s), "x");
    constexpr qint64 kPlenty = qint64(1) << 60;
    const QList<std::pair<recording::Options, Trouble>> rows = {
        {{file + u"/below"_s}, Trouble::NoFolder},
        {{good, 50'000}, Trouble::QuotaReached}, // in the middle of it
        {{good, 1}, Trouble::QuotaReached},      // by the recording before
        {{good, kPlenty, kPlenty}, Trouble::DiskFull},
    };
    for (const auto &[options, trouble] : rows) {
        const CaseTrace trace(trouble);
        bench.recorder->start(options);
        QTRY_COMPARE_WITH_TIMEOUT(bench.recorder->status().trouble, trouble, kWaitMs);
        QCOMPARE(bench.recorder->status().state, State::Off);
    }
    bench.recorder->start({good + u"/a/b"_s});
    QTRY_COMPARE_WITH_TIMEOUT(bench.recorder->status().state, State::Writing, kWaitMs);
    QVERIFY(QDir(good + u"/a"_s).removeRecursively());
    QTRY_COMPARE_WITH_TIMEOUT(bench.recorder->status().trouble, Trouble::FileGone, kWaitMs);
}

void TestRecorder::stalledDiskCostsTheRecordingAlone()
{
    const PodSim sim({u"--size"_s, u"320x240"_s});
    Bench bench;
    QVERIFY(bench.play(sim.rtspUrl()));
    bench.start();
    QTRY_COMPARE_WITH_TIMEOUT(bench.recorder->status().state, State::Writing, kWaitMs);
    {
        const StalledDisk disk(bench.folder.path());
        QVERIFY(QTest::qWaitFor([&] { return bench.recorder->status().state == State::Stalled; },
                                1000));
        QVERIFY(bench.plays(60)); // the picture goes on
        QCOMPARE(bench.recorder->status().state, State::Stalled);
        bench.recorder->stop(); // and nobody waits
        QCOMPARE(bench.recorder->status().state, State::Off);
    }
    // What waited is written when it can be.
    bench.player.stop();
    const QString raw = writeFile(bench.folder.filePath(u"raw"_s), bench.tee->bytes());
    const QByteArrayList sent = Pictures(raw).hashes;
    QByteArrayList kept;
    QTRY_VERIFY_WITH_TIMEOUT((kept = Pictures(bench.files()).hashes).size() > 60, kWaitMs);
    QVERIFY(kept.size() <= sent.size());
    const qsizetype first = sent.indexOf(kept.first());
    QCOMPARE(kept, sent.mid(first, kept.size()));
}

// Of a clock that was set back.
void TestRecorder::earlierFilesAreKept()
{
    const PodSim sim({u"--size"_s, u"320x240"_s});
    Bench bench;
    QVERIFY(bench.play(sim.rtspUrl()));
    const QDateTime now = QDateTime::currentDateTime();
    QStringList earlier;
    for (int second = 0; second < 30; ++second) {
        const QString name = now.addSecs(second).toString(u"'pod'_yyyy-MM-dd_HH-mm-ss"_s);
        for (const QString &ending : {u"_01.ts"_s, u"-2_01.ts"_s, u".jsonl"_s})
            earlier += writeFile(bench.folder.filePath(name + ending), "kept");
    }
    bench.recorder->addEvent("new");
    bench.start();
    QTRY_COMPARE_WITH_TIMEOUT(bench.recorder->status().state, State::Writing, kWaitMs);
    bench.recorder->stop();
    const QString file = bench.recorder->status().file;
    QVERIFY2(file.contains(u"-3_01.ts"_s), qPrintable(file));
    QTRY_COMPARE(contentOf(QString(file).replace(u"_01.ts"_s, u".jsonl"_s)), "new\n");
    for (const QString &path : earlier)
        QCOMPARE(contentOf(path), "kept");
}

QTEST_GUILESS_MAIN(TestRecorder)
#include "tst_recorder.moc"
