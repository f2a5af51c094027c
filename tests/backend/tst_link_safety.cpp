// What must hold while links come and go: no pod is left moving, and the newest wish wins.

#include "CMain.h"
#include "PtyPair.h"
#include "SilentListener.h"
#include "TcpPeer.h"
#include "link/ICommunication.h"
#include "protocol/MotionLedger.h"

#include <QElapsedTimer>
#include <QHash>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

#include <functional>
#include <memory>
#include <utility>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

using namespace Qt::StringLiterals;
using protocol::Command;
using protocol::MotionLedger;

namespace {

constexpr int kWaitMs = 20000;
constexpr int kPromptlyMs = 2000; // of the 3000 that a silent address takes
const QString kHost = u"127.0.0.1"_s;
// Up, zoom in, focus near; and the stops of all three.
const QByteArray kMotions = QByteArray::fromHex("ff010008002029 ff010040040045 ff011d02000020");
const QByteArray kStops = QByteArray::fromHex("ff010000000001 ff010060000061 ff011d04000022");

void moveZoomAndFocus(CMain &backend)
{
    backend.moveUp(0x20);
    backend.zoomIn(4);
    backend.manualFocusNear();
}

void addWishes(const QStringList &wishes)
{
    QTest::addColumn<QString>("wish");
    for (const QString &wish : wishes)
        QTest::newRow(qPrintable(wish)) << wish;
}

} // namespace

class TestLinkSafety : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void ledger();
    void closingALinkStopsThePod_data()
    {
        addWishes({u"disconnect"_s, u"type"_s, u"reset"_s, u"connect"_s, u"quit"_s});
    }

    void closingALinkStopsThePod();
    void closingASerialLinkStopsThePod();
    void linkLostInAMotionBeginsWithTheStop_data()
    {
        addWishes({u"hold"_s, u"release before the loss is known"_s, u"release after it"_s});
    }

    void linkLostInAMotionBeginsWithTheStop();
    void newerWishEndsAConnect_data()
    {
        addWishes({u"connect"_s, u"disconnect"_s, u"type"_s, u"reset"_s, u"serial"_s, u"quit"_s});
    }

    void newerWishEndsAConnect();
    void linkReplacedByItsOwnSignal_data();
    void linkReplacedByItsOwnSignal();
    void vanishedPeerIsNoticed();

private:
    bool connectTcp() { return m_backend->connectTCP(kHost, m_pod->port()) && m_pod->accept(); }
    /// Does to the link what an operator may at any moment; true when it connected.
    bool obey(const QString &wish);

    std::unique_ptr<TcpPeer> m_pod;
    std::unique_ptr<PtyPair> m_line;
    std::unique_ptr<CMain> m_backend;
};

void TestLinkSafety::init()
{
    m_pod = std::make_unique<TcpPeer>();
    m_line = std::make_unique<PtyPair>();
    m_backend = std::make_unique<CMain>();
}

bool TestLinkSafety::obey(const QString &wish)
{
    const QHash<QString, std::function<bool()>> ways = {
        {u"connect"_s, [this] { return m_backend->connectTCP(kHost, m_pod->port()); }},
        {u"serial"_s, [this] { return m_backend->connectSerial(m_line->slavePath()); }},
        {u"disconnect"_s, [this] { return m_backend->disconnect(), false; }},
        {u"type"_s, [this] { return m_backend->setConnectionType(u"Serial"_s), false; }},
        {u"reset"_s, [this] { return m_backend->resetConnection(), false; }},
        {u"quit"_s, [this] { return m_backend.reset(), false; }},
        {u"pod closes"_s, [this] { return m_pod->close(), false; }},
    };
    return ways.value(wish)();
}

void TestLinkSafety::ledger()
{
    using Stops = std::array<std::optional<Command>, MotionLedger::kMotions>;
    MotionLedger motions;
    motions.linkLost(5); // nothing ever moved
    QCOMPARE(motions.owedStops(), Stops());
    for (const Command command :
         {Command::ZoomOut, Command::MoveLeftUp, Command::ManualFocusFar, Command::TakePhoto})
        motions.sent(command, 0);
    QCOMPARE(motions.owedStops(),
             (Stops{Command::StopMove, Command::ZoomStop, Command::ManualFocusStop}));
    motions.sent(Command::ZoomStop, 10);
    motions.sent(Command::StopMove, 5000);
    motions.sent(Command::StopMove, 90000); // of nothing: proves nothing
    QCOMPARE(motions.owedStops(), (Stops{std::nullopt, std::nullopt, Command::ManualFocusStop}));
    motions.linkLost(5000 + MotionLedger::kUncertainMs);
    QCOMPARE(motions.owedStops(),
             (Stops{Command::StopMove, std::nullopt, Command::ManualFocusStop}));
}

void TestLinkSafety::closingALinkStopsThePod()
{
    QFETCH(QString, wish);
    QVERIFY(connectTcp());
    moveZoomAndFocus(*m_backend);
    QCOMPARE(m_pod->receive(kMotions.size()), kMotions);
    obey(wish);
    QCOMPARE(m_pod->receive(kStops.size() + 1), kStops); // until the end
    if (wish == "reset"_L1) {                            // a pod that stands still gets none
        QVERIFY(connectTcp());
        obey(wish);
        QCOMPARE(m_pod->receive(1), QByteArray());
    }
}

void TestLinkSafety::closingASerialLinkStopsThePod()
{
    QVERIFY(m_backend->connectSerial(m_line->slavePath()));
    moveZoomAndFocus(*m_backend);
    m_backend->disconnect();
    QCOMPARE(m_line->received(), kMotions + kStops);
}

void TestLinkSafety::linkLostInAMotionBeginsWithTheStop()
{
    QFETCH(QString, wish);
    QVERIFY(connectTcp());
    m_backend->moveUp(0x20);
    if (wish.startsWith("release before"_L1))
        m_backend->stopMove();
    m_pod->receive(7);
    m_pod->reset();
    QTRY_VERIFY_WITH_TIMEOUT(!m_backend->isConnected(), kWaitMs);
    if (wish == "release after it"_L1)
        m_backend->stopMove(); // refused

    // Whatever the interface sends as soon as it is told of the link comes after the stop.
    connect(m_backend.get(), &CMain::connectionChanged, this, [&](bool up) {
        if (up)
            m_backend->takePhoto();
    });
    QVERIFY(connectTcp());
    QVERIFY(m_pod->receive(14).startsWith(kStops.first(7) + QByteArray::fromHex("ff0112")));
}

void TestLinkSafety::newerWishEndsAConnect()
{
    QFETCH(QString, wish);
    const SilentListener silent;
    const QSignalSpy errors(m_backend.get(), &CMain::sbusDataError);
    bool connected = false;
    QTimer::singleShot(100, this, [&] { connected = obey(wish); });
    QElapsedTimer timer;
    timer.start();
    QVERIFY(!m_backend->connectTCP(kHost, silent.port()));
    QVERIFY(timer.elapsed() < kPromptlyMs);
    QCOMPARE(errors.size(), 0); // what the operator has replaced did not fail
    QCOMPARE(connected, wish == "connect"_L1 || wish == "serial"_L1);
    if (!m_backend)
        return;
    QCOMPARE(m_backend->isConnected(), connected);
    QVERIFY(m_backend->connectTCP(kHost, m_pod->port())); // all is as usual afterwards
}

void TestLinkSafety::linkReplacedByItsOwnSignal_data()
{
    QTest::addColumn<QString>("cause");
    QTest::addColumn<QString>("reaction");
    for (const char *cause : {"pod closes", "disconnect", "reset", "type", "connect"}) {
        for (const char *reaction : {"type", "reset"})
            QTest::addRow("%s, %s", cause, reaction)
                << QString::fromLatin1(cause) << QString::fromLatin1(reaction);
    }
}

void TestLinkSafety::linkReplacedByItsOwnSignal()
{
    QFETCH(QString, cause);
    QFETCH(QString, reaction);
    QVERIFY(connectTcp());
    bool reacted = false;
    connect(m_backend.get(), &CMain::connectionChanged, this, [&](bool up) {
        if (!up && !std::exchange(reacted, true))
            obey(reaction);
    });
    obey(cause);
    QTRY_VERIFY_WITH_TIMEOUT(reacted, kWaitMs);
    // One link is left, and it works.
    QTRY_COMPARE_WITH_TIMEOUT(m_backend->findChildren<ICommunication *>().size(), 1, kWaitMs);
    QVERIFY(m_backend->connectTCP(kHost, m_pod->port()));
    QVERIFY(m_backend->isConnected());
}

void TestLinkSafety::vanishedPeerIsNoticed()
{
    QVERIFY(connectTcp());
    const auto *socket = m_backend->findChild<QTcpSocket *>();
    const auto option = [&](int level, int name) {
        int value = 0;
        socklen_t length = sizeof value;
        getsockopt(int(socket->socketDescriptor()), level, name, &value, &length);
        return value;
    };
    QCOMPARE(option(SOL_SOCKET, SO_KEEPALIVE), 1);
    const int probesS = option(IPPROTO_TCP, TCP_KEEPCNT) * option(IPPROTO_TCP, TCP_KEEPINTVL);
    QVERIFY(option(IPPROTO_TCP, TCP_KEEPIDLE) + probesS < 10);
    const int unacknowledgedMs = option(IPPROTO_TCP, TCP_USER_TIMEOUT);
    QVERIFY(unacknowledgedMs > 0 && unacknowledgedMs < 10000);
    QCOMPARE(option(IPPROTO_TCP, TCP_NODELAY), 1);
}

QTEST_GUILESS_MAIN(TestLinkSafety)
#include "tst_link_safety.moc"
