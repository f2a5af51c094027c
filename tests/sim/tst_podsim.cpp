// The simulator as the console meets it: commands become states and replies, faults do as told.

#include "PodSim.h"
#include "backend/CMain.h"
#include "link/ICommunication.h"

#include <QPointF>
#include <QSignalSpy>
#include <QTest>

#include <numeric>

using namespace Qt::StringLiterals;

namespace {

constexpr int kWaitMs = 20000;
const QString kHost = u"127.0.0.1"_s;

} // namespace

class TestPodsim : public QObject
{
    Q_OBJECT

private slots:
    void consolesComeAndGo();
    void queriesAreAnsweredOnBadLinesToo();
};

void TestPodsim::consolesComeAndGo()
{
    PodSim pod(u"--no-video --pty --status 03 --rate 100"_s.split(u' '));
    int photos = 0;
    for (const QString &how : {u"close"_s, u"close"_s, u"fin"_s, u"rst"_s, u"fin"_s}) {
        const bool serial = how == "close"_L1;
        CMain backend;
        QVERIFY(serial ? backend.connectSerial(pod.ptyPath())
                       : backend.connectTCP(kHost, pod.controlPort()));
        const auto *link = backend.findChild<ICommunication *>();
        const QSignalSpy statuses(link, &ICommunication::dataReceived);
        backend.takePhoto();
        ++photos;
        QTRY_COMPARE_WITH_TIMEOUT(pod.state(u"photos"_s), photos, kWaitMs);
        QTRY_VERIFY_WITH_TIMEOUT(!statuses.isEmpty(), kWaitMs);
        if (serial)
            continue;
        const QByteArray frame = statuses[0][0].toByteArray().first(37);
        QVERIFY(frame.startsWith("\xEE\x03\x25"));
        QCOMPARE(frame.back(), std::accumulate(frame.begin(), frame.end() - 1, '\0'));
        pod.fault(u"control drop "_s + how);
        QTRY_VERIFY_WITH_TIMEOUT(!backend.isConnected(), kWaitMs);
    }
    CMain backend;
    pod.fault(u"control refuse on"_s);
    QVERIFY(!backend.connectTCP(kHost, pod.controlPort()));
    pod.fault(u"control refuse off"_s);
    QVERIFY(backend.connectTCP(kHost, pod.controlPort()));
    // What the window's own flights leave out.
    backend.pointtrack(10, 200);
    backend.gimbalSetToPitchYaw(-45, 120);
    QTRY_COMPARE_WITH_TIMEOUT(QPointF(backend.pitch(), backend.yaw()), QPointF(-45, 120), kWaitMs);
    QVERIFY(backend.tracking());
}

void TestPodsim::queriesAreAnsweredOnBadLinesToo()
{
    PodSim pod(u"--no-video --model 3 --rate 0"_s.split(u' '));
    CMain backend;
    QVERIFY(backend.connectTCP(kHost, pod.controlPort()));
    backend.queryVersion();
    QTRY_COMPARE_WITH_TIMEOUT(backend.versionno(), u"T-Cedar-0102000307"_s, kWaitMs);
    QVariantList channels(24, 100);
    channels[12] = 112;
    backend.setSbus(channels);
    auto *link = backend.findChild<ICommunication *>();
    QSignalSpy replies(link, &ICommunication::dataReceived);
    pod.fault(u"control corrupt 1"_s);
    backend.querySbusData();
    QVERIFY(replies.wait(kWaitMs));
    QVERIFY(backend.sbusOsdIndex() != 112);
    pod.fault(u"control delay 300"_s);
    const QDeadlineTimer held(290);
    backend.querySbusData();
    QVERIFY(replies.wait(kWaitMs));
    QVERIFY(held.hasExpired());
    QCOMPARE(backend.sbusOsdIndex(), 112);
    // Commands survive whatever surrounds them; one has a wrong checksum.
    link->sendData(QByteArray::fromHex("FF011201000099 00 FF0112 EE82 FF011200000013"));
    QTRY_COMPARE_WITH_TIMEOUT(pod.state(u"photos"_s), 1, kWaitMs);
    QCOMPARE(pod.state(u"recording"_s), false);
}

QTEST_GUILESS_MAIN(TestPodsim)
#include "tst_podsim.moc"
