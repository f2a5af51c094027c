// What the console keeps, as other programs read it.

#include "CaseTrace.h"
#include "Ffmpeg.h"
#include "Files.h"
#include "RecordingBench.h"
#include "protocol/CommandCatalogue.h"
#include "recorder/FlightEvents.h"
#include "recorder/Snapshot.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimeZone>
#include <QtEndian>

#include <cmath>
#include <tuple>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 kTimeMs = 1'700'000'000'123;

/// All values as numbers.
QJsonObject exiftool(const QStringList &arguments)
{
    ChildProcess tool(u"exiftool"_s, QStringList{u"-j"_s, u"-n"_s} + arguments);
    QByteArray text;
    while (const auto line = tool.readLine(kWaitMs))
        text += *line;
    return QJsonDocument::fromJson(text)[0].toObject();
}

protocol::StatusFrame statusOf(double range, double latitude, double longitude, int altitude)
{
    protocol::StatusFrame status;
    status.laserDistance = range;
    status.targetLatitude = latitude;
    status.targetLongitude = longitude;
    status.targetAltitude = altitude;
    return status;
}

using Maybe = std::optional<double>;

/// Without a value, that it tells of none.
bool tells(const QJsonObject &read, const QString &name, Maybe value, double resolution)
{
    return value ? std::abs(read[name].toDouble(1e9) - *value) <= resolution : !read.contains(name);
}

} // namespace

class TestReaders : public QObject
{
    Q_OBJECT

private slots:
    void telemetry();
    void snapshots();
};

// Another program's reading of the sets, in the picture's time; beside it our own.
void TestReaders::telemetry()
{
    // Yaw, pitch, roll, range, latitude, longitude, altitude.
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
        protocol::StatusFrame status = statusOf(range, latitude, longitude, altitude);
        status.yaw = yaw;
        status.pitch = pitch;
        status.roll = roll;
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

    const QJsonObject read = exiftool({u"-ee"_s, u"-g3"_s, bench.files()[0]});
    for (int i = 0; i < rows.size(); ++i) {
        const auto &[yaw, pitch, roll, range, latitude, longitude, altitude] = rows[i];
        const QJsonObject one = read[u"Doc%1"_s.arg(i + 1)].toObject();
        const bool hasTarget = latitude != 0 || longitude != 0;
        const auto ofTarget = [&](double value) { return hasTarget ? Maybe(value) : Maybe(); };
        QCOMPARE(one[u"GPSDateTime"_s], u"2023:11:14 22:13:20.123000Z"_s);
        QVERIFY(tells(one, u"SensorRelativeAzimuthAngle"_s, std::fmod(yaw + 3600, 360), 1e-7));
        QVERIFY(tells(one, u"SensorRelativeElevationAngle"_s, pitch, 1e-7));
        QVERIFY(tells(one, u"SensorRelativeRollAngle"_s, std::fmod(roll + 3600, 360), 1e-7));
        QVERIFY(tells(one, u"SlantRange"_s, range > 0 ? Maybe(range) : Maybe(), 0.0012));
        QVERIFY(tells(one, u"TargetLocationLatitude"_s, ofTarget(latitude), 4.2e-8));
        QVERIFY(tells(one, u"TargetLocationLongitude"_s, ofTarget(longitude), 8.4e-8));
        QVERIFY(tells(one, u"TargetLocationElevation"_s, ofTarget(altitude), 0.31));
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

void TestReaders::snapshots()
{
    // Of the target latitude, longitude, elevation, range; of the pod azimuth, heading and height,
    // where it tells them. The direction over ground that follows.
    using Row = std::tuple<double, double, int, double, double, Maybe, Maybe, Maybe>;
    const QList<Row> rows = {
        {0, 1e-7, 0, 0.1, 0, 0.0, 0.0, 0.0},
        {-90, -180, -900, 6553.5, 20.25, 350.0, -12.5, 10.25},
        {-1e-7, 0, -1, 1234.5, -20, 10.0, 19000.0, 350.0},
        {47.3769123, 8.5417321, 408, 50, -45, {}, {}, {}}, // all that today's pods tell
        {0, 0, 5, 0, 1, {}, {}, {}},                       // no target
    };
    const QTemporaryDir folder;
    QImage picture(64, 48, QImage::Format_RGB32);
    picture.fill(QColor(200, 100, 50));
    recording::Snapshot snapshot{
        picture, QDateTime::fromMSecsSinceEpoch(kTimeMs, QTimeZone(-(3 * 60 + 30) * 60))};
    const auto readBack = [&] {
        QString error;
        const QString path = snapshot.writeInto(folder.path(), error);
        const QColor colour = QImage(path).pixelColor(60, 40);
        const bool isSame = path.endsWith(u'.' + snapshot.format)
                            && std::abs(colour.red() - 200) + std::abs(colour.blue() - 50) < 6;
        const QString options = u"-validate -a -warning -all:all -G1"_s;
        return isSame ? exiftool(options.split(u' ') << path) : QJsonObject();
    };
    for (const QString format : {recording::kPng, recording::kJpeg}) {
        snapshot.format = format;
        snapshot.geometry.reset();
        const QJsonObject bare = readBack();
        QCOMPARE(bare[u"Composite:SubSecDateTimeOriginal"_s], u"2023:11:14 18:43:20.123-03:30"_s);
        QCOMPARE(bare[u"ExifIFD:ExifImageWidth"_s], 64);
        QVERIFY(!bare.contains(u"GPS:GPSVersionID"_s));
        for (const auto &[latitude, longitude, elevation, range, azimuth, heading, height,
                          direction] : rows) {
            const CaseTrace trace(format, latitude);
            protocol::StatusFrame status = statusOf(range, latitude, longitude, elevation);
            status.yaw = azimuth;
            snapshot.geometry = recording::geometryOf(status, u"C-Alder-1"_s, kTimeMs);
            snapshot.geometry->platformHeading = heading;
            snapshot.geometry->sensorAltitude = height;
            const QJsonObject read = readBack();
            const auto ofTarget = [&](double value) { return range > 0 ? Maybe(value) : Maybe(); };
            QCOMPARE(read[u"ExifTool:Validate"_s], u"0 0 0"_s);
            QVERIFY(tells(read, u"Composite:GPSDestLatitude"_s, ofTarget(latitude), 1e-9));
            QVERIFY(tells(read, u"Composite:GPSDestLongitude"_s, ofTarget(longitude), 1e-9));
            QVERIFY(tells(read, u"XMP-pod:TargetElevation"_s, ofTarget(elevation), 0));
            QVERIFY(tells(read, u"GPS:GPSDestDistance"_s, ofTarget(range / 1000), 1e-9));
            QVERIFY(tells(read, u"GPS:GPSImgDirection"_s, direction, 1e-9));
            QVERIFY(tells(read, u"Composite:GPSAltitude"_s, height, 1e-9));
            QVERIFY(!read.contains(u"GPS:GPSLatitude"_s)); // which is the pod's own
            QCOMPARE(read[u"Composite:GPSDateTime"_s], u"2023:11:14 22:13:20.123Z"_s);
        }
    }
}

QTEST_GUILESS_MAIN(TestReaders)
#include "tst_readers.moc"
