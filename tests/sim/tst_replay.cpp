// What the console recorded, replayed by podsim and recorded by the console once more.

#include "Pictures.h"
#include "PodSim.h"
#include "backend/CMain.h"
#include "klv/UasDatalink.h"
#include "recorder/FlightRecorder.h"
#include "recorder/TransportStreamFile.h"
#include "video/VideoRenderer.h"

#include <QDir>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <memory>
#include <optional>
#include <tuple>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr int kWaitMs = 20000;
const QString kLossless = u"--rtsp-tcp-only"_s;
const QString kTelemetryAlone = u"-i %1 -map 0:d -c copy"_s;
const QString kReordered = u"reordered"_s; // of which podsim has no encoder

QVariant stateOf(PodSim &pod, const QString &name) { return pod.state(name, u"replay state"_s); }

/// The console's way from the pod to its disk.
struct Console
{
    QTemporaryDir folder;
    CMain backend;
    VideoRenderer video;
    FlightRecorder recorder;

    Console(PodSim &pod, const QString &url)
    {
        recorder.setFolder(folder.path());
        recorder.setBackend(&backend);
        recorder.setVideo(&video);
        if (!backend.connectTCP(u"127.0.0.1"_s, pod.controlPort()))
            qFatal("no link");
        // Of two frames in one delivery the console reads the first: the answer may be lost.
        const auto hasVersion = [this] { return !backend.versionno().isEmpty(); };
        for (int i = 0; i < 20 && !hasVersion(); ++i) {
            backend.queryVersion();
            Q_UNUSED(QTest::qWaitFor(hasVersion, kWaitMs / 20));
        }
        if (!hasVersion())
            qFatal("no version");
        recorder.start();
        video.setProperty("autoReconnect", false);
        video.setSource(url);
        video.play();
    }

    bool records(int seconds)
    {
        return QTest::qWaitFor([&] { return recorder.bytes() > 0; }, kWaitMs)
               && QTest::qWaitFor(
                   [&, end = recorder.seconds() + seconds] { return recorder.seconds() >= end; },
                   kWaitMs);
    }
};

/// The sets of a file, as another program takes them out of it.
struct Track
{
    QByteArrayList values; ///< without their times
    QList<quint64> us;

    explicit Track(const QString &path)
    {
        const QTemporaryDir folder;
        const QString all = folder.filePath(u"sets"_s);
        runFfmpeg(u"-i %1 -map 0:d -c copy -f data"_s.arg(path), all);
        const QByteArray bytes = contentOf(all);
        const QByteArray key = QByteArray::fromHex("060E2B34");
        for (qsizetype at = bytes.indexOf(key); at >= 0; at = bytes.indexOf(key, at + 1)) {
            auto set = klv::decodeUasDatalink(QByteArrayView(bytes).sliced(at));
            if (!set)
                continue;
            us.append(std::exchange(set->timeUs, 0));
            values.append(klv::encode(*set));
        }
    }

    /// How long the last ones took.
    qint64 lastUs(qsizetype count) const { return qint64(us.last() - us[us.size() - count]); }
};

/// A transport stream of these sets, five of them a second.
bool writeStream(const QString &path, const QByteArrayList &sets)
{
    const auto stream = std::make_shared<RecordedStream>();
    stream->parameters.reset(avcodec_parameters_alloc());
    stream->parameters->codec_type = AVMEDIA_TYPE_VIDEO; // of which nothing comes
    stream->parameters->codec_id = AV_CODEC_ID_H264;
    stream->timeBase = {1, 5};
    TransportStreamFile file;
    bool isFine = file.create(path, *stream);
    for (qsizetype i = 0; i < sets.size() && isFine; ++i) {
        const std::shared_ptr<AVPacket> set(av_packet_alloc(), ffmpeg::PacketDeleter());
        av_new_packet(set.get(), int(sets[i].size()));
        std::ranges::copy(sets[i], set->data);
        set->pts = set->dts = i;
        isFine = file.write({stream, set, 0, false}) == TransportStreamFile::Result::Written;
    }
    return isFine;
}

/// Whether several rounds of the one give the other, wherever that begins and ends.
bool comesRound(const QByteArrayList &round, const QByteArrayList &list)
{
    for (qsizetype first = 0; first < round.size(); ++first) {
        qsizetype i = 0;
        while (i < list.size() && list[i] == round[(first + i) % round.size()])
            ++i;
        if (i == list.size())
            return true;
    }
    return false;
}

} // namespace

class TestReplay : public QObject
{
    Q_OBJECT

private slots:
    void recordingComesBack_data();
    void recordingComesBack();
    void operatorMovesInIt();
    void partOfAnotherCodecIsServed();
    void foreignSetsAreTold();
    void plainWordsForWhatCannotBeReplayed();
    void whatIsThereIsReplayed();

private:
    QString recordingOf(const QString &codec);

    QTemporaryDir m_folder;
    QHash<QString, QString> m_recordings; // by codec
};

/// Three seconds of a pod that turns and measures, made once.
QString TestReplay::recordingOf(const QString &codec)
{
    QString &path = m_recordings[codec];
    if (!path.isEmpty())
        return path;
    const bool isReordered = codec == kReordered;
    PodSim pod({u"--size"_s, u"320x240"_s, u"--rate"_s, u"10"_s, u"--codec"_s,
                isReordered ? u"h264"_s : codec});
    const QString video = m_folder.filePath(u"video.ts"_s);
    std::optional<PodSim> encoder;
    if (isReordered && makeVideo(video))
        encoder.emplace(QStringList{u"--replay"_s, video, kLossless});
    Console console(pod, encoder ? encoder->rtspUrl() : pod.rtspUrl());
    console.backend.continuousDistanceOpen();
    console.backend.moveLeftDown(255, 100);
    if (!console.records(3))
        return {};
    console.recorder.stop();
    path = m_folder.filePath(codec + u"_01.ts"_s);
    const QString log = QString(console.recorder.file()).replace(u"_01.ts"_s, u".jsonl"_s);
    const auto isWritten = [&] { return contentOf(log).contains("moveLeftDown"); };
    if (!QTest::qWaitFor(isWritten, kWaitMs) || !QFile::copy(console.recorder.file(), path)
        || !QFile::copy(log, m_folder.filePath(codec + u".jsonl"_s)))
        return {};
    return path;
}

void TestReplay::recordingComesBack_data()
{
    QTest::addColumn<QString>("codec");
    QTest::newRow("h264") << u"h264"_s;
    QTest::newRow("h265") << u"h265"_s;
    QTest::newRow("reordered") << kReordered;
}

void TestReplay::recordingComesBack()
{
    QFETCH(QString, codec);
    const QString path = recordingOf(codec);
    QVERIFY(!path.isEmpty());
    PodSim pod({u"--replay"_s, path, kLossless});
    Console console(pod, pod.rtspUrl());
    QTRY_VERIFY_WITH_TIMEOUT(stateOf(pod, u"ended"_s).toBool(), kWaitMs);
    QCOMPARE(console.backend.workMode(), u"Follow"_s); // which the log alone tells

    const Pictures sent(path);
    const QString again = console.recorder.file();
    QVERIFY(sent.hashes.size() >= 40);
    // Of pictures in another order the console knows the end only when the next one begins; the
    // one that is kept back may be shown before three others.
    const qsizetype end = sent.hashes.size() - (codec == kReordered ? 4 : 0);
    QTRY_COMPARE_WITH_TIMEOUT(Pictures(again).hashes.mid(0, end), sent.hashes.first(end), kWaitMs);
    QVERIFY(std::ranges::is_sorted(Pictures(again).times));

    const Track track(path);
    const Track trackAgain(again);
    QVERIFY(trackAgain.values.size() >= track.values.size() - 5);
    QVERIFY(comesRound(track.values, trackAgain.values));
    // A set's time is that at which it came, beside pictures that a thread of its own reads.
    QVERIFY(std::abs(trackAgain.lastUs(20) - track.lastUs(20)) < 300'000);
}

void TestReplay::operatorMovesInIt()
{
    const QString path = recordingOf(u"h264"_s);
    const Pictures sent(path);
    // The first picture behind that moment.
    const auto behind = [&](double seconds) {
        const qint64 time = sent.times[0] + qint64(seconds * 90000);
        return std::ranges::upper_bound(sent.times, time) - sent.times.begin();
    };
    PodSim pod({u"--replay"_s, path, kLossless, u"--fault"_s, u"replay pause"_s, u"--fault"_s,
                u"replay seek 2"_s});
    Console console(pod, pod.rtspUrl());
    QByteArrayList taken;
    const auto lastIs = [&](qsizetype picture) {
        taken = Pictures(console.recorder.file()).hashes;
        return !taken.isEmpty() && taken.last() == sent.hashes[picture];
    };
    // The console may keep one picture back until the next.
    const auto shows = [&](qsizetype end) {
        return QTest::qWaitFor([&] { return lastIs(end - 1) || lastIs(end - 2); }, kWaitMs);
    };
    QVERIFY(shows(behind(2)));
    const qsizetype key = sent.hashes.indexOf(taken.first());
    QVERIFY(key >= behind(0.9) && key <= behind(2));
    QCOMPARE(stateOf(pod, u"position"_s), 2.0);
    const double yaw = console.backend.yaw();
    pod.fault(u"replay seek 0.5"_s);
    QVERIFY(shows(behind(0.5)));
    QTRY_VERIFY(console.backend.yaw() > yaw + 30); // the flight turns left
    pod.fault(u"replay loop on"_s);
    pod.fault(u"replay speed 4"_s);
    pod.fault(u"replay play"_s);
    const auto position = [&] { return stateOf(pod, u"position"_s).toDouble(); };
    QTRY_VERIFY(position() > 1.5);
    QTRY_VERIFY(position() < 1.5);
    pod.fault(u"replay loop off"_s);
    QTRY_VERIFY_WITH_TIMEOUT(stateOf(pod, u"ended"_s).toBool(), kWaitMs);
    QVERIFY(shows(sent.hashes.size()));
    const QByteArrayList before = sent.hashes.mid(key, behind(2) - key);
    QCOMPARE(taken.first(before.size()), before);
    const QByteArrayList after = taken.mid(before.size());
    QVERIFY(comesRound(sent.hashes, after) && after.first() == sent.hashes.first());
    QCOMPARE(after.size() % sent.hashes.size(), 0);
    QVERIFY(after.size() >= 2 * sent.hashes.size());
}

// A pod that was set to another coding in flight.
void TestReplay::partOfAnotherCodecIsServed()
{
    const QTemporaryDir folder;
    const QString name = folder.filePath(u"a_0%1.ts"_s);
    const QStringList parts = {recordingOf(u"h264"_s), recordingOf(u"h265"_s)};
    QVERIFY(QFile::copy(parts[0], name.arg(1)) && QFile::copy(parts[1], name.arg(2)));
    PodSim alone({u"--replay"_s, parts[1], u"--no-video"_s});
    PodSim pod({u"--replay"_s, name.arg(2), kLossless});
    const double begin =
        stateOf(pod, u"duration"_s).toDouble() - stateOf(alone, u"duration"_s).toDouble();
    pod.fault(u"replay seek %1"_s.arg(begin - 0.5));
    Console console(pod, pod.rtspUrl());
    QSignalSpy lost(&console.video, &VideoRenderer::connectionLost);
    QTRY_COMPARE_WITH_TIMEOUT(lost.size(), 1, kWaitMs);
    console.video.stop();
    console.video.play();
    QTRY_VERIFY_WITH_TIMEOUT(stateOf(pod, u"ended"_s).toBool(), kWaitMs);
    QTRY_VERIFY(console.recorder.file().endsWith(u"_02.ts"_s));
    const QByteArrayList taken = Pictures(console.recorder.file()).hashes;
    QVERIFY(taken.size() > 30 && comesRound(Pictures(parts[1]).hashes, taken));
}

void TestReplay::foreignSetsAreTold()
{
    QList<klv::UasDatalinkSet> sets(7);
    sets[0].relativeAzimuth = 350;
    sets[0].relativeElevation = -30;
    sets[0].relativeRoll = 359;
    sets[1].slantRange = 1234.5;
    sets[1].targetLatitude = 47.5;
    sets[1].targetLongitude = 8.25;
    sets[1].targetElevation = 408;
    sets[2].centreLatitude = -33.25;
    sets[2].centreLongitude = 151.5;
    sets[2].relativeAzimuth = 180;
    sets[3].slantRange = 7000;                  // more than a frame can tell
    sets[4].platform = u"tells of no status"_s; // left out
    sets[5].relativeElevation = 10;             // damaged
    sets[6].relativeElevation = 90;
    const QStringList expected = {u"-10 -30 -1 0 0 0 0"_s, u"-10 -30 -1 1234.5 47.5 8.25 408"_s,
                                  u"-180 -30 -1 0 -33.25 151.5 0"_s, u"-180 -30 -1 0 0 0 0"_s,
                                  u"-180 90 -1 0 0 0 0"_s};
    QByteArrayList encoded;
    for (qsizetype i = 0; i < sets.size(); ++i) {
        sets[i].timeUs = 1'700'000'000'000'000 + quint64(i) * 200'000;
        encoded += klv::encode(sets[i]);
    }
    encoded[5][30] = char(~encoded[5][30]);
    const QString written = m_folder.filePath(u"written.ts"_s);
    const QString path = m_folder.filePath(u"foreign.ts"_s);
    QVERIFY(writeStream(written, encoded) && runFfmpeg(kTelemetryAlone.arg(written), path));

    PodSim pod({u"--replay"_s, path});
    CMain backend;
    QStringList told;
    backend.watch({{}, [&](const protocol::StatusFrame &status) {
                       told += u"%1 %2 %3 %4 %5 %6 %7"_s.arg(status.yaw)
                                   .arg(status.pitch)
                                   .arg(status.roll)
                                   .arg(status.laserDistance)
                                   .arg(status.targetLatitude)
                                   .arg(status.targetLongitude)
                                   .arg(status.targetAltitude);
                       told.last() += status.camera ? u" and a camera"_s : QString();
                   }});
    QVERIFY(backend.connectTCP(u"127.0.0.1"_s, pod.controlPort()));
    QTRY_COMPARE_WITH_TIMEOUT(told, expected, kWaitMs);
    backend.queryVersion();
    QTRY_VERIFY(stateOf(pod, u"ended"_s).toBool());
    QCOMPARE(backend.versionno(), QString()); // of a foreign platform none is made up
}

void TestReplay::plainWordsForWhatCannotBeReplayed()
{
    const QString make = u"-f lavfi -i testsrc=size=320x240:duration=1 -c:v "_s;
    const QString mp4 = m_folder.filePath(u"a.mp4"_s);
    const QString old = m_folder.filePath(u"old.ts"_s);
    QVERIFY(runFfmpeg(make + u"libx264"_s, mp4) && runFfmpeg(make + u"mpeg2video"_s, old));
    const QList<std::pair<QString, QByteArray>> rows = {
        {m_folder.filePath(u"none.ts"_s), "No such file"},
        {m_folder.path(), "Is a directory"},
        {writeFile(m_folder.filePath(u"empty.ts"_s), {}), "empty.ts: "},
        {writeFile(m_folder.filePath(u"text.ts"_s), "no stream"), "Invalid data"},
        {mp4, "not an MPEG transport stream"},
        {old, "no video of H.264 or H.265, but mpeg2video, and no telemetry"},
    };
    for (const auto &[path, words] : rows) {
        ChildProcess sim(u"sh"_s,
                         {u"-c"_s, u"\"$0\" --replay \"$1\" --port 0 --fault-port 0 2>&1"_s,
                          QStringLiteral(PODSIM_EXECUTABLE), path},
                         ChildProcess::End::Anyhow);
        QByteArray line;
        while (!line.startsWith("podsim: ")) {
            const auto next = sim.readLine(kWaitMs);
            QVERIFY2(next, qPrintable(path));
            line = *next;
        }
        QVERIFY2(line.contains(words), line);
        QVERIFY(!sim.succeeds(kWaitMs));
    }
}

void TestReplay::whatIsThereIsReplayed()
{
    const QString whole = recordingOf(u"h264"_s);
    const QByteArray bytes = contentOf(whole);
    const QString telemetry = m_folder.filePath(u"telemetry.ts"_s);
    QVERIFY(runFfmpeg(kTelemetryAlone.arg(whole), telemetry));
    QVERIFY(makeVideo(m_folder.filePath(u"video.ts"_s)));
    const qsizetype half = bytes.size() / 2 / 188 * 188 + 100; // in the middle of a packet
    // Has a picture; how many states are told at least, and at most.
    constexpr int kMany = 1000;
    const QList<std::tuple<QString, bool, int, int>> rows = {
        {writeFile(m_folder.filePath(u"half.ts"_s), bytes.first(half)), true, 2, kMany},
        {m_folder.filePath(u"video.ts"_s), true, 0, 0},
        {telemetry, false, 15, kMany},
    };
    for (const auto &[path, hasPicture, least, most] : rows) {
        PodSim pod({u"--replay"_s, path, u"--fault"_s, u"replay speed 4"_s});
        CMain backend;
        VideoRenderer video;
        int told = 0;
        backend.watch({{}, [&](const protocol::StatusFrame &) { ++told; }});
        QVERIFY(backend.connectTCP(u"127.0.0.1"_s, pod.controlPort()));

        QCOMPARE(!pod.rtspUrl().isEmpty(), hasPicture);
        if (hasPicture) {
            video.setProperty("autoReconnect", false);
            video.setSource(pod.rtspUrl());
            video.play();
            QTRY_VERIFY_WITH_TIMEOUT(!video.picture().isNull(), kWaitMs);
        }
        QTRY_VERIFY_WITH_TIMEOUT(stateOf(pod, u"ended"_s).toBool(), kWaitMs);
        QVERIFY2(told >= least && told <= most, qPrintable(path + QString::number(told)));
    }
}

QTEST_MAIN(TestReplay)
#include "tst_replay.moc"
