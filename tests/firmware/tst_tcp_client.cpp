// The link to the upgrade server against a real one.

#include "LogCatcher.h"
#include "firmware/online/TcpClient.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

constexpr int kWaitMs = 10000;

QByteArray hex(const char *text) { return QByteArray::fromHex(text); }

/// A listening server and the client of its that connected last.
class Server
{
public:
    Server() { listen(0); }

    bool listen(quint16 port) { return m_server.listen(QHostAddress::LocalHost, port); }

    void close() { m_server.close(); }

    quint16 port() const { return m_server.serverPort(); }

    bool waitForClient()
    {
        if (!QTest::qWaitFor([this] { return m_server.hasPendingConnections(); }, kWaitMs))
            return false;
        m_client.reset(m_server.nextPendingConnection());
        m_client->setParent(nullptr);
        return true;
    }

    bool hasPendingClient() const { return m_server.hasPendingConnections(); }

    void send(const QByteArray &bytes)
    {
        m_client->write(bytes);
        m_client->flush();
    }

    QByteArray received(qsizetype size)
    {
        const bool arrived =
            QTest::qWaitFor([&] { return m_client->bytesAvailable() >= size; }, kWaitMs);
        return arrived ? m_client->readAll() : QByteArray();
    }

    QTcpSocket &client() { return *m_client; }

private:
    QTcpServer m_server;
    std::unique_ptr<QTcpSocket> m_client;
};

/// A client that is connected to a server.
struct Link
{
    Server server;
    TcpClient client;
    QSignalSpy packets{&client, &TcpClient::packetReceived};
    QSignalSpy connects{&client, &TcpClient::connected};
    QSignalSpy disconnects{&client, &TcpClient::disconnected};

    bool establish()
    {
        client.connectToServer(u"127.0.0.1"_s, server.port());
        return server.waitForClient()
               && QTest::qWaitFor([this] { return client.isConnected(); }, kWaitMs);
    }

    QByteArray payload(qsizetype at) const
    {
        return packets.at(at).at(0).value<NetPacket>().payload;
    }
};

} // namespace

class TestTcpClient : public QObject
{
    Q_OBJECT

private slots:
    void sends();
    void sendsNothingUnconnected();
    void deliversPackets();
    void wrongHeaderIsLoggedAndDropped();
    void bufferIsForgottenOnReconnect();
    void reconnectsOnceAfterEveryLoss();
    void refusedReconnectIsNotRepeated();
    void refusedConnectionIsReported();
    void manualDisconnectionIsNotReconnected();
    void disconnectionWithoutConnectionBlocksForGood();
    void newConnectionReplacesTheOld();
    void disconnectDuringTheCleanupPause();
    void slotMayEndTheLink();
    void destructionTellsNobody();
};

void TestTcpClient::sends()
{
    const LogCatcher log;
    Link link;
    QVERIFY(link.establish());
    QVERIFY(!link.client.isUnconnected());
    QVERIFY(link.client.sendPacket("abc"));
    QCOMPARE(link.server.received(11), hex("33aa55fc 03000000") + "abc");
    QVERIFY(link.client.sendPacket({}));
    QCOMPARE(link.server.received(8), hex("33aa55fc 00000000"));
    QVERIFY(link.client.sendUid(hex("0102030405060708090a0bff")));
    QCOMPARE(link.server.received(24), hex("33aa55fc 10000000 01000000 0102030405060708090a0bff"));
    QVERIFY(log.contains(u"Sent packet, payload size: 3 , total size: 11"_s));
}

void TestTcpClient::sendsNothingUnconnected()
{
    TcpClient client;
    QVERIFY(client.isUnconnected());
    QVERIFY(!client.sendPacket("abc"));
}

void TestTcpClient::deliversPackets()
{
    Link link;
    QVERIFY(link.establish());
    link.server.send(hex("33aa55fc 03000000"));
    QTest::qWait(20); // separate reads; joined ones would pass just the same
    link.server.send("a");
    QTest::qWait(20);
    QCOMPARE(link.packets.size(), 0);
    link.server.send("bc" + hex("33aa55fc 00000000 33aa55fc 01000000") + "d");
    QTRY_COMPARE_WITH_TIMEOUT(link.packets.size(), 3, kWaitMs);
    QCOMPARE(link.payload(0), "abc");
    QCOMPARE(link.payload(1), "");
    QCOMPARE(link.payload(2), "d");
    QCOMPARE(link.packets.at(0).at(0).value<NetPacket>().header, 0xFC55AA33U);
    QCOMPARE(link.packets.at(0).at(0).value<NetPacket>().length, 3U);
}

void TestTcpClient::wrongHeaderIsLoggedAndDropped()
{
    const LogCatcher log;
    Link link;
    QVERIFY(link.establish());
    link.server.send(hex("00000000 00000000"));
    QTRY_VERIFY_WITH_TIMEOUT(log.contains(u"Invalid packet header: \"0\""_s), kWaitMs);
    link.server.send(hex("33aa55fc ffffffff"));
    QTRY_COMPARE_WITH_TIMEOUT(log.count(u"Invalid packet header:"_s), 2, kWaitMs);
    link.server.send(NetPacket::of("good").toBytes());
    QTRY_COMPARE_WITH_TIMEOUT(link.packets.size(), 1, kWaitMs);
    QCOMPARE(link.payload(0), "good");
}

void TestTcpClient::bufferIsForgottenOnReconnect()
{
    Link link;
    link.client.setReconnectInterval(10);
    QVERIFY(link.establish());
    link.server.send(hex("33aa55fc 05000000") + "ab");
    link.server.client().disconnectFromHost();
    QVERIFY(link.server.waitForClient());
    link.server.send(NetPacket::of("cde").toBytes());
    QTRY_COMPARE_WITH_TIMEOUT(link.packets.size(), 1, kWaitMs);
    QCOMPARE(link.payload(0), "cde");
}

void TestTcpClient::reconnectsOnceAfterEveryLoss()
{
    const LogCatcher log;
    Link link;
    link.client.setReconnectInterval(10);
    QVERIFY(link.establish());
    for (int loss = 1; loss <= 3; ++loss) {
        link.server.client().abort();
        QVERIFY(link.server.waitForClient());
        QTRY_COMPARE_WITH_TIMEOUT(link.connects.size(), loss + 1, kWaitMs);
        QCOMPARE(link.disconnects.size(), loss);
    }
    QCOMPARE(log.count(u"Attempting to reconnect..."_s), 3);
}

void TestTcpClient::refusedReconnectIsNotRepeated()
{
    const LogCatcher log;
    Link link;
    link.client.setReconnectInterval(10);
    QSignalSpy errors(&link.client, &TcpClient::errorOccurred);
    QVERIFY(link.establish());
    const quint16 port = link.server.port();
    link.server.close();
    link.server.client().disconnectFromHost();
    // The loss itself, with the peer's goodbye as its text, then the refusal.
    QTRY_COMPARE_WITH_TIMEOUT(errors.size(), 2, kWaitMs);
    QVERIFY(link.server.listen(port));
    QTest::qWait(200); // twenty intervals, in which nothing may happen
    QVERIFY(!link.server.hasPendingClient());
    QCOMPARE(log.count(u"Attempting to reconnect..."_s), 1);
}

void TestTcpClient::refusedConnectionIsReported()
{
    Server server;
    const quint16 port = server.port();
    server.close();
    TcpClient client;
    QSignalSpy errors(&client, &TcpClient::errorOccurred);
    QSignalSpy disconnects(&client, &TcpClient::disconnected);
    client.connectToServer(u"127.0.0.1"_s, port);
    QTRY_COMPARE_WITH_TIMEOUT(errors.size(), 1, kWaitMs);
    QVERIFY(!errors.at(0).at(0).toString().isEmpty());
    QVERIFY(client.isUnconnected());
    QCOMPARE(disconnects.size(), 0);
}

void TestTcpClient::manualDisconnectionIsNotReconnected()
{
    const LogCatcher log;
    Link link;
    link.client.setReconnectInterval(10);
    QVERIFY(link.establish());
    link.client.disconnectFromServer();
    QTRY_COMPARE_WITH_TIMEOUT(link.disconnects.size(), 1, kWaitMs);
    QVERIFY(!log.contains(u"连接丢失，尝试重连..."_s));
    // The request is spent: a new connection may be made, and its loss is healed again.
    QVERIFY(link.establish());
    link.server.client().disconnectFromHost();
    QVERIFY(link.server.waitForClient());
}

void TestTcpClient::disconnectionWithoutConnectionBlocksForGood()
{
    const LogCatcher log;
    Link link;
    link.client.disconnectFromServer();
    for (int attempt = 1; attempt <= 2; ++attempt) {
        link.client.connectToServer(u"127.0.0.1"_s, link.server.port());
        QCOMPARE(log.count(u"手动断连，跳过自动重连"_s), attempt);
        QVERIFY(link.client.isUnconnected());
    }
}

void TestTcpClient::newConnectionReplacesTheOld()
{
    const LogCatcher log;
    Link link;
    QVERIFY(link.establish());
    link.server.send(hex("33aa55fc 05000000") + "ab");
    Server other;
    QElapsedTimer clock;
    clock.start();
    link.client.connectToServer(u"127.0.0.1"_s, other.port());
    QVERIFY(!link.client.isConnected());
    QVERIFY(log.contains(u"清理旧连接..."_s));
    QVERIFY(other.waitForClient());
    QVERIFY(clock.elapsed() >= TcpClient::kCleanupPauseMs - 5); // timers may be early by a few
    QTRY_COMPARE_WITH_TIMEOUT(link.connects.size(), 2, kWaitMs);
    QCOMPARE(link.disconnects.size(), 0); // the old link's end is of no interest any more
    QTRY_COMPARE_WITH_TIMEOUT(link.server.client().state(), QAbstractSocket::UnconnectedState,
                              kWaitMs);
    other.send(NetPacket::of("new").toBytes());
    QTRY_COMPARE_WITH_TIMEOUT(link.packets.size(), 1, kWaitMs);
}

void TestTcpClient::disconnectDuringTheCleanupPause()
{
    Link link;
    QVERIFY(link.establish());
    link.client.connectToServer(u"127.0.0.1"_s, link.server.port());
    link.client.disconnectFromServer();
    QTest::qWait(3 * TcpClient::kCleanupPauseMs); // in which nothing may happen
    QVERIFY(!link.server.hasPendingClient());
    QVERIFY(link.client.isUnconnected());
}

void TestTcpClient::slotMayEndTheLink()
{
    Link link;
    QVERIFY(link.establish());
    QObject::connect(&link.client, &TcpClient::packetReceived, &link.client,
                     [&] { link.client.disconnectFromServer(); });
    link.server.send(NetPacket::of("1").toBytes() + NetPacket::of("2").toBytes());
    QTRY_COMPARE_WITH_TIMEOUT(link.disconnects.size(), 1, kWaitMs);
    QVERIFY(link.client.isUnconnected());
}

void TestTcpClient::destructionTellsNobody()
{
    Server server;
    auto client = std::make_unique<TcpClient>();
    client->connectToServer(u"127.0.0.1"_s, server.port());
    QVERIFY(server.waitForClient());
    QTRY_VERIFY_WITH_TIMEOUT(client->isConnected(), kWaitMs);
    client.reset();
    QTRY_COMPARE_WITH_TIMEOUT(server.client().state(), QAbstractSocket::UnconnectedState, kWaitMs);
}

QTEST_GUILESS_MAIN(TestTcpClient)
#include "tst_tcp_client.moc"
