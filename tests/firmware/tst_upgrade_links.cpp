// The links of the server-assisted upgrade: the bootloader's serial port on a pseudo terminal, the
// upgrade server's link against a listening socket.

#include "LogCatcher.h"
#include "PtyPair.h"
#include "SignalLog.h"
#include "firmware/online/SerialPortCommunicator.h"
#include "firmware/online/TcpClient.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

#include <thread>

using namespace Qt::StringLiterals;
using Port = SerialPortCommunicator;
using Error = QSerialPort::SerialPortError;

namespace {

constexpr int kWaitMs = 10000;
constexpr int kNothingMs = 200; // in which nothing more may happen
constexpr int kReconnectMs = 10;

/// A port on a pseudo terminal, and what it told.
struct Line
{
    Line()
    {
        QObject::connect(&port, &Port::statusChanged, &port, [this](Port::SerialStatus status) {
            states += QString::number(int(status));
        });
    }

    QString states; // numbers of SerialStatus in the order of their coming
    PtyPair pty;
    Port port{pty.slavePath()};
};

/// A listening server with the peer that connected last, and a client with what it told.
struct Link
{
    Link()
    {
        server.listen(QHostAddress::LocalHost);
        client.setReconnectInterval(kReconnectMs);
        QObject::connect(&server, &QTcpServer::newConnection, &client, [this] {
            peer = server.nextPendingConnection();
            ++accepted;
        });
    }

    void connect() { client.connectToServer(u"127.0.0.1"_s, server.serverPort()); }

    /// True once this many connections were made and the last one stands.
    bool isUp(int connections)
    {
        const auto isMade = [&] { return accepted == connections && client.isConnected(); };
        return QTest::qWaitFor(isMade, kWaitMs);
    }

    /// Sends the beginning of a packet whose rest never comes.
    bool sendHalf() const
    {
        const LogCatcher log;
        peer->write(NetPacket::of("abcde").toBytes().chopped(3));
        return QTest::qWaitFor([&] { return log.contains(u"payload of length: 5"_s); }, kWaitMs);
    }

    QTcpServer server;
    QTcpSocket *peer = nullptr; // a child of the server
    int accepted = 0;
    TcpClient client;
    SignalLog told{client, TcpClient::staticMetaObject};
};

} // namespace

class TestUpgradeLinks : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QMetaType::registerConverter<NetPacket, QString>(
            [](const NetPacket &packet) { return QString::fromLatin1(packet.payload); });
    }
    void portMovesBytesWithoutItsLock();
    void severeErrorsReopenThePort();
    void packetsGoBothWays();
    void onlyLossesAreHealed();
};

void TestUpgradeLinks::portMovesBytesWithoutItsLock()
{
    Line line;
    qint64 seen = 0;
    // Waits for another thread, which would wait for the port's lock.
    QObject::connect(&line.port, &Port::dataReceived, [&] {
        std::thread([&] { seen = line.port.statistics().bytesReceived; }).join();
    });
    QCOMPARE(line.port.write("x"), -1);
    QVERIFY(line.port.open());
    line.pty.send("~0\r");
    QTRY_COMPARE_WITH_TIMEOUT(seen, 3, kWaitMs);
    QCOMPARE(line.port.write("#00\r"), 4);
    QTRY_COMPARE_WITH_TIMEOUT(line.pty.received(), "#00\r", kWaitMs);
    const auto times = line.port.activityTimes();
    QVERIFY(times.opened <= times.read && times.read <= times.written);
    const auto *serial = line.port.findChild<QSerialPort *>();
    line.port.sendBreak(1);
    QVERIFY(serial->isBreakEnabled());
    QTRY_VERIFY_WITH_TIMEOUT(!serial->isBreakEnabled(), kWaitMs);

    line.port.restart();
    QVERIFY(!line.port.isOpen());
    QTRY_VERIFY_WITH_TIMEOUT(line.port.isOpen(), kWaitMs);
    line.port.close();
    QCOMPARE(line.states, u"2020"_s);
}

void TestUpgradeLinks::severeErrorsReopenThePort()
{
    for (const Error error : {Error::WriteError, Error::DeviceNotFoundError, Error::PermissionError,
                              Error::ResourceError}) {
        Line line;
        QVERIFY(line.port.open({.autoReconnect = true, .reconnectIntervalMs = kReconnectMs}));
        line.port.onErrorOccurred(error);
        const QString states = error == Error::WriteError ? u"2"_s : u"232"_s;
        QTRY_COMPARE_WITH_TIMEOUT(line.states, states, kWaitMs);
        QCOMPARE(line.port.statistics().errors, 1);
    }
}

void TestUpgradeLinks::packetsGoBothWays()
{
    Link link;
    QVERIFY(!link.client.sendPacket("abc")); // unconnected
    link.connect();
    QVERIFY(link.isUp(1));
    QVERIFY(link.client.sendPacket("abc"));
    QVERIFY(link.client.sendUid("twelve bytes"));
    const QByteArray sent = QByteArray::fromHex("33aa55fc03000000") + "abc"
                            + QByteArray::fromHex("33aa55fc1000000001000000") + "twelve bytes";
    QTRY_COMPARE_WITH_TIMEOUT(link.peer->peek(100), sent, kWaitMs);

    QVERIFY(link.sendHalf());
    link.peer->write("cde" + NetPacket::of("2").toBytes() + NetPacket::of("3").toBytes());
    // A slot may end the link, with more to be read.
    QObject::connect(&link.client, &TcpClient::packetReceived, &link.client,
                     [&] { link.client.disconnectFromServer(); });
    QTRY_VERIFY_WITH_TIMEOUT(link.client.isUnconnected(), kWaitMs);
    QCOMPARE(link.told.take(), u"connected() packetReceived(abcde) disconnected()"_s);
}

void TestUpgradeLinks::onlyLossesAreHealed()
{
    Link link;
    link.connect();
    for (int connection = 1; connection <= 3; ++connection) {
        QVERIFY(link.isUp(connection));
        QVERIFY(link.sendHalf());
        link.peer->abort();
    }
    QVERIFY(link.isUp(4));
    // A new connection replaces the old one, of which nothing more is heard.
    QVERIFY(link.sendHalf());
    link.connect();
    QVERIFY(link.isUp(5));
    link.peer->write(NetPacket::of("whole").toBytes());
    QTRY_VERIFY_WITH_TIMEOUT(link.told.contains(u"packetReceived(whole)"_s), kWaitMs);
    const QString lost = u"errorOccurred(The remote host closed the connection) disconnected()"_s;
    QCOMPARE(link.told.take(), (u"connected() "_s + lost + u' ').repeated(3)
                                   + u"connected() connected() packetReceived(whole)"_s);

    // An end that was asked for is none.
    link.client.disconnectFromServer();
    QTRY_VERIFY_WITH_TIMEOUT(link.told.contains(u"disconnected()"_s), kWaitMs);
    QTest::qWait(kReconnectMs + kNothingMs);
    QCOMPARE(link.accepted, 5);
    // The request is spent: a new connection may be made, and its loss is healed again.
    link.connect();
    QVERIFY(link.isUp(6));
    link.peer->disconnectFromHost();
    QVERIFY(link.isUp(7));

    // A refusal is told and is no disconnection: nothing follows from it.
    link.told.take();
    link.server.close();
    link.peer->disconnectFromHost();
    const QString refusal = u"errorOccurred(Connection refused)"_s;
    QTRY_VERIFY_WITH_TIMEOUT(link.told.contains(refusal), kWaitMs);
    QTest::qWait(kReconnectMs + kNothingMs);
    QCOMPARE(link.told.take(), lost + u' ' + refusal);

    // A request that calls off a connection waiting for the pause to end is never spent.
    QVERIFY(link.server.listen(QHostAddress::LocalHost));
    link.connect();
    QVERIFY(link.isUp(8));
    link.connect(); // takes the pause, to replace the one before
    link.client.disconnectFromServer();
    QTest::qWait(TcpClient::kCleanupPauseMs + kNothingMs);
    link.connect();
    QVERIFY(link.accepted == 8 && link.client.isUnconnected());
}

QTEST_GUILESS_MAIN(TestUpgradeLinks)
#include "tst_upgrade_links.moc"
