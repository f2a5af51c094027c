// The simulator as the console meets it: commands become states and replies, faults do as told.

#include "CMain.h"
#include "PodSim.h"
#include "SignalLog.h"
#include "link/ICommunication.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

constexpr int kWaitMs = 20000;
const QString kHost = u"127.0.0.1"_s;

QJsonObject stateOf(PodSim &pod)
{
    return QJsonDocument::fromJson(pod.fault(u"state"_s).toUtf8()).object();
}

bool reaches(PodSim &pod, const QString &key, const QJsonValue &value)
{
    return QTest::qWaitFor([&] { return stateOf(pod).value(key) == value; }, kWaitMs);
}

/// What the backend's link delivers, one entry for each delivery.
QSignalSpy deliveriesTo(CMain &backend)
{
    return QSignalSpy(backend.findChild<ICommunication *>(), &ICommunication::dataReceived);
}

} // namespace

class TestPodsim : public QObject
{
    Q_OBJECT

private slots:
    void commandsMoveTheModel_data();
    void commandsMoveTheModel();
    void queriesAreAnswered();
    void statusFramesCome_data();
    void statusFramesCome();
    void consolesComeAndGo();
    void linesGoBad();
    void commandLine_data();
    void commandLine();
};

void TestPodsim::commandsMoveTheModel_data()
{
    QTest::addColumn<bool>("serial");
    QTest::newRow("tcp") << false;
    QTest::newRow("pty") << true;
}

void TestPodsim::commandsMoveTheModel()
{
    QFETCH(bool, serial);
    PodSim pod({u"--no-video"_s, u"--pty"_s});
    CMain backend;
    QVERIFY(serial ? backend.connectSerial(pod.ptyPath())
                   : backend.connectTCP(kHost, pod.controlPort()));
    // Motion, and its report; up is positive.
    QTRY_VERIFY_WITH_TIMEOUT(backend.targetAltitude() != 0, kWaitMs);
    QCOMPARE(backend.pitch(), 0.0);
    backend.moveUp(255);
    QTRY_VERIFY_WITH_TIMEOUT(backend.pitch() > 2, kWaitMs);
    backend.moveRight(255);
    QTRY_VERIFY_WITH_TIMEOUT(backend.yaw() > 2, kWaitMs);
    backend.stopMove();
    QVERIFY(reaches(pod, u"moving"_s, false));
    backend.zoomIn(8);
    QTRY_VERIFY_WITH_TIMEOUT(backend.zoom() > 1.5, kWaitMs);
    backend.zoomStop();
    QVERIFY(reaches(pod, u"zooming"_s, false));
    backend.gimbalSetToPitchYaw(-45, 120);
    QTRY_VERIFY_WITH_TIMEOUT(
        qFuzzyCompare(backend.pitch(), -45.0) && qFuzzyCompare(backend.yaw(), 120.0), kWaitMs);
    backend.oneKeyDown();
    QTRY_VERIFY_WITH_TIMEOUT(qFuzzyCompare(backend.pitch(), -90.0) && backend.yaw() == 0, kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(backend.workMode(), u"Down"_s, kWaitMs);

    // Switches and settings.
    backend.startRecord();
    QTRY_VERIFY_WITH_TIMEOUT(backend.recording(), kWaitMs);
    backend.pointtrack(10, 200);
    QTRY_VERIFY_WITH_TIMEOUT(backend.tracking(), kWaitMs);
    backend.takePhoto();
    backend.setHZH(1);
    backend.setWC(2);
    backend.osdClose();
    backend.clearFrogOpen();
    backend.laserLightOpen();
    backend.setFrameSize(3);
    backend.setTime();
    backend.gimbalSetOff();
    QVERIFY(reaches(pod, u"motor"_s, false));
    const QJsonObject state = stateOf(pod);
    const QJsonObject expected = {
        {u"photos"_s, 1},   {u"pictureMode"_s, 1},   {u"palette"_s, 2},   {u"osd"_s, false},
        {u"defog"_s, true}, {u"laserLight"_s, true}, {u"frameSize"_s, 3}, {u"recording"_s, true}};
    for (auto it = expected.begin(); it != expected.end(); ++it)
        QVERIFY2(state.value(it.key()) == it.value(), qPrintable(it.key()));
    const QDateTime clock = QDateTime::fromString(state.value(u"clock"_s).toString(), Qt::ISODate);
    QVERIFY(qAbs(clock.secsTo(QDateTime::currentDateTime())) < 30);
}

void TestPodsim::queriesAreAnswered()
{
    PodSim pod({u"--no-video"_s, u"--model"_s, u"3"_s});
    CMain backend;
    QVERIFY(backend.connectTCP(kHost, pod.controlPort()));
    backend.queryVersion();
    QTRY_COMPARE_WITH_TIMEOUT(backend.versionno(), u"T-Cedar-0102000307"_s, kWaitMs);
    backend.queryB7N();
    QTRY_COMPARE_WITH_TIMEOUT(backend.b7nIPAddress(), u"127.00.00.01"_s, kWaitMs);
    backend.setB7N({192, 168, 1, 10, 3, 2, 1, 192, 168, 1, 1});
    backend.queryB7N();
    QTRY_COMPARE_WITH_TIMEOUT(backend.b7nGateWay(), u"192.168.01.01"_s, kWaitMs);
    QCOMPARE(backend.b7nBitRateIndex(), 2);
    QVariantList channels;
    for (int i = 0; i < 24; ++i)
        channels.append(100 + i);
    backend.setSbus(channels);
    backend.querySbusData();
    QTRY_COMPARE_WITH_TIMEOUT(backend.sbusOsdIndex(), 112, kWaitMs);
    QCOMPARE(stateOf(pod).value(u"sbus"_s).toArray().toVariantList(), channels);
}

void TestPodsim::statusFramesCome_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<QByteArray>("header");
    QTest::addColumn<int>("length");
    QTest::newRow("01") << u"01"_s << QByteArray::fromHex("EE011D") << 29;
    QTest::newRow("03") << u"03"_s << QByteArray::fromHex("EE0325") << 37;
}

void TestPodsim::statusFramesCome()
{
    QFETCH(QString, type);
    QFETCH(QByteArray, header);
    QFETCH(int, length);
    PodSim pod({u"--no-video"_s, u"--status"_s, type, u"--rate"_s, u"20"_s});
    CMain backend;
    QVERIFY(backend.connectTCP(kHost, pod.controlPort()));
    const QSignalSpy deliveries = deliveriesTo(backend);
    QElapsedTimer passed;
    passed.start();
    QTRY_VERIFY_WITH_TIMEOUT(deliveries.size() >= 11, kWaitMs);
    QVERIFY2(passed.elapsed() > 400, "faster than 20 a second");
    const QByteArray frame = deliveries[5][0].toByteArray();
    QVERIFY(frame.startsWith(header));
    QCOMPARE(frame.size(), length);
    quint8 sum = 0;
    for (const char byte : frame.chopped(1))
        sum = quint8(sum + quint8(byte));
    QCOMPARE(quint8(frame.back()), sum);
}

void TestPodsim::consolesComeAndGo()
{
    PodSim pod({u"--no-video"_s, u"--pty"_s});
    for (int pass = 0; pass < 3; ++pass) {
        CMain backend;
        QVERIFY(backend.connectSerial(pod.ptyPath()));
        QTRY_VERIFY_WITH_TIMEOUT(backend.targetAltitude() != 0, kWaitMs);
    }
    for (const auto *how : {"fin", "rst", "fin"}) {
        CMain backend;
        QVERIFY(backend.connectTCP(kHost, pod.controlPort()));
        QTRY_VERIFY_WITH_TIMEOUT(backend.targetAltitude() != 0, kWaitMs);
        pod.fault(u"control drop "_s + QString::fromLatin1(how));
        QTRY_VERIFY_WITH_TIMEOUT(!backend.isConnected(), kWaitMs);
    }
    CMain backend;
    pod.fault(u"control refuse on"_s);
    QVERIFY(!backend.connectTCP(kHost, pod.controlPort()));
    pod.fault(u"control refuse off"_s);
    QVERIFY(backend.connectTCP(kHost, pod.controlPort()));
}

void TestPodsim::linesGoBad()
{
    PodSim pod({u"--no-video"_s, u"--rate"_s, u"0"_s});
    CMain backend;
    QVERIFY(backend.connectTCP(kHost, pod.controlPort()));
    QSignalSpy deliveries = deliveriesTo(backend);
    const auto next = [&](int count) {
        QList<qsizetype> sizes;
        if (!QTest::qWaitFor([&] { return deliveries.size() >= count; }, kWaitMs))
            return sizes;
        while (!deliveries.isEmpty())
            sizes.append(deliveries.takeFirst()[0].toByteArray().size());
        return sizes;
    };

    pod.fault(u"control split on"_s);
    backend.queryVersion();
    QCOMPARE(next(2), (QList<qsizetype>{5, 6}));
    QCOMPARE(backend.versionno(), QString());
    pod.fault(u"control split off"_s);

    pod.fault(u"control join on"_s);
    backend.queryVersion();
    backend.queryB7N();
    QCOMPARE(next(1), QList<qsizetype>{26});
    pod.fault(u"control join off"_s);

    pod.fault(u"control corrupt 1"_s);
    SignalLog raised(backend, CMain::staticMetaObject);
    backend.querySbusData();
    QCOMPARE(next(1), QList<qsizetype>{28});
    QVERIFY(raised.isEmpty());

    pod.fault(u"control delay 300"_s);
    QElapsedTimer passed;
    passed.start();
    backend.querySbusData();
    QCOMPARE(next(1), QList<qsizetype>{28});
    QVERIFY(passed.elapsed() >= 290);
    QCOMPARE(raised.take(), u"sbusPitchIndexChanged()"_s);

    // Commands survive whatever surrounds them.
    backend.findChild<ICommunication *>()->sendData(
        QByteArray::fromHex("00 FF0112 EE82 FF011200000014"
                            "FF01120000 0013"));
    QVERIFY(reaches(pod, u"photos"_s, 1));
}

void TestPodsim::commandLine_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("says");
    QTest::newRow("help") << u"--help"_s << 0 << u"--pty-link"_s;
    QTest::newRow("unknown option") << u"--no-such"_s << 2 << u"no-such"_s;
    QTest::newRow("extra word") << u"extra"_s << 2 << u"extra"_s;
    QTest::newRow("port") << u"--port 70000"_s << 2 << u"--port"_s;
    QTest::newRow("status") << u"--status 0A"_s << 2 << u"01 or 03"_s;
    QTest::newRow("rate") << u"--rate often"_s << 2 << u"--rate"_s;
    QTest::newRow("size") << u"--size 1x1"_s << 2 << u"--size"_s;
    QTest::newRow("fault") << u"--no-video --port 0 --fault-port 0 --fault nonsense"_s << 1
                           << u"nonsense"_s;
}

void TestPodsim::commandLine()
{
    QFETCH(QString, arguments);
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(QStringLiteral(PODSIM_EXECUTABLE), arguments.split(u' '));
    QVERIFY(process.waitForFinished(kWaitMs));
    QTEST(process.exitCode(), "exitCode");
    QFETCH(QString, says);
    QVERIFY(QString::fromUtf8(process.readAll()).contains(says));
}

QTEST_GUILESS_MAIN(TestPodsim)
#include "tst_podsim.moc"
