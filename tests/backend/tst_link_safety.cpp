// What must hold while links come and go: no pod is left moving, and the newest wish wins.

#include "CMain.h"
#include "PtyPair.h"
#include "SilentListener.h"
#include "TcpPeer.h"
#include "protocol/MotionLedger.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTcpSocket>
#include <QTest>
#include <QTimer>

#include <functional>
#include <memory>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

using namespace Qt::StringLiterals;
using protocol::Command;
using protocol::MotionLedger;

namespace {

constexpr int kPromptlyMs = 2000; // of the 3000 that a silent address takes
const QString kHost = u"127.0.0.1"_s;
const QByteArray kUp = QByteArray::fromHex("ff010008002029");
const QByteArray kZoomIn = QByteArray::fromHex("ff010040040045");
const QByteArray kFocusNear = QByteArray::fromHex("ff011d02000020");
const QByteArray kStopMove = QByteArray::fromHex("ff010000000001");
const QByteArray kZoomStop = QByteArray::fromHex("ff010060000061");
const QByteArray kFocusStop = QByteArray::fromHex("ff011d04000022");

void moveZoomAndFocus(CMain &backend)
{
    backend.moveUp(0x20);
    backend.zoomIn(4);
    backend.manualFocusNear();
}

const QByteArray kMotions = kUp + kZoomIn + kFocusNear;
const QByteArray kStops = kStopMove + kZoomStop + kFocusStop;

} // namespace

class TestLinkSafety : public QObject
{
    Q_OBJECT

private slots:
    void ledger();
    void closingALinkStopsThePod_data();
    void closingALinkStopsThePod();
    void closingASerialLinkStopsThePod();
    void linkLostInAMotionBeginsWithTheStop_data();
    void linkLostInAMotionBeginsWithTheStop();
    void stopThatCouldNotBeSentIsOwed();
    void newerWishEndsAConnect_data();
    void newerWishEndsAConnect();
    void eventsGoOnWhileConnecting();
    void vanishedPeerIsNoticed();
};

void TestLinkSafety::ledger()
{
    const auto owed = [](const MotionLedger &motions) {
        QList<Command> stops;
        for (const auto &stop : motions.owedStops()) {
            if (stop)
                stops.append(*stop);
        }
        return stops;
    };
    MotionLedger motions;
    motions.linkLost(5); // nothing ever moved
    QCOMPARE(owed(motions), QList<Command>());
    motions.sent(Command::ZoomOut, 0);
    motions.sent(Command::MoveLeftUp, 0);
    motions.sent(Command::ManualFocusFar, 0);
    motions.sent(Command::TakePhoto, 0);
    QCOMPARE(owed(motions),
             (QList{Command::StopMove, Command::ZoomStop, Command::ManualFocusStop}));
    motions.sent(Command::ZoomStop, 10);
    motions.sent(Command::StopMove, 5000);
    motions.sent(Command::StopMove, 90000); // of nothing: proves nothing
    QCOMPARE(owed(motions), QList{Command::ManualFocusStop});
    motions.linkLost(5000 + MotionLedger::kUncertainMs);
    QCOMPARE(owed(motions), (QList{Command::StopMove, Command::ManualFocusStop}));
}

void TestLinkSafety::closingALinkStopsThePod_data()
{
    QTest::addColumn<QString>("how");
    for (const char *how : {"disconnect", "type", "reset", "reconnect", "quit", "standing still"})
        QTest::newRow(how) << QString::fromLatin1(how);
}

void TestLinkSafety::closingALinkStopsThePod()
{
    QFETCH(QString, how);
    const bool moves = how != "standing still"_L1;
    TcpPeer pod;
    TcpPeer other;
    auto backend = std::make_unique<CMain>();
    QVERIFY(backend->connectTCP(kHost, pod.port()));
    QVERIFY(pod.accept());
    moveZoomAndFocus(*backend);
    if (!moves) {
        backend->stopMove();
        backend->zoomStop();
        backend->manualFocusStop();
    }
    QCOMPARE(pod.receive(kMotions.size() + (moves ? 0 : kStops.size())),
             moves ? kMotions : kMotions + kStops);
    if (how == "type"_L1)
        backend->setConnectionType(u"Serial"_s);
    else if (how == "reset"_L1)
        backend->resetConnection();
    else if (how == "reconnect"_L1)
        backend->connectTCP(kHost, other.port());
    else if (how == "quit"_L1)
        backend.reset();
    else
        backend->disconnect();
    QCOMPARE(pod.receive(kStops.size() + 1), moves ? kStops : QByteArray()); // until the end
}

void TestLinkSafety::closingASerialLinkStopsThePod()
{
    PtyPair line;
    CMain backend;
    QVERIFY(backend.connectSerial(line.slavePath()));
    moveZoomAndFocus(backend);
    backend.disconnect();
    QCOMPARE(line.received(), kMotions + kStops);
}

void TestLinkSafety::linkLostInAMotionBeginsWithTheStop_data()
{
    QTest::addColumn<bool>("released");
    QTest::newRow("key still held") << false;
    QTest::newRow("stop sent into a dead line") << true;
}

void TestLinkSafety::linkLostInAMotionBeginsWithTheStop()
{
    QFETCH(bool, released);
    TcpPeer pod;
    CMain backend;
    QVERIFY(backend.connectTCP(kHost, pod.port()));
    QVERIFY(pod.accept());
    backend.moveUp(0x20);
    if (released)
        backend.stopMove();
    pod.receive(released ? 14 : 7);
    pod.reset();
    QTRY_VERIFY(!backend.isConnected());

    // Whatever the interface sends as soon as it is told of the link comes after the stop.
    connect(&backend, &CMain::connectionChanged, &backend, [&](bool up) {
        if (up)
            backend.takePhoto();
    });
    QVERIFY(backend.connectTCP(kHost, pod.port()));
    QVERIFY(pod.accept());
    QVERIFY(pod.receive(14).startsWith(kStopMove + QByteArray::fromHex("ff0112")));
}

void TestLinkSafety::stopThatCouldNotBeSentIsOwed()
{
    TcpPeer pod;
    CMain backend;
    QVERIFY(backend.connectTCP(kHost, pod.port()));
    QVERIFY(pod.accept());
    backend.zoomIn(4);
    pod.receive(7);
    pod.close();
    QTRY_VERIFY(!backend.isConnected());
    backend.zoomStop(); // refused
    QVERIFY(backend.connectTCP(kHost, pod.port()));
    QVERIFY(pod.accept());
    QCOMPARE(pod.receive(7), kZoomStop);
}

void TestLinkSafety::newerWishEndsAConnect_data()
{
    QTest::addColumn<QString>("wish");
    for (const char *wish : {"connect", "disconnect", "type", "reset", "serial", "destroy"})
        QTest::newRow(wish) << QString::fromLatin1(wish);
}

void TestLinkSafety::newerWishEndsAConnect()
{
    QFETCH(QString, wish);
    const SilentListener silent;
    TcpPeer pod;
    PtyPair line;
    auto backend = std::make_unique<CMain>();
    QSignalSpy errors(backend.get(), &CMain::sbusDataError);
    bool inner = false;
    QTimer::singleShot(100, this, [&] {
        if (wish == "connect"_L1)
            inner = backend->connectTCP(kHost, pod.port());
        else if (wish == "disconnect"_L1)
            backend->disconnect();
        else if (wish == "type"_L1)
            backend->setConnectionType(u"Serial"_s);
        else if (wish == "reset"_L1)
            backend->resetConnection();
        else if (wish == "serial"_L1)
            inner = backend->connectSerial(line.slavePath());
        else
            backend.reset();
    });
    QElapsedTimer timer;
    timer.start();
    QVERIFY(!backend->connectTCP(kHost, silent.port()));
    QVERIFY(timer.elapsed() < kPromptlyMs);
    QCOMPARE(errors.size(), 0); // what the operator has replaced did not fail
    if (!backend)
        return;
    const bool connects = wish == "connect"_L1 || wish == "serial"_L1;
    QCOMPARE(inner, connects);
    QCOMPARE(backend->isConnected(), connects);
    QVERIFY(backend->connectTCP(kHost, pod.port())); // all is as usual afterwards
}

void TestLinkSafety::eventsGoOnWhileConnecting()
{
    const SilentListener silent;
    CMain backend;
    int ticks = 0;
    QTimer timer;
    connect(&timer, &QTimer::timeout, this, [&] { ++ticks; });
    timer.start(20);
    QVERIFY(!backend.connectTCP(kHost, silent.port()));
    QVERIFY2(ticks > 20, qPrintable(QString::number(ticks))); // of about 150
}

void TestLinkSafety::vanishedPeerIsNoticed()
{
    TcpPeer pod;
    CMain backend;
    QVERIFY(backend.connectTCP(kHost, pod.port()));
    const auto *socket = backend.findChild<QTcpSocket *>();
    const auto option = [&](int level, int name) {
        int value = 0;
        socklen_t length = sizeof value;
        getsockopt(int(socket->socketDescriptor()), level, name, &value, &length);
        return value;
    };
    QCOMPARE(option(SOL_SOCKET, SO_KEEPALIVE), 1);
    QVERIFY(option(IPPROTO_TCP, TCP_KEEPIDLE)
                + option(IPPROTO_TCP, TCP_KEEPCNT) * option(IPPROTO_TCP, TCP_KEEPINTVL)
            < 10);
    const int unacknowledgedMs = option(IPPROTO_TCP, TCP_USER_TIMEOUT);
    QVERIFY(unacknowledgedMs > 0 && unacknowledgedMs < 10000);
    QCOMPARE(option(IPPROTO_TCP, TCP_NODELAY), 1);
}

QTEST_GUILESS_MAIN(TestLinkSafety)
#include "tst_link_safety.moc"
