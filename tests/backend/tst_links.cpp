// Both links against real far ends: pseudo terminals and sockets, healthy and ill.

#include "LogCatcher.h"
#include "PtyPair.h"
#include "SignalLog.h"
#include "SilentListener.h"
#include "TcpPeer.h"
#include "link/SerialCommunication.h"
#include "link/TCPCommunication.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

#include <cerrno>
#include <memory>
#include <numeric>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr int kWaitMs = 20000;
const QString kHost = u"127.0.0.1"_s;
const QString kUp = u"connectionChanged(true)"_s;
const QString kDown = u"connectionChanged(false)"_s;

QByteArray numbered(qsizetype count)
{
    QByteArray bytes(count, '\0');
    std::iota(bytes.begin(), bytes.end(), '\1');
    return bytes;
}

} // namespace

class TestLinks : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void serialReadsBlocks();
    void serialSends();
    void serialDeviceIsMissing();
    void serialErrors();
    void tcpPassesEverythingOn();
    void tcpConnectFails();
    void tcpErrors();
    void tcpPeerThatDoesNotRead();

private:
    std::unique_ptr<PtyPair> m_line;
    std::unique_ptr<SerialCommunication> m_serial;
    std::unique_ptr<SignalLog> m_serialRaised;
    std::unique_ptr<TcpPeer> m_pod;
    std::unique_ptr<TCPCommunication> m_tcp;
    std::unique_ptr<SignalLog> m_tcpRaised;
};

void TestLinks::init()
{
    m_line = std::make_unique<PtyPair>();
    m_serial = std::make_unique<SerialCommunication>();
    m_serialRaised = std::make_unique<SignalLog>(*m_serial, ICommunication::staticMetaObject);
    m_pod = std::make_unique<TcpPeer>();
    m_tcp = std::make_unique<TCPCommunication>();
    m_tcpRaised = std::make_unique<SignalLog>(*m_tcp, ICommunication::staticMetaObject);
}

void TestLinks::serialReadsBlocks()
{
    QVERIFY(m_serial->connectTo(m_line->slavePath(), 115200));
    QSignalSpy blocks(m_serial.get(), &ICommunication::dataReceived);
    // Cut, and what was cut off is lost; or padded with zeros.
    for (const int length : {1, 5, 36, 37, 38, 80, 4}) {
        m_line->send(numbered(length));
        QTRY_COMPARE_WITH_TIMEOUT(blocks.size(), 1, kWaitMs);
        QByteArray expected = numbered(std::min(length, 37));
        expected.resize(37, '\0');
        QCOMPARE(blocks.takeFirst()[0].toByteArray(), expected);
    }
}

void TestLinks::serialSends()
{
    const QString refusal = u"errorOccurred(串口未连接，无法发送数据)"_s;
    m_serial->sendData("lost");
    QCOMPARE(m_serialRaised->take(), refusal);
    QVERIFY(m_serial->connectTo(m_line->slavePath(), 57600));
    const auto *port = m_serial->findChild<QSerialPort *>();
    QCOMPARE(QVariantList({port->baudRate(), port->dataBits(), port->parity(), port->stopBits(),
                           port->flowControl()}),
             QVariantList({57600, QSerialPort::Data8, QSerialPort::NoParity, QSerialPort::OneStop,
                           QSerialPort::NoFlowControl}));
    m_serial->sendData(QByteArray::fromHex("FF010008"));
    m_serial->sendData(QByteArray::fromHex("00204A"));
    QTRY_COMPARE_WITH_TIMEOUT(m_line->received(), QByteArray::fromHex("FF01000800204A"), kWaitMs);
    QCOMPARE(m_serialRaised->take(), kUp);

    // A second connect moves to the other port.
    PtyPair other;
    QVERIFY(m_serial->connectTo(other.slavePath(), 115200));
    m_serial->sendData("x");
    QTRY_COMPARE_WITH_TIMEOUT(other.received(), "x", kWaitMs);
    m_serial->disconnectFrom();
    m_serial->sendData("lost");
    m_serial->disconnectFrom();
    QCOMPARE(m_serialRaised->take(), QStringList({kUp, kDown, refusal, kDown}).join(u' '));
}

void TestLinks::serialDeviceIsMissing()
{
    const QString text = qt_error_string(ENOENT);
    // A port name of this run alone: ports are locked by name while they are opened.
    const qint64 own = QCoreApplication::applicationPid();
    QVERIFY(!m_serial->connectTo(u"/dev/no-such-port-%1"_s.arg(own), 115200));
    QCOMPARE(m_serialRaised->take(),
             u"errorOccurred(串口连接丢失: %1) %2 errorOccurred(%1)"_s.arg(text, kDown));

    // The failure leaves a link that opens; then its device vanishes.
    QVERIFY(m_serial->connectTo(m_line->slavePath(), 115200));
    m_serialRaised->take();
    m_line->unplug();
    QTRY_VERIFY_WITH_TIMEOUT(!m_serial->isConnected(), kWaitMs);
    // Once, and under its own name, although the port goes on about read errors.
    QCOMPARE(m_serialRaised->take(),
             kDown + u" errorOccurred(串口连接丢失: %1)"_s.arg(qt_error_string(EIO)));
    QVERIFY(m_serial->connectTo(PtyPair().slavePath(), 115200));
}

void TestLinks::serialErrors()
{
    using Port = QSerialPort;
    const QList ending = {Port::DeviceNotFoundError, Port::PermissionError, Port::OpenError,
                          Port::ResourceError};
    const QList others = {Port::WriteError,   Port::ReadError,    Port::UnsupportedOperationError,
                          Port::TimeoutError, Port::NotOpenError, Port::UnknownError};
    for (const Port::SerialPortError error : ending + others + QList{Port::NoError}) {
        QVERIFY(m_serial->connectTo(m_line->slavePath(), 115200));
        m_serialRaised->take();
        auto *port = m_serial->findChild<Port *>();
        port->errorOccurred(error);
        const bool ends = ending.contains(error);
        const QString expected = error == Port::NoError ? QString()
                                 : ends ? kDown + u" errorOccurred(串口连接丢失: %1)"_s
                                        : u"errorOccurred(%1)"_s;
        // The port, healthy in truth, has a text of its own for it.
        QCOMPARE(m_serialRaised->take(), expected.arg(port->errorString()));
        QVERIFY(m_serial->isConnected() != ends && port->isOpen() != ends);
    }
}

void TestLinks::tcpPassesEverythingOn()
{
    m_tcp->disconnectFrom();
    m_tcp->sendData("lost");
    QCOMPARE(m_tcpRaised->take(), kDown + u" errorOccurred(TCP未连接)"_s);
    // Only the low 16 bits of the port count. A second connect closes the first.
    for (const int port : {m_pod->port(), m_pod->port() + 0x10000}) {
        QVERIFY(m_tcp->connectTo(kHost, port));
        QVERIFY(m_pod->accept());
        QVERIFY(m_tcp->isConnected());
        QVERIFY(m_tcpRaised->take().endsWith(kDown + u' ' + kUp + u' ' + kUp));
    }
    m_tcp->sendData(QByteArray::fromHex("FF01006000"));
    QCOMPARE(m_pod->receive(5), QByteArray::fromHex("FF01006000"));
    QSignalSpy deliveries(m_tcp.get(), &ICommunication::dataReceived);
    for (const int length : {1, 37, 200}) {
        m_pod->send(numbered(length));
        QTRY_COMPARE_WITH_TIMEOUT(deliveries.size(), 1, kWaitMs);
        QCOMPARE(deliveries.takeFirst()[0].toByteArray(), numbered(length));
    }
}

void TestLinks::tcpConnectFails()
{
    const int closedPort = TcpPeer().port();
    QVERIFY(!m_tcp->connectTo(kHost, closedPort));
    QCOMPARE(m_tcpRaised->take(), kDown + u" errorOccurred(Connection refused)"_s);

    const SilentListener silent;
    QTimer everyMoment;
    everyMoment.start(20);
    const QSignalSpy turns(&everyMoment, &QTimer::timeout);
    QElapsedTimer waited;
    waited.start();
    QVERIFY(!m_tcp->connectTo(kHost, silent.port()));
    QVERIFY(waited.elapsed() >= 2900 && waited.elapsed() < kWaitMs);
    QVERIFY2(turns.size() > 20, "events wait for the connect"); // of about 150
    QCOMPARE(m_tcpRaised->take(), kDown + u" errorOccurred(Socket operation timed out)"_s);
    QVERIFY(!m_tcp->isConnected());
    // Nothing of the attempt is left to succeed later.
    QVERIFY(m_tcp->connectTo(kHost, m_pod->port()));
}

void TestLinks::tcpErrors()
{
    const std::pair<QAbstractSocket::SocketError, bool> errors[] = {
        {QAbstractSocket::RemoteHostClosedError, false},
        {QAbstractSocket::SocketTimeoutError, false},
        {QAbstractSocket::NetworkError, true},
        {QAbstractSocket::SocketResourceError, true},
        {QAbstractSocket::UnknownSocketError, true},
    };
    for (const auto &[error, ends] : errors) {
        QVERIFY(m_tcp->connectTo(kHost, m_pod->port()));
        m_tcpRaised->take();
        const LogCatcher log;
        auto *socket = m_tcp->findChild<QTcpSocket *>();
        for (int pass = 0; pass < 2; ++pass)
            socket->errorOccurred(error);
        // An ended link has nothing more to lose: the second error is only logged.
        const QString expected = kDown + u" errorOccurred(%1)"_s.arg(socket->errorString());
        QCOMPARE(m_tcpRaised->take(), ends ? expected : QString());
        QCOMPARE(log.count(u"TCP错误:"_s), 2);
        QCOMPARE(m_tcp->isConnected(), !ends);
    }
}

void TestLinks::tcpPeerThatDoesNotRead()
{
    QVERIFY(m_tcp->connectTo(kHost, m_pod->port()));
    QVERIFY(m_pod->accept());
    m_pod->stopReading();
    const auto *socket = m_tcp->findChild<QTcpSocket *>();
    const QByteArray block(1 << 20, 'x');
    for (int i = 0; i < 64 && socket->bytesToWrite() == 0; ++i)
        m_tcp->sendData(block);
    QVERIFY2(socket->bytesToWrite() > 0, "the line never filled up");

    m_tcpRaised->take();
    m_tcp->disconnectFrom();
    QCOMPARE(m_tcpRaised->take(), kDown);
    QVERIFY(!m_tcp->isConnected());
    TcpPeer other;
    QVERIFY(m_tcp->connectTo(kHost, other.port()));
    QVERIFY(other.accept());
    m_tcp->sendData("fresh");
    QCOMPARE(other.receive(5), "fresh");
}

QTEST_GUILESS_MAIN(TestLinks)
#include "tst_links.moc"
