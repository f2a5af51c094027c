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

#include <sys/socket.h>

#include <cerrno>
#include <memory>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

constexpr int kWaitMs = 20000;
const QString kHost = u"127.0.0.1"_s;
// Of this run alone: ports are locked by name while they are opened.
const QString kMissingPort = u"/dev/no-such-port-%1"_s.arg(QCoreApplication::applicationPid());
const QString kUp = u"connectionChanged(true)"_s;
const QString kDown = u"connectionChanged(false)"_s;

QByteArray numbered(qsizetype count)
{
    QByteArray bytes(count, '\0');
    for (qsizetype i = 0; i < count; ++i)
        bytes[i] = static_cast<char>(i + 1);
    return bytes;
}

} // namespace

class TestLinks : public QObject
{
    Q_OBJECT

private slots:
    void serialReadsBlocks_data();
    void serialReadsBlocks();
    void serialSends();
    void serialOpensAgainWhileOpen();
    void serialOpenFails();
    void serialErrors_data();
    void serialErrors();
    void serialDeviceVanishes();

    void tcpPassesEverythingOn();
    void tcpRefused();
    void tcpSilentAddress();
    void tcpPeerEnds_data();
    void tcpPeerEnds();
    void tcpErrors_data();
    void tcpErrors();
    void closedUnconnected();
    void tcpPeerThatDoesNotRead();
};

void TestLinks::serialReadsBlocks_data()
{
    QTest::addColumn<int>("length");
    for (const int length : {1, 5, 36, 37, 38, 80})
        QTest::addRow("%d bytes", length) << length;
}

void TestLinks::serialReadsBlocks()
{
    QFETCH(int, length);
    PtyPair line;
    SerialCommunication link;
    QVERIFY(link.connectTo(line.slavePath(), 115200));
    const QSignalSpy blocks(&link, &ICommunication::dataReceived);
    const LogCatcher log;
    line.send(numbered(length));
    QTRY_COMPARE_WITH_TIMEOUT(blocks.size(), 1, kWaitMs);
    // Cut, or padded with zeros.
    QByteArray expected = numbered(std::min(length, 37));
    expected.resize(37, '\0');
    QCOMPARE(blocks[0][0].toByteArray(), expected);
    QVERIFY(log.contains(u"串口收到数据: 37 字节"_s));

    // What was cut off is lost; the next block begins with the next read.
    line.send("next");
    QTRY_COMPARE_WITH_TIMEOUT(blocks.size(), 2, kWaitMs);
    QVERIFY(blocks[1][0].toByteArray().startsWith("next"));
}

void TestLinks::serialSends()
{
    PtyPair line;
    SerialCommunication link;
    SignalLog raised(link, ICommunication::staticMetaObject);
    const LogCatcher log;
    QCOMPARE(link.typeName(), u"Serial"_s);
    link.sendData("lost");
    QCOMPARE(raised.take(), u"errorOccurred(串口未连接，无法发送数据)"_s);

    QVERIFY(link.connectTo(line.slavePath(), 57600));
    const auto *port = link.findChild<QSerialPort *>();
    QCOMPARE(port->baudRate(), 57600);
    QCOMPARE(port->dataBits(), QSerialPort::Data8);
    QCOMPARE(port->parity(), QSerialPort::NoParity);
    QCOMPARE(port->stopBits(), QSerialPort::OneStop);
    QCOMPARE(port->flowControl(), QSerialPort::NoFlowControl);
    link.sendData(QByteArray::fromHex("FF010008"));
    link.sendData(QByteArray::fromHex("00204A"));
    QTRY_COMPARE_WITH_TIMEOUT(line.received(), QByteArray::fromHex("FF01000800204A"), kWaitMs);
    QVERIFY(log.contains(u"Serial write: \"ff010008\""_s));
    QVERIFY(log.contains(u"串口连接成功:"_s));
    QCOMPARE(raised.take(), kUp);

    link.disconnectFrom();
    QCOMPARE(raised.take(), kDown);
    QVERIFY(log.contains(u"串口已断开"_s));
    link.sendData("lost");
    QCOMPARE(raised.take(), u"errorOccurred(串口未连接，无法发送数据)"_s);
}

void TestLinks::serialOpensAgainWhileOpen()
{
    PtyPair first;
    PtyPair second;
    SerialCommunication link;
    SignalLog raised(link, ICommunication::staticMetaObject);
    const LogCatcher log;
    const QString forced = u"串口还在打开状态，强制关闭"_s;
    QVERIFY(link.connectTo(first.slavePath(), 115200));
    QVERIFY(!log.contains(forced));
    QVERIFY(link.connectTo(second.slavePath(), 115200));
    QCOMPARE(log.count(forced), 1);
    QCOMPARE(raised.take(), kUp + u' ' + kUp);
    link.sendData("x");
    QTRY_COMPARE_WITH_TIMEOUT(second.received(), "x", kWaitMs);
    QCOMPARE(first.received(), QByteArray());
}

void TestLinks::serialOpenFails()
{
    SerialCommunication link;
    SignalLog raised(link, ICommunication::staticMetaObject);
    const LogCatcher log;
    QVERIFY(!link.connectTo(kMissingPort, 115200));
    const QString text = qt_error_string(ENOENT);
    QCOMPARE(raised.take(),
             u"errorOccurred(串口连接丢失: %1) %2 errorOccurred(%1)"_s.arg(text, kDown));
    QVERIFY(log.contains(u"串口连接失败: \"%1\""_s.arg(text)));
    QVERIFY(!link.isConnected());
    // The failure leaves a link that opens.
    PtyPair line;
    QVERIFY(link.connectTo(line.slavePath(), 115200));
    QVERIFY(link.isConnected());
}

void TestLinks::serialErrors_data()
{
    QTest::addColumn<QSerialPort::SerialPortError>("error");
    QTest::addColumn<bool>("endsLink");
    QTest::newRow("none") << QSerialPort::NoError << false;
    QTest::newRow("no device") << QSerialPort::DeviceNotFoundError << true;
    QTest::newRow("permission") << QSerialPort::PermissionError << true;
    QTest::newRow("open") << QSerialPort::OpenError << true;
    QTest::newRow("resource") << QSerialPort::ResourceError << true;
    QTest::newRow("write") << QSerialPort::WriteError << false;
    QTest::newRow("read") << QSerialPort::ReadError << false;
    QTest::newRow("unsupported") << QSerialPort::UnsupportedOperationError << false;
    QTest::newRow("time-out") << QSerialPort::TimeoutError << false;
    QTest::newRow("not open") << QSerialPort::NotOpenError << false;
    QTest::newRow("unknown") << QSerialPort::UnknownError << false;
}

void TestLinks::serialErrors()
{
    QFETCH(QSerialPort::SerialPortError, error);
    QFETCH(bool, endsLink);
    PtyPair line;
    SerialCommunication link;
    QVERIFY(link.connectTo(line.slavePath(), 115200));
    SignalLog raised(link, ICommunication::staticMetaObject);
    const LogCatcher log;
    auto *port = link.findChild<QSerialPort *>();
    port->errorOccurred(error);
    // The port, healthy in truth, has a text of its own for it.
    const QString text = port->errorString();
    if (error == QSerialPort::NoError)
        QVERIFY(raised.isEmpty() && !log.contains(u"串口错误:"_s));
    else if (endsLink)
        QCOMPARE(raised.take(), kDown + u" errorOccurred(串口连接丢失: %1)"_s.arg(text));
    else
        QCOMPARE(raised.take(), u"errorOccurred(%1)"_s.arg(text));
    QCOMPARE(link.isConnected(), !endsLink);
    QCOMPARE(port->isOpen(), !endsLink);
    QCOMPARE(log.contains(u"串口已强制关闭"_s), endsLink);
    QCOMPARE(log.contains(u"串口其他错误，连接可能仍在"_s),
             !endsLink && error != QSerialPort::NoError);
    if (error != QSerialPort::NoError) {
        const char *name = QMetaEnum::fromType<QSerialPort::SerialPortError>().valueToKey(error);
        QVERIFY(log.contains(u"错误码: QSerialPort::"_s + QString::fromLatin1(name)));
    }
}

void TestLinks::serialDeviceVanishes()
{
    PtyPair line;
    SerialCommunication link;
    QVERIFY(link.connectTo(line.slavePath(), 115200));
    SignalLog raised(link, ICommunication::staticMetaObject);
    line.unplug();
    QTRY_VERIFY_WITH_TIMEOUT(!link.isConnected(), kWaitMs);
    // Once, and under its own name, although the port goes on about read errors.
    QCOMPARE(raised.take(),
             kDown + u" errorOccurred(串口连接丢失: %1)"_s.arg(qt_error_string(EIO)));
    const PtyPair next;
    QVERIFY(link.connectTo(next.slavePath(), 115200));
}

void TestLinks::tcpPassesEverythingOn()
{
    TcpPeer pod;
    TCPCommunication link;
    SignalLog raised(link, ICommunication::staticMetaObject);
    const LogCatcher log;
    QCOMPARE(link.typeName(), u"TCP"_s);
    link.sendData("lost");
    QCOMPARE(raised.take(), u"errorOccurred(TCP未连接)"_s);

    // Only the low 16 bits of the port count. A second connect closes the first.
    for (const int port : {pod.port(), pod.port() + 0x10000}) {
        QVERIFY(link.connectTo(kHost, port));
        QVERIFY(pod.accept());
        QVERIFY(link.isConnected());
        QVERIFY(raised.take().endsWith(kDown + u' ' + kUp + u' ' + kUp));
    }
    auto *socket = link.findChild<QTcpSocket *>();
    QCOMPARE(socket->socketOption(QAbstractSocket::LowDelayOption).toInt(), 1);
    QVERIFY(log.contains(u"正在连接TCP服务器: \"127.0.0.1\" : %1"_s.arg(pod.port())));
    QVERIFY(log.contains(u"TCP连接成功"_s));

    link.sendData(QByteArray::fromHex("FF01006000"));
    QCOMPARE(pod.receive(5), QByteArray::fromHex("FF01006000"));
    QVERIFY(log.contains(u"TCP发送: \"FF 01 00 60 00\""_s));
    const QSignalSpy deliveries(&link, &ICommunication::dataReceived);
    for (const int length : {1, 37, 200}) {
        pod.send(numbered(length));
        QTRY_VERIFY_WITH_TIMEOUT(!deliveries.isEmpty(), kWaitMs);
        QCOMPARE(deliveries.size(), 1);
        QCOMPARE(const_cast<QSignalSpy &>(deliveries).takeFirst()[0].toByteArray(),
                 numbered(length));
    }
}

void TestLinks::tcpRefused()
{
    auto pod = std::make_unique<TcpPeer>();
    const int port = pod->port();
    pod.reset();
    TCPCommunication link;
    SignalLog raised(link, ICommunication::staticMetaObject);
    const LogCatcher log;
    QVERIFY(!link.connectTo(kHost, port));
    QCOMPARE(raised.take(), kDown + u" errorOccurred(Connection refused)"_s);
    QVERIFY(log.contains(u"TCP错误: \"Connection refused\""_s));
    QVERIFY(!link.isConnected());
}

void TestLinks::tcpSilentAddress()
{
    const SilentListener pod;
    TCPCommunication link;
    SignalLog raised(link, ICommunication::staticMetaObject);
    QElapsedTimer waited;
    waited.start();
    QVERIFY(!link.connectTo(kHost, pod.port()));
    QVERIFY2(waited.elapsed() >= 2900 && waited.elapsed() < kWaitMs,
             qPrintable(QString::number(waited.elapsed())));
    QCOMPARE(TCPCommunication::kConnectTimeoutMs, 3000);
    QCOMPARE(raised.take(), kDown + u" errorOccurred(Socket operation timed out)"_s);
    // Nothing of the attempt is left to succeed later.
    TcpPeer other;
    QVERIFY(link.connectTo(kHost, other.port()));
}

void TestLinks::tcpPeerEnds_data()
{
    QTest::addColumn<bool>("reset");
    QTest::newRow("close") << false;
    QTest::newRow("reset") << true;
}

void TestLinks::tcpPeerEnds()
{
    QFETCH(bool, reset);
    TcpPeer pod;
    TCPCommunication link;
    QVERIFY(link.connectTo(kHost, pod.port()));
    QVERIFY(pod.accept());
    SignalLog raised(link, ICommunication::staticMetaObject);
    const LogCatcher log;
    reset ? pod.reset() : pod.close();
    QTRY_VERIFY_WITH_TIMEOUT(log.contains(u"TCP连接断开"_s), kWaitMs);
    QVERIFY(log.contains(u"handleDisconnected called"_s));
    QCOMPARE(raised.take(), kDown);
    QVERIFY(!link.isConnected());

    QVERIFY(link.connectTo(kHost, pod.port()));
    QVERIFY(pod.accept());
    link.sendData("again");
    QCOMPARE(pod.receive(5), "again");
}

void TestLinks::tcpErrors_data()
{
    QTest::addColumn<QAbstractSocket::SocketError>("error");
    QTest::addColumn<bool>("endsLink");
    QTest::newRow("remote close") << QAbstractSocket::RemoteHostClosedError << false;
    QTest::newRow("time-out") << QAbstractSocket::SocketTimeoutError << false;
    QTest::newRow("network") << QAbstractSocket::NetworkError << true;
    QTest::newRow("resource") << QAbstractSocket::SocketResourceError << true;
    QTest::newRow("unknown") << QAbstractSocket::UnknownSocketError << true;
}

void TestLinks::tcpErrors()
{
    QFETCH(QAbstractSocket::SocketError, error);
    QFETCH(bool, endsLink);
    TcpPeer pod;
    TCPCommunication link;
    QVERIFY(link.connectTo(kHost, pod.port()));
    SignalLog raised(link, ICommunication::staticMetaObject);
    const LogCatcher log;
    auto *socket = link.findChild<QTcpSocket *>();
    for (int pass = 0; pass < 2; ++pass)
        socket->errorOccurred(error);
    // An ended link has nothing more to lose: the second error is only logged.
    const QString expected = kDown + u" errorOccurred(%1)"_s.arg(socket->errorString());
    QCOMPARE(raised.take(), endsLink ? expected : QString());
    QCOMPARE(log.count(u"TCP错误:"_s), 2);
    QCOMPARE(link.isConnected(), !endsLink);
}

void TestLinks::closedUnconnected()
{
    SerialCommunication serial;
    TCPCommunication tcp;
    for (ICommunication *link :
         {static_cast<ICommunication *>(&serial), static_cast<ICommunication *>(&tcp)}) {
        SignalLog raised(*link, ICommunication::staticMetaObject);
        link->disconnectFrom();
        QCOMPARE(raised.take(), kDown);
    }
}

void TestLinks::tcpPeerThatDoesNotRead()
{
    TcpPeer deaf;
    TCPCommunication link;
    QVERIFY(link.connectTo(kHost, deaf.port()));
    QVERIFY(deaf.accept());
    deaf.stopReading();
    const auto *socket = link.findChild<QTcpSocket *>();
    const QByteArray block(1 << 20, 'x');
    for (int i = 0; i < 64 && socket->bytesToWrite() == 0; ++i)
        link.sendData(block);
    QVERIFY2(socket->bytesToWrite() > 0, "the line never filled up");

    SignalLog raised(link, ICommunication::staticMetaObject);
    link.disconnectFrom();
    QCOMPARE(raised.take(), kDown);
    QVERIFY(!link.isConnected());
    TcpPeer other;
    QVERIFY(link.connectTo(kHost, other.port()));
    QVERIFY(other.accept());
    link.sendData("fresh");
    QCOMPARE(other.receive(5), "fresh");
}

QTEST_GUILESS_MAIN(TestLinks)
#include "tst_links.moc"
