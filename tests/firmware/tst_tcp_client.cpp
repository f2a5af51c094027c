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

/// A listening server with the peer that connected last, and a client.
struct Link
{
    QTcpServer server;
    std::unique_ptr<QTcpSocket> peer;
    TcpClient client;
    QSignalSpy packets{&client, &TcpClient::packetReceived};
    QSignalSpy connects{&client, &TcpClient::connected};
    QSignalSpy disconnects{&client, &TcpClient::disconnected};
    QSignalSpy errors{&client, &TcpClient::errorOccurred};

    Link()
    {
        server.listen(QHostAddress::LocalHost, 0);
        client.setReconnectInterval(10);
    }

    bool accept()
    {
        if (!QTest::qWaitFor([this] { return server.hasPendingConnections(); }, kWaitMs))
            return false;
        peer.reset(server.nextPendingConnection());
        peer->setParent(nullptr);
        return true;
    }

    bool establish()
    {
        client.connectToServer(u"127.0.0.1"_s, server.serverPort());
        return accept() && QTest::qWaitFor([this] { return client.isConnected(); }, kWaitMs);
    }

    void send(const QByteArray &bytes) const
    {
        peer->write(bytes);
        peer->flush();
    }

    QByteArray received(qsizetype size) const
    {
        return QTest::qWaitFor([&] { return peer->bytesAvailable() >= size; }, kWaitMs)
                   ? peer->readAll()
                   : QByteArray("too little");
    }

    QByteArrayList payloads() const
    {
        QByteArrayList list;
        for (const QList<QVariant> &packet : packets)
            list.append(packet.at(0).value<NetPacket>().payload);
        return list;
    }
};

} // namespace

class TestTcpClient : public QObject
{
    Q_OBJECT

private slots:
    void sends();
    void deliversPacketsAndDropsWrongHeaders();
    void reconnectsOnceAfterEveryLoss();
    void refusalIsToldAndNotRepeated();
    void manualDisconnectionIsNotReconnected();
    void newConnectionReplacesTheOld();
    void slotMayEndTheLink();
};

void TestTcpClient::sends()
{
    Link link;
    QVERIFY(!link.client.sendPacket("abc")); // unconnected
    QVERIFY(link.establish());
    QVERIFY(link.client.sendPacket("abc"));
    QVERIFY(link.client.sendUid(hex("0102030405060708090a0bff")));
    QCOMPARE(link.received(35), hex("33aa55fc 03000000 616263 33aa55fc 10000000 01000000"
                                    "0102030405060708090a0bff"));
}

void TestTcpClient::deliversPacketsAndDropsWrongHeaders()
{
    const LogCatcher log;
    Link link;
    QVERIFY(link.establish());
    link.send(hex("33aa55fc 03000000") + "a");
    QTRY_VERIFY_WITH_TIMEOUT(log.contains(u"Expecting payload of length: 3"_s), kWaitMs);
    link.send("bc" + hex("33aa55fc 00000000 33aa55fc 01000000") + "d");
    QTRY_COMPARE_WITH_TIMEOUT(link.payloads(), QByteArrayList({"abc", "", "d"}), kWaitMs);

    link.send(hex("00000000 00000000"));
    QTRY_VERIFY_WITH_TIMEOUT(log.contains(u"Invalid packet header: \"0\""_s), kWaitMs);
    link.send(hex("33aa55fc ffffffff"));
    QTRY_COMPARE_WITH_TIMEOUT(log.count(u"Invalid packet header:"_s), 2, kWaitMs);
    link.send(NetPacket::of("good").toBytes());
    QTRY_COMPARE_WITH_TIMEOUT(link.payloads(), QByteArrayList({"abc", "", "d", "good"}), kWaitMs);
}

void TestTcpClient::reconnectsOnceAfterEveryLoss()
{
    const LogCatcher log;
    Link link;
    QVERIFY(link.establish());
    for (int loss = 1; loss <= 3; ++loss) {
        link.send(hex("33aa55fc 05000000") + "ab"); // the rest of it never comes
        QTRY_COMPARE_WITH_TIMEOUT(log.count(u"Expecting payload of length: 5"_s), loss, kWaitMs);
        link.peer->abort();
        QVERIFY(link.accept());
        QTRY_COMPARE_WITH_TIMEOUT(link.connects.size(), loss + 1, kWaitMs);
        QCOMPARE(link.disconnects.size(), loss);
    }
    QCOMPARE(log.count(u"Attempting to reconnect..."_s), 3);
    link.send(NetPacket::of("cde").toBytes());
    QTRY_COMPARE_WITH_TIMEOUT(link.payloads(), QByteArrayList{"cde"}, kWaitMs);
}

void TestTcpClient::refusalIsToldAndNotRepeated()
{
    const LogCatcher log;
    Link link;
    QVERIFY(link.establish());
    const quint16 port = link.server.serverPort();
    link.server.close();
    link.peer->disconnectFromHost();
    // The loss itself, with the peer's goodbye as its text, then the refusal.
    QTRY_COMPARE_WITH_TIMEOUT(link.errors.size(), 2, kWaitMs);
    QVERIFY(link.server.listen(QHostAddress::LocalHost, port));
    QTest::qWait(200); // twenty intervals, in which nothing may happen
    QVERIFY(!link.server.hasPendingConnections());
    QCOMPARE(log.count(u"Attempting to reconnect..."_s), 1);
    QCOMPARE(link.disconnects.size(), 1); // a refusal is none
}

void TestTcpClient::manualDisconnectionIsNotReconnected()
{
    const LogCatcher log;
    Link link;
    QVERIFY(link.establish());
    link.client.disconnectFromServer();
    QTRY_COMPARE_WITH_TIMEOUT(link.disconnects.size(), 1, kWaitMs);
    QVERIFY(!log.contains(u"连接丢失，尝试重连..."_s));
    // The request is spent: a new connection may be made, and its loss is healed again.
    QVERIFY(link.establish());
    link.peer->disconnectFromHost();
    QVERIFY(link.accept());

    // Without a connection it is never spent.
    Link blocked;
    blocked.client.disconnectFromServer();
    for (int attempt = 1; attempt <= 2; ++attempt) {
        blocked.client.connectToServer(u"127.0.0.1"_s, blocked.server.serverPort());
        QCOMPARE(log.count(u"手动断连，跳过自动重连"_s), attempt);
        QVERIFY(blocked.client.isUnconnected());
    }
}

void TestTcpClient::newConnectionReplacesTheOld()
{
    const LogCatcher log;
    Link link;
    QVERIFY(link.establish());
    link.send(hex("33aa55fc 05000000") + "ab"); // the rest of it never comes
    QTRY_VERIFY_WITH_TIMEOUT(log.contains(u"Expecting payload of length: 5"_s), kWaitMs);
    const auto old = std::move(link.peer);
    QElapsedTimer clock;
    clock.start();
    link.client.connectToServer(u"127.0.0.1"_s, link.server.serverPort());
    QVERIFY(!link.client.isConnected());
    QVERIFY(link.accept());
    QVERIFY(clock.elapsed() >= TcpClient::kCleanupPauseMs - 5); // timers may be early by a few
    QTRY_COMPARE_WITH_TIMEOUT(link.connects.size(), 2, kWaitMs);
    QCOMPARE(link.disconnects.size(), 0); // the old link's end is of no interest any more
    QTRY_COMPARE_WITH_TIMEOUT(old->state(), QAbstractSocket::UnconnectedState, kWaitMs);
    link.send(NetPacket::of("new").toBytes());
    QTRY_COMPARE_WITH_TIMEOUT(link.payloads(), QByteArrayList{"new"}, kWaitMs);

    // A disconnection calls off the connection that waits for the pause to end.
    link.client.connectToServer(u"127.0.0.1"_s, link.server.serverPort());
    link.client.disconnectFromServer();
    QTest::qWait(3 * TcpClient::kCleanupPauseMs); // in which nothing may happen
    QVERIFY(!link.server.hasPendingConnections());
    QVERIFY(link.client.isUnconnected());
}

void TestTcpClient::slotMayEndTheLink()
{
    Link link;
    QVERIFY(link.establish());
    QObject::connect(&link.client, &TcpClient::packetReceived, &link.client,
                     [&] { link.client.disconnectFromServer(); });
    link.send(NetPacket::of("1").toBytes() + NetPacket::of("2").toBytes());
    QTRY_COMPARE_WITH_TIMEOUT(link.disconnects.size(), 1, kWaitMs);
    QVERIFY(link.client.isUnconnected());
}

QTEST_GUILESS_MAIN(TestTcpClient)
#include "tst_tcp_client.moc"
