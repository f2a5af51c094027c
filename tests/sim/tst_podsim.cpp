// The simulator as the console meets it: commands become states and replies, faults do as told.

#include "CMain.h"
#include "PodSim.h"
#include "SignalLog.h"
#include "link/ICommunication.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPointF>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>

#include <numeric>
#include <tuple>

using namespace Qt::StringLiterals;

namespace {

constexpr int kWaitMs = 20000;
const QString kHost = u"127.0.0.1"_s;

QJsonObject stateOf(PodSim &pod)
{
    return QJsonDocument::fromJson(pod.fault(u"state"_s).toUtf8()).object();
}

} // namespace

class TestPodsim : public QObject
{
    Q_OBJECT

private slots:
    void commandsMoveTheModel_data();
    void commandsMoveTheModel();
    void queriesAreAnswered();
    void consolesComeAndGo();
    void linesGoBad();
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
    QTRY_VERIFY_WITH_TIMEOUT(qAbs(backend.yaw()) > 2, kWaitMs);
    QVERIFY(backend.yaw() > 0); // the other way round it would get there too
    backend.zoomIn(8);
    QTRY_VERIFY_WITH_TIMEOUT(backend.zoom() > 1.5, kWaitMs);
    backend.stopMove();
    backend.zoomStop();
    QTRY_COMPARE_WITH_TIMEOUT(stateOf(pod).value(u"zooming"_s), QJsonValue(false), kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(stateOf(pod).value(u"moving"_s), QJsonValue(false), kWaitMs);
    backend.gimbalSetToPitchYaw(-45, 120);
    QTRY_COMPARE_WITH_TIMEOUT(QPointF(backend.pitch(), backend.yaw()), QPointF(-45, 120), kWaitMs);
    backend.oneKeyDown();
    QTRY_COMPARE_WITH_TIMEOUT(QPointF(backend.pitch(), backend.yaw()), QPointF(-90, 0), kWaitMs);
    QTRY_COMPARE_WITH_TIMEOUT(backend.workMode(), u"Down"_s, kWaitMs);

    // Switches and settings.
    backend.startRecord();
    backend.pointtrack(10, 200);
    QTRY_VERIFY_WITH_TIMEOUT(backend.recording() && backend.tracking(), kWaitMs);
    backend.takePhoto();
    backend.setHZH(1);
    backend.setWC(2);
    backend.osdClose();
    backend.clearFrogOpen();
    backend.laserLightOpen();
    backend.setFrameSize(3);
    backend.setTime();
    backend.gimbalSetOff();
    QTRY_COMPARE_WITH_TIMEOUT(stateOf(pod).value(u"motor"_s), QJsonValue(false), kWaitMs);
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
    PodSim pod(u"--no-video --model 3 --rate 0"_s.split(u' '));
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

void TestPodsim::consolesComeAndGo()
{
    PodSim pod(u"--no-video --pty --status 03 --rate 20"_s.split(u' '));
    for (const QString &how : {u"close"_s, u"close"_s, u"fin"_s, u"rst"_s, u"fin"_s}) {
        const bool serial = how == "close"_L1;
        CMain backend;
        QVERIFY(serial ? backend.connectSerial(pod.ptyPath())
                       : backend.connectTCP(kHost, pod.controlPort()));
        QTRY_VERIFY_WITH_TIMEOUT(backend.targetAltitude() != 0, kWaitMs);
        if (serial)
            continue;
        pod.fault(u"control drop "_s + how);
        QTRY_VERIFY_WITH_TIMEOUT(!backend.isConnected(), kWaitMs);
    }
    CMain backend;
    pod.fault(u"control refuse on"_s);
    QVERIFY(!backend.connectTCP(kHost, pod.controlPort()));
    pod.fault(u"control refuse off"_s);
    QVERIFY(backend.connectTCP(kHost, pod.controlPort()));

    const QSignalSpy statuses(backend.findChild<ICommunication *>(), &ICommunication::dataReceived);
    QElapsedTimer passed;
    passed.start();
    QTRY_VERIFY_WITH_TIMEOUT(statuses.size() >= 11, kWaitMs);
    QVERIFY2(passed.elapsed() > 400, "faster than 20 a second");
    const QByteArray frame = statuses[0][0].toByteArray().first(37);
    QVERIFY(frame.startsWith("\xEE\x03\x25"));
    QCOMPARE(frame.back(), std::accumulate(frame.begin(), frame.end() - 1, '\0'));
}

void TestPodsim::linesGoBad()
{
    PodSim pod({u"--no-video"_s, u"--rate"_s, u"0"_s});
    CMain backend;
    QVERIFY(backend.connectTCP(kHost, pod.controlPort()));
    auto *link = backend.findChild<ICommunication *>();
    QSignalSpy deliveries(link, &ICommunication::dataReceived);
    const auto next = [&](int count) {
        QList<qsizetype> sizes;
        while (sizes.size() < count && (!deliveries.isEmpty() || deliveries.wait(kWaitMs)))
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

    SignalLog raised(backend, CMain::staticMetaObject);
    pod.fault(u"control corrupt 1"_s);
    backend.querySbusData();
    QCOMPARE(next(1), QList<qsizetype>{28});
    QCOMPARE(raised.take(), QString());
    pod.fault(u"control delay 300"_s);
    QElapsedTimer passed;
    passed.start();
    backend.querySbusData();
    QCOMPARE(next(1), QList<qsizetype>{28});
    QVERIFY(passed.elapsed() >= 290);
    QCOMPARE(raised.take(), u"sbusPitchIndexChanged()"_s);

    // Commands survive whatever surrounds them.
    link->sendData(QByteArray::fromHex("FF011201000099 00 FF0112 EE82 FF011200000013"));
    QTRY_COMPARE_WITH_TIMEOUT(stateOf(pod).value(u"photos"_s), QJsonValue(1), kWaitMs);
    QCOMPARE(stateOf(pod).value(u"recording"_s), QJsonValue(false)); // its checksum was wrong
}

void TestPodsim::commandLine()
{
    const std::tuple<QString, int, QString> cases[] = {
        {u"--help"_s, 0, u"--pty-link"_s},
        {u"--no-such"_s, 2, u"no-such"_s},
        {u"extra"_s, 2, u"extra"_s},
        {u"--port 70000"_s, 2, u"--port"_s},
        {u"--status 0A"_s, 2, u"01 or 03"_s},
        {u"--rate often"_s, 2, u"--rate"_s},
        {u"--size 1x1"_s, 2, u"--size"_s},
        {u"--no-video --port 0 --fault-port 0 --fault nonsense"_s, 1, u"nonsense"_s},
    };
    for (const auto &[arguments, exitCode, says] : cases) {
        QProcess process;
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(QStringLiteral(PODSIM_EXECUTABLE), arguments.split(u' '));
        QVERIFY(process.waitForFinished(kWaitMs));
        const QString output = QString::fromUtf8(process.readAll());
        QVERIFY2(output.contains(says) && process.exitCode() == exitCode, qPrintable(output));
    }
}

QTEST_GUILESS_MAIN(TestPodsim)
#include "tst_podsim.moc"
