// The recorder on real streams: files and podsim, played by the console's own player; what it wrote
// is read back by ffmpeg and ffprobe.

#include "CaseTrace.h"
#include "Ffmpeg.h"
#include "Files.h"
#include "PodSim.h"
#include "StalledDisk.h"
#include "UdpStreams.h"
#include "protocol/CommandCatalogue.h"
#include "recorder/FlightEvents.h"
#include "recorder/PacketTimes.h"
#include "recorder/StreamRecorder.h"
#include "recorder/WriteQueue.h"
#include "video/FFmpegPlayer.h"

#include <QDateTime>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <algorithm>
#include <cmath>
#include <tuple>

using namespace Qt::StringLiterals;
using recording::State;
using recording::Trouble;

namespace {

constexpr int kWaitMs = 20000;

/// What an independent decoder makes of a file: a line for each picture.
QByteArrayList pictureHashes(const QString &path)
{
    const QTemporaryDir folder;
    const QString list = folder.filePath(u"hashes"_s);
    if (!runFfmpeg(u"-i %1 -map 0:v -vsync passthrough -f framemd5"_s.arg(path), list))
        return {};
    QByteArrayList hashes;
    for (const QByteArray &line : contentOf(list).split('\n'))
        if (!line.isEmpty() && !line.startsWith('#'))
            hashes.append(line.mid(line.lastIndexOf(' ')));
    return hashes;
}

QByteArrayList pictureHashes(const QStringList &paths)
{
    QByteArrayList hashes;
    for (const QString &path : paths)
        hashes += pictureHashes(path);
    return hashes;
}

/// Hands everything on, and keeps the pictures' bytes as they are.
class Tee : public PacketSink
{
public:
    explicit Tee(StreamRecorder &recorder)
        : m_recorder(recorder)
    {
    }

    quint64 beginStream(const AVCodecParameters &parameters, AVRational timeBase) override
    {
        m_bytes = QByteArray(reinterpret_cast<const char *>(parameters.extradata),
                             parameters.extradata_size);
        return m_recorder.beginStream(parameters, timeBase);
    }
    void takePacket(quint64 stream, const AVPacket &packet, qint64 arrivedUs) override
    {
        m_bytes.append(reinterpret_cast<const char *>(packet.data), packet.size);
        ++count;
        m_recorder.takePacket(stream, packet, arrivedUs);
    }

    /// Once the player has stopped.
    const QByteArray &bytes() const { return m_bytes; }

    std::atomic<int> count = 0;

private:
    StreamRecorder &m_recorder;
    QByteArray m_bytes;
};

/// A recorder behind a player, with a folder to record to.
struct Bench
{
    QTemporaryDir folder;
    std::shared_ptr<StreamRecorder> recorder = std::make_shared<StreamRecorder>();
    std::shared_ptr<Tee> tee = std::make_shared<Tee>(*recorder);
    FFmpegPlayer player;

    Bench() { player.setPacketSink(tee); }
    void start() { recorder->start({.folder = folder.path()}); }
    bool play(const QString &url)
    {
        if (!player.open(url))
            return false;
        player.play();
        return true;
    }
    bool plays(int pictures)
    {
        return QTest::qWaitFor([&, until = tee->count + pictures] { return tee->count >= until; },
                               kWaitMs);
    }
    QStringList files() const
    {
        QStringList paths;
        for (const QString &name : QDir(folder.path()).entryList({u"*.ts"_s}, QDir::Files))
            paths.append(folder.filePath(name));
        return paths;
    }
};

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
    void telemetryIsReadByOthers();
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
        const QByteArrayList expected = pictureHashes(source);
        QCOMPARE(expected.size(), 50);
        QTRY_COMPARE_WITH_TIMEOUT(pictureHashes(bench.files()), expected, kWaitMs);
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
        const QByteArrayList sent = pictureHashes(raw);
        QByteArrayList kept;
        // The last picture's way to the file may take a moment.
        QTRY_VERIFY_WITH_TIMEOUT(
            (kept = pictureHashes(bench.files())).value(kept.size() - 1) == sent.last(), kWaitMs);
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
        expected += pictureHashes(part);
    }
    Bench bench;
    bench.start();
    for (int stream = 0; stream < 2; ++stream) {
        const QSignalSpy lost(&bench.player, &FFmpegPlayer::connectionLost);
        QVERIFY(bench.play(writeFile(folder.filePath(u"both.ts"_s), both)));
        QTRY_COMPARE_WITH_TIMEOUT(lost.size(), 1, kWaitMs);
    }
    bench.recorder->stop();
    QTRY_COMPARE_WITH_TIMEOUT(pictureHashes(bench.files()), expected + expected, kWaitMs);
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
        {{u"/proc/self"_s, kPlenty, -1}, Trouble::CannotCreate},
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
    const QByteArrayList sent = pictureHashes(raw);
    QByteArrayList kept;
    QTRY_VERIFY_WITH_TIMEOUT((kept = pictureHashes(bench.files())).size() > 60, kWaitMs);
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

// Another program's reading of the sets, in the picture's time; beside it our own.
void TestRecorder::telemetryIsReadByOthers()
{
    if (QStandardPaths::findExecutable(u"exiftool"_s).isEmpty())
        QSKIP("needs exiftool");
    // Yaw, pitch, roll, range, latitude, longitude, altitude.
    constexpr qint64 kTimeMs = 1'700'000'000'123;
    using Row = std::tuple<double, double, double, double, double, double, int>;
    const QList<Row> rows = {
        {0, 0, 0, 0.1, 0, 1e-7, 0},
        {-90, -90, -0.1, 5e6, -90, -180, -900},
        {359.9, 180, 3276.7, 1234.5, 90, 180, 19000},
        {12.3, -45.6, 7.8, 0, 47.3769123, 8.5417321, 408},
        {-3276.8, 12, 0, 7, 0, 0, 5}, // no target
    };
    const PodSim sim({u"--size"_s, u"320x240"_s});
    Bench bench;
    QVERIFY(bench.play(sim.rtspUrl()));
    QVERIFY(bench.plays(60));
    bench.recorder->addEvent("before");
    bench.start();
    QByteArrayList sets;
    for (const auto &[yaw, pitch, roll, range, latitude, longitude, altitude] : rows) {
        const CaseTrace trace("yaw ", yaw, " pitch ", pitch, " range ", range);
        protocol::StatusFrame status;
        status.yaw = yaw;
        status.pitch = pitch;
        status.roll = roll;
        status.laserDistance = range;
        status.targetLatitude = latitude;
        status.targetLongitude = longitude;
        status.targetAltitude = altitude;
        sets += klv::encode(recording::geometryOf(status, u"C-Alder-0102000307"_s, kTimeMs));
        bench.recorder->addTelemetry(sets.last());
        QVERIFY(bench.plays(2));
    }
    const QByteArray photo = protocol::buildCommand(protocol::Command::TakePhoto);
    const QByteArray command =
        recording::eventLine(kTimeMs + 1, u"command"_s, recording::particularsOf(photo));
    bench.recorder->addEvent(command);
    bench.recorder->stop();
    bench.player.stop();
    const QString log = QString(bench.files()[0]).replace(u"_01.ts"_s, u".jsonl"_s);
    QTRY_COMPARE(contentOf(log), "before\n" + command + '\n');
    const QString taken = bench.folder.filePath(u"sets"_s);
    QVERIFY(runFfmpeg(u"-i %1 -map 0:d -c copy -f data"_s.arg(bench.files()[0]), taken));
    QCOMPARE(contentOf(taken), sets.join());

    // The track, of the same sets
    ChildProcess track(QStringLiteral(PODSIM_EXECUTABLE), {u"--export"_s, bench.files()[0]});
    QVERIFY(track.succeeds(kWaitMs));
    const QByteArrayList lines =
        contentOf(QString(log).replace(u".jsonl"_s, u".csv"_s)).trimmed().split('\n');
    QCOMPARE(lines.size(), rows.size() + 2); // the head and the command
    QVERIFY2(lines[4].startsWith("2023-11-14T22:13:20.123Z,12.300,-45.600,7.800,,47.3769123,"
                                 "8.5417321,408."),
             lines[4]);
    QCOMPARE(lines.last(), "2023-11-14T22:13:20.124Z,,,,,,,,takePhoto,ff 01 12 00 00 00 13");
    const QJsonValue features = QJsonDocument::fromJson(
        contentOf(QString(log).replace(u".jsonl"_s, u".geojson"_s)))[u"features"_s];
    const QJsonValue targets = features[0][u"geometry"_s];
    QCOMPARE(targets[u"type"_s].toString(), u"LineString"_s);
    QCOMPARE(targets[u"coordinates"_s].toArray().size(), 4); // of the last there is no target
    QVERIFY(std::abs(targets[u"coordinates"_s][3][1].toDouble() - 47.3769123) < 1e-6);
    QCOMPARE(features[1][u"geometry"_s][u"coordinates"_s], targets[u"coordinates"_s][3]);

    ChildProcess tool(u"exiftool"_s, {u"-ee"_s, u"-j"_s, u"-n"_s, u"-g3"_s, bench.files()[0]});
    QByteArray text;
    while (const auto line = tool.readLine(kWaitMs))
        text += *line;
    const QJsonObject read = QJsonDocument::fromJson(text)[0].toObject();
    for (int i = 0; i < rows.size(); ++i) {
        const auto &[yaw, pitch, roll, range, latitude, longitude, altitude] = rows[i];
        const QJsonObject one = read[u"Doc%1"_s.arg(i + 1)].toObject();
        const auto has = [&](const QString &name, double value, double resolution) {
            return std::abs(one[name].toDouble(1e9) - value) <= resolution;
        };
        QCOMPARE(one[u"GPSDateTime"_s], u"2023:11:14 22:13:20.123000Z"_s);
        QVERIFY(has(u"SensorRelativeAzimuthAngle"_s, std::fmod(yaw + 3600, 360), 1e-7));
        QVERIFY(has(u"SensorRelativeElevationAngle"_s, pitch, 1e-7));
        QVERIFY(has(u"SensorRelativeRollAngle"_s, std::fmod(roll + 3600, 360), 1e-7));
        const bool hasTarget = latitude != 0 || longitude != 0;
        QCOMPARE(one.contains(u"SlantRange"_s), range > 0);
        QCOMPARE(one.contains(u"TargetLocationLatitude"_s), hasTarget);
        QVERIFY(range == 0 || has(u"SlantRange"_s, range, 0.0012));
        QVERIFY(!hasTarget || has(u"TargetLocationLatitude"_s, latitude, 4.2e-8));
        QVERIFY(!hasTarget || has(u"TargetLocationLongitude"_s, longitude, 8.4e-8));
        QVERIFY(!hasTarget || has(u"TargetLocationElevation"_s, altitude, 0.31));
        // Our own reading gives the same bytes again; the checksum by words, padded.
        QCOMPARE(klv::encode(*klv::decodeUasDatalink(sets[i])), sets[i]);
        QByteArray summed = sets[i].chopped(2);
        summed.append(summed.size() % 2, '\0');
        quint32 sum = 0;
        for (qsizetype at = 0; at < summed.size(); at += 2)
            sum += qFromBigEndian<quint16>(summed.constData() + at);
        QCOMPARE(one[u"Checksum"_s].toInt(), int(sum & 0xFFFF));
        sets[i][30] = char(~sets[i][30]);
        QVERIFY(!klv::decodeUasDatalink(sets[i]));
    }
}

QTEST_GUILESS_MAIN(TestRecorder)
#include "tst_recorder.moc"
