// What the console recorded, replayed by podsim and recorded by the console once more.

#include "Ffmpeg.h"
#include "Files.h"
#include "PodSim.h"
#include "UdpStreams.h"
#include "backend/CMain.h"
#include "klv/UasDatalink.h"
#include "recorder/FlightRecorder.h"
#include "video/VideoRenderer.h"

#include <QDir>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr int kWaitMs = 20000;

QJsonValue stateOf(PodSim &pod, const QString &name)
{
    return QJsonDocument::fromJson(pod.fault(u"replay state"_s).toUtf8())[name];
}

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
        backend.queryVersion();
        if (!QTest::qWaitFor([this] { return !backend.versionno().isEmpty(); }, kWaitMs))
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

/// What an independent decoder makes of a file.
struct Pictures
{
    QList<qint64> times; ///< in 1/90000 s
    QByteArrayList hashes;

    explicit Pictures(const QString &path)
    {
        const QTemporaryDir folder;
        const QString list = folder.filePath(u"hashes"_s);
        runFfmpeg(
            u"-copyts -i %1 -map 0:v -vsync passthrough -enc_time_base 1/90000 -f framemd5"_s.arg(
                path),
            list);
        for (const QByteArray &line : contentOf(list).split('\n')) {
            const QByteArrayList words = line.split(',');
            if (line.startsWith('#') || words.size() != 6)
                continue;
            times.append(words[2].toLongLong());
            hashes.append(words[5]);
        }
    }

    /// The step to the picture that far from the end.
    qint64 lastStep(qsizetype i) const
    {
        return times[times.size() - i] - times[times.size() - i - 1];
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
    PodSim pod({u"--size"_s, u"320x240"_s, u"--rate"_s, u"10"_s, u"--codec"_s, codec});
    Console console(pod, pod.rtspUrl());
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
    QTest::addColumn<bool>("overUdp");
    QTest::newRow("h264") << u"h264"_s << false;
    QTest::newRow("h265") << u"h265"_s << false;
    if (kUdpStreamsCanRun)
        QTest::newRow("h264 over udp") << u"h264"_s << true;
}

void TestReplay::recordingComesBack()
{
    QFETCH(QString, codec);
    QFETCH(bool, overUdp);
    const QString path = recordingOf(codec);
    QVERIFY(!path.isEmpty());
    const QString udp = freeUdpUrl();
    QStringList options = {u"--replay"_s, path};
    if (overUdp) // where opening takes longer than the recording lasts
        options += {u"--udp"_s, udp.mid(6), u"--fault"_s, u"replay loop on"_s};
    PodSim pod(options);
    Console console(pod, overUdp ? udp : pod.rtspUrl());
    QVERIFY(!overUdp || console.records(4));
    pod.fault(u"replay loop off"_s);
    QTRY_VERIFY_WITH_TIMEOUT(stateOf(pod, u"ended"_s).toBool(), kWaitMs);
    QCOMPARE(console.backend.workMode(), u"Follow"_s); // which the log alone tells

    const Pictures sent(path);
    const QString again = console.recorder.file();
    QVERIFY(sent.hashes.size() >= 40);
    if (overUdp) // whose last picture ends with the next
        QVERIFY(Pictures(again).hashes.size() >= 60);
    else
        QTRY_COMPARE_WITH_TIMEOUT(Pictures(again).hashes.size(), sent.hashes.size(), kWaitMs);
    const Pictures taken(again);
    QVERIFY(comesRound(sent.hashes, taken.hashes));
    for (qsizetype i = 1; i < 20 && !overUdp; ++i)
        QVERIFY(std::abs(taken.lastStep(i) - sent.lastStep(i)) <= 2);

    const Track track(path);
    const Track trackAgain(again);
    QVERIFY(trackAgain.values.size() >= track.values.size() - 5);
    QVERIFY(comesRound(track.values, trackAgain.values));
    QVERIFY(overUdp || std::abs(trackAgain.lastUs(20) - track.lastUs(20)) < 100'000);
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
    PodSim pod(
        {u"--replay"_s, path, u"--fault"_s, u"replay pause"_s, u"--fault"_s, u"replay seek 2"_s});
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
    QCOMPARE(stateOf(pod, u"position"_s), QJsonValue(2));
    const double yaw = console.backend.yaw();
    pod.fault(u"replay seek 0.5"_s);
    QVERIFY(shows(behind(0.5)));
    QTRY_VERIFY(console.backend.yaw() > yaw + 30); // the flight turns left
    pod.fault(u"replay loop on"_s);
    pod.fault(u"replay speed 4"_s);
    QElapsedTimer clock;
    clock.start();
    pod.fault(u"replay play"_s);
    const auto position = [&] { return stateOf(pod, u"position"_s).toDouble(); };
    QTRY_VERIFY(position() > 1.5);
    QTRY_VERIFY(position() < 1.5);
    pod.fault(u"replay loop off"_s);
    QTRY_VERIFY_WITH_TIMEOUT(stateOf(pod, u"ended"_s).toBool(), kWaitMs);
    const double seconds = stateOf(pod, u"duration"_s).toDouble() * 2 - 0.5;
    const double took = double(clock.elapsed()) / 1000;
    QVERIFY2(took > seconds / 4 - 0.1 && took < seconds / 2, qPrintable(QString::number(took)));
    QVERIFY(shows(sent.hashes.size()));
    QCOMPARE(taken, sent.hashes.mid(key, behind(2) - key) + sent.hashes + sent.hashes);
}

QTEST_MAIN(TestReplay)
#include "tst_replay.moc"
