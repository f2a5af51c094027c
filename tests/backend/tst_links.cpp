// Both links against real far ends, healthy and ill: no pod is left moving, the newest wish wins.

#include "CaseTrace.h"
#include "ChildProcess.h"
#include "Files.h"
#include "PtyPair.h"
#include "SignalLog.h"
#include "SilentListener.h"
#include "TcpPeer.h"
#include "backend/CMain.h"
#include "link/SerialCommunication.h"
#include "link/TCPCommunication.h"

#include <QDeadlineTimer>
#include <QSignalSpy>
#include <QTest>

#include <cerrno>
#include <memory>
#include <utility>

#include <netinet/tcp.h>
#include <sched.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int kWaitMs = 20000;
constexpr int kPromptlyMs = 2000; // of the 3000 that a silent address takes
const QString kHost = u"127.0.0.1"_s;
const QString kUp = u"connectionChanged(true)"_s;
const QString kDown = u"connectionChanged(false)"_s;
const QByteArray kStops = QByteArray::fromHex("ff010000000001 ff010060000061 ff011d04000022");

/// A link without a backend, and what it reports.
template<typename Transport>
struct Link : Transport
{
    SignalLog raised{*this, ICommunication::staticMetaObject};
};

void addRows(const QString &wishes)
{
    QTest::addColumn<QString>("wish");
    for (const QString &wish : wishes.split(u' '))
        QTest::newRow(qPrintable(wish)) << wish;
}

} // namespace

class TestLinks : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_pod = std::make_unique<TcpPeer>();
        m_line = std::make_unique<PtyPair>();
        m_backend = std::make_unique<CMain>();
    }
    void serialLink();
    void serialErrors();
    void tcpLink();
    void backendTellsOfItsLink();
    void closingALinkStopsThePod_data() { addRows(u"disconnect type reset connect quit"_s); }
    void closingALinkStopsThePod();
    void nextLinkBeginsWithTheStop_data()
    {
        addRows(u"lost found disconnect type reset connect"_s);
    }
    void nextLinkBeginsWithTheStop();
    void stopsGoToTheirOwnPod();
    void newerWishEndsAConnect_data() { addRows(u"connect disconnect type reset serial quit"_s); }
    void newerWishEndsAConnect();
    void linkReplacedByItsSignal_data() { addRows(u"lost disconnect reset type connect reply"_s); }
    void linkReplacedByItsSignal();
    void vanishedPeerIsNoticed();

private:
    bool connectTcp() { return m_backend->connectTCP(kHost, m_pod->port()) && m_pod->accept(); }
    /// Does to the link what an operator may at any moment; true when it connected.
    bool obey(const QString &wish);

    std::unique_ptr<TcpPeer> m_pod;
    std::unique_ptr<PtyPair> m_line;
    std::unique_ptr<CMain> m_backend;
};

bool TestLinks::obey(const QString &wish)
{
    if (wish == "connect"_L1)
        return m_backend->connectTCP(kHost, m_pod->port());
    if (wish == "serial"_L1)
        return m_backend->connectSerial(m_line->slavePath());
    if (wish == "disconnect"_L1)
        m_backend->disconnect();
    else if (wish == "type"_L1)
        m_backend->setConnectionType(u"Serial"_s);
    else if (wish == "reset"_L1)
        m_backend->resetConnection();
    else if (wish == "quit"_L1)
        m_backend.reset();
    else if (wish == "lost"_L1)
        m_pod->close();
    else if (wish == "reply"_L1)
        m_pod->send(QByteArray::fromHex("ee060b000101020003070d"));
    else
        m_pod->reset();
    return false;
}

void TestLinks::serialLink()
{
    Link<SerialCommunication> link;
    QVERIFY(link.connectTo(PtyPair().slavePath(), 115200));
    QVERIFY(link.connectTo(m_line->slavePath(), 57600));
    const auto *port = link.findChild<QSerialPort *>();
    QVERIFY(port->baudRate() == 57600 && port->parity() == QSerialPort::NoParity
            && port->stopBits() == QSerialPort::OneStop && port->dataBits() == QSerialPort::Data8
            && port->flowControl() == QSerialPort::NoFlowControl);
    link.sendData(QByteArray::fromHex("FF0100080020"));
    link.sendData(QByteArray::fromHex("4A"));
    QTRY_COMPARE_WITH_TIMEOUT(m_line->received(), QByteArray::fromHex("FF01000800204A"), kWaitMs);
    // What comes is cut, and the rest lost; or padded with zeros.
    QSignalSpy blocks(&link, &ICommunication::dataReceived);
    for (const int length : {36, 37, 38, 80, 4}) {
        m_line->send(mixedBytes(length));
        QTRY_COMPARE_WITH_TIMEOUT(blocks.size(), 1, kWaitMs);
        const QByteArray expected = mixedBytes(std::min(length, 37)).leftJustified(37, '\0');
        QCOMPARE(blocks.takeFirst()[0].toByteArray(), expected);
    }
}

void TestLinks::serialErrors()
{
    using Port = QSerialPort;
    const QString lost = u"errorOccurred(串口连接丢失: %1)"_s;
    const QString other = u"errorOccurred(%1)"_s;
    Link<SerialCommunication> link;
    link.sendData("lost");
    QCOMPARE(link.raised.take(), other.arg(u"串口未连接，无法发送数据"_s));
    // A port name of this run alone: ports are locked by name while they are opened.
    QVERIFY(!link.connectTo(u"/dev/none-%1"_s.arg(QCoreApplication::applicationPid()), 115200));
    QCOMPARE(link.raised.take(),
             QStringList({lost, kDown, other}).join(u' ').arg(qt_error_string(ENOENT)));
    int count = 0;
    for (const auto error :
         {Port::DeviceNotFoundError, Port::PermissionError, Port::OpenError, Port::ResourceError,
          Port::WriteError, Port::ReadError, Port::TimeoutError, Port::UnknownError}) {
        const bool ends = ++count <= 4;
        QVERIFY(link.connectTo(m_line->slavePath(), 115200));
        link.raised.take();
        auto *port = link.findChild<Port *>();
        port->errorOccurred(error);
        // The port, healthy in truth, has a text of its own for it.
        QCOMPARE(link.raised.take(), (ends ? kDown + u' ' + lost : other).arg(port->errorString()));
        QVERIFY(link.isConnected() != ends && port->isOpen() != ends);
    }
    m_line->unplug();
    QTRY_VERIFY_WITH_TIMEOUT(!link.isConnected(), kWaitMs);
    // Once, and under its own name, although the port goes on about read errors.
    QCOMPARE(link.raised.take(), kDown + u' ' + lost.arg(qt_error_string(EIO)));
    // Closing raises no errors, even with bytes that do not leave: nobody reads, or nobody is left.
    for (const bool unplugs : {false, true}) {
        m_line = std::make_unique<PtyPair>();
        QVERIFY(link.connectTo(m_line->slavePath(), 115200));
        link.sendData(QByteArray(1 << 20, 'x'));
        QTest::qWait(0);
        link.raised.take();
        if (unplugs)
            m_line->unplug();
        link.disconnectFrom();
        QCoreApplication::processEvents();
        QCOMPARE(link.raised.take(), kDown);
    }
}

void TestLinks::tcpLink()
{
    Link<TCPCommunication> link;
    link.sendData("lost");
    QCOMPARE(link.raised.take(), u"errorOccurred(TCP未连接)"_s);
    const SilentListener silent;
    for (const auto &[port, error] : {std::pair(TcpPeer().port(), "Connection refused"),
                                      {silent.port(), "Socket operation timed out"}}) {
        QVERIFY(!link.connectTo(kHost, port));
        QCOMPARE(link.raised.take(), kDown + u" errorOccurred(%1)"_s.arg(QLatin1StringView(error)));
    }
    QVERIFY(link.connectTo(kHost, m_pod->port()) && m_pod->accept());
    QCOMPARE(link.raised.take(), QStringList({kDown, kUp, kUp}).join(u' '));
    auto *socket = link.findChild<QTcpSocket *>();
    // How soon a command leaves, and a vanished peer is noticed: by what the system says.
    for (const auto &[option, expected] : {std::pair(TCP_NODELAY, 1),
                                           {TCP_KEEPIDLE, 2},
                                           {TCP_KEEPINTVL, 2},
                                           {TCP_KEEPCNT, 3},
                                           {TCP_USER_TIMEOUT, 8000}}) {
        int value = 0;
        socklen_t size = sizeof value;
        getsockopt(int(socket->socketDescriptor()), SOL_TCP, option, &value, &size);
        QCOMPARE(value, expected);
    }
    QSignalSpy deliveries(&link, &ICommunication::dataReceived);
    for (const int length : {1, 37, 200}) {
        m_pod->send(mixedBytes(length));
        QTRY_COMPARE_WITH_TIMEOUT(deliveries.size(), 1, kWaitMs);
        QCOMPARE(deliveries.takeFirst()[0].toByteArray(), mixedBytes(length));
    }
    m_pod->stopReading();
    socket->write(QByteArray(64 << 20, 'x')); // at once: a slow peer is taken for a lost one
    socket->flush();
    QVERIFY2(socket->bytesToWrite() > 0, "the line never filled up");
    // What waits there holds up no new connection. Only the low 16 bits of a port count.
    TcpPeer other;
    QVERIFY(link.connectTo(kHost, other.port() + 0x10000) && other.accept());
    link.sendData("fresh");
    QCOMPARE(other.receive(5), "fresh");
}

void TestLinks::backendTellsOfItsLink()
{
    SignalLog raised(*m_backend, CMain::staticMetaObject);
    const QString ended = kDown + u" b7nIPAddressChanged() versionChanged() "_s;
    const QString up = kUp + u' ' + kUp;
    QVERIFY(m_backend->connectSerial(m_line->slavePath()));
    QCOMPARE(m_backend->findChild<ICommunication *>()->findChild<QSerialPort *>()->baudRate(),
             115200);
    QCOMPARE(raised.take(), up);
    QVERIFY(connectTcp());
    QCOMPARE(raised.take(), u"connectionTypeChanged(TCP) "_s + ended + up);
    QCOMPARE(m_backend->findChildren<ICommunication *>().size(), 1); // the old one is gone
    for (const QString &same : {u"TCP"_s, u"serial"_s, u"Serial "_s, QString()})
        m_backend->setConnectionType(same);
    m_backend->resetConnection();
    QCOMPARE(raised.take(), ended + kDown);
    QVERIFY(connectTcp());
    m_backend->disconnect();
    // For a moment a second one is refused, although there is something to disconnect again.
    QVERIFY(connectTcp());
    m_backend->disconnect();
    QVERIFY(m_backend->isConnected());
    QTRY_VERIFY_WITH_TIMEOUT((m_backend->disconnect(), !m_backend->isConnected()), 2000);
    // Undone at once by who hears of it, of the kind or of the link: not connected after all.
    for (const bool tcp : {true, false}) {
        const auto undo = [=, this] { m_backend->setConnectionType(tcp ? u"Serial"_s : u"TCP"_s); };
        undo();
        raised.take();
        connect(m_backend.get(), &CMain::connectionTypeChanged, this, undo,
                Qt::SingleShotConnection);
        QVERIFY(!(tcp ? connectTcp() : m_backend->connectSerial(m_line->slavePath())));
        QVERIFY(raised.take().endsWith(tcp ? u"不是TCP模式)"_s : u"不是串口模式)"_s));
    }
    connect(m_backend.get(), &CMain::connectionChanged, this,
            [this] { m_backend->setConnectionType(u"TCP"_s); });
    QVERIFY(!m_backend->connectSerial(m_line->slavePath()) && !m_backend->isConnected());
}

void TestLinks::closingALinkStopsThePod()
{
    QFETCH(QString, wish);
    const auto moveZoomAndFocus = [this] {
        m_backend->moveUp(0x20);
        m_backend->zoomIn(4);
        m_backend->manualFocusNear();
    };
    QVERIFY(m_backend->connectSerial(m_line->slavePath()));
    moveZoomAndFocus();
    QVERIFY(connectTcp());
    QCOMPARE(m_line->received().last(21), kStops);
    moveZoomAndFocus();
    m_pod->receive(42); // it may be the line's pod, and begins with its stops
    obey(wish);
    QCOMPARE(m_pod->receive(kStops.size() + 1), kStops); // until the end
}

void TestLinks::nextLinkBeginsWithTheStop()
{
    QFETCH(QString, wish); // a loss, noticed or found by the next write; by hand, as good as dead
    for (const QString &released : {u"held"_s, u"before"_s, u"after"_s}) { // relative to the end
        const CaseTrace trace(released);
        init();
        QVERIFY(connectTcp());
        m_backend->moveUp(0x20);
        if (released == "before"_L1)
            m_backend->stopMove();
        m_pod->receive(7);
        if (wish != "connect"_L1)
            obey(wish);
        if (wish == "lost"_L1)
            QTRY_VERIFY_WITH_TIMEOUT(!m_backend->isConnected(), kWaitMs);
        if (released == "after"_L1 || wish == "found"_L1)
            m_backend->stopMove();
        // Whatever the interface sends as soon as it is told of the link comes after the stop.
        connect(m_backend.get(), &CMain::connectionChanged, this, [&](bool up) {
            if (up)
                m_backend->takePhoto();
        });
        QVERIFY(connectTcp());
        QVERIFY(m_pod->receive(14).startsWith(kStops.first(7) + QByteArray::fromHex("ff0112")));
    }
}

void TestLinks::stopsGoToTheirOwnPod()
{
    const QByteArray start = QByteArray::fromHex("ff010008002029");
    const QByteArray stop = kStops.first(7);
    TcpPeer other;
    QVERIFY(connectTcp());
    m_backend->moveUp(0x20);
    m_backend->disconnect();
    QVERIFY(m_backend->connectTCP(kHost, other.port()) && other.accept());
    m_backend->takePhoto();
    QCOMPARE(other.receive(7), QByteArray::fromHex("ff011200000013"));
    // A serial line may lead to either, and pays for neither. Reopened it ends what went over it.
    QVERIFY(m_backend->connectSerial(m_line->slavePath()));
    m_backend->moveUp(0x20);
    QVERIFY(m_backend->connectSerial(m_line->slavePath()));
    QTRY_COMPARE_WITH_TIMEOUT(m_line->received(), stop + start + stop + stop, kWaitMs);
    QVERIFY(connectTcp());
    QCOMPARE(m_pod->receive(7), stop);
}

void TestLinks::newerWishEndsAConnect()
{
    QFETCH(QString, wish);
    const SilentListener silent;
    const QSignalSpy errors(m_backend.get(), &CMain::sbusDataError);
    bool connected = false;
    QTimer::singleShot(100, this, [&] { connected = obey(wish); });
    const QDeadlineTimer promptly(kPromptlyMs);
    QVERIFY(!m_backend->connectTCP(kHost, silent.port()));
    QVERIFY(!promptly.hasExpired());
    QCOMPARE(errors.size(), 0); // what the operator has replaced did not fail
    QCOMPARE(connected, wish == "connect"_L1 || wish == "serial"_L1);
    QCOMPARE(m_backend && m_backend->isConnected(), connected);
}

void TestLinks::linkReplacedByItsSignal()
{
    QFETCH(QString, wish);
    for (const QString &reaction : {u"type"_s, u"reset"_s}) {
        const CaseTrace trace(reaction);
        init();
        QVERIFY(connectTcp());
        bool reacted = false;
        connect(m_backend.get(), &CMain::versionChanged, this, [&] {
            if (!std::exchange(reacted, true))
                obey(reaction);
        });
        obey(wish);
        QTRY_VERIFY_WITH_TIMEOUT(reacted, kWaitMs);
        // One link is left, and it works.
        QTRY_COMPARE_WITH_TIMEOUT(m_backend->findChildren<ICommunication *>().size(), 1, kWaitMs);
        QVERIFY(m_backend->connectTCP(kHost, m_pod->port()) && m_backend->isConnected());
    }
}

void TestLinks::vanishedPeerIsNoticed()
{
    const auto loopback = [](const QString &state) {
        return ChildProcess(u"ip"_s, {u"link"_s, u"set"_s, u"lo"_s, state}).succeeds(kWaitMs);
    };
    // The last test: its thread stays in this network.
    if (unshare(CLONE_NEWNET) != 0 || !loopback(u"up"_s))
        QSKIP("no network of one's own here");
    init();
    // With a command on its way, and with nothing to send: two different clocks of the system's.
    CMain silent;
    TcpPeer silentPod;
    QVERIFY(connectTcp() && silent.connectTCP(kHost, silentPod.port()) && silentPod.accept());
    QVERIFY(loopback(u"down"_s));
    m_backend->moveUp(0x20);
    QTRY_VERIFY_WITH_TIMEOUT(!silent.isConnected() && !m_backend->isConnected(), kWaitMs);
    QVERIFY(loopback(u"up"_s) && connectTcp());
    QCOMPARE(m_pod->receive(7), kStops.first(7));
    // Dead and then closed by hand: what was written into it stays owed, a stop like a motion.
    for (const int owed : {14, 21}) {
        const CaseTrace trace("owed ", owed);
        QVERIFY(loopback(u"down"_s));
        m_backend->zoomIn(4);
        m_backend->zoomStop();
        if (owed == 21)
            m_backend->manualFocusNear();
        m_backend->disconnect();
        QVERIFY(loopback(u"up"_s) && connectTcp());
        QCOMPARE(m_pod->receive(owed), kStops.first(owed));
    }
    // Nor does it keep the console from ending.
    QVERIFY(loopback(u"down"_s));
    m_backend->moveUp(0x20);
    const QDeadlineTimer promptly(kPromptlyMs);
    m_backend.reset();
    QVERIFY(!promptly.hasExpired());
}

QTEST_GUILESS_MAIN(TestLinks)
#include "tst_links.moc"
