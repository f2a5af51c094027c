// A peer that is gone without a word: its end of a real network link goes down, in a network of
// the test's own.

#include "CMain.h"
#include "ChildProcess.h"

#include <QElapsedTimer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int kNoticeMs = 10000; // what an operator may have to wait
constexpr int kWaitMs = 20000;
constexpr int kReadyMs = 2000; // for one command of ip
const QString kPodAddress = u"10.77.0.2"_s;

bool ip(const QString &arguments)
{
    return ChildProcess(u"ip"_s, arguments.split(u' ')).succeeds(kReadyMs);
}

int ownNetwork() { return open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC); }

/// Two networks of this process with a wire between them. The test's thread is in the console's
/// but while it does something in the pod's.
class Wire
{
public:
    /// Before any other thread exists. False where the system forbids it.
    bool lay()
    {
        if (unshare(geteuid() == 0 ? CLONE_NEWNET : CLONE_NEWUSER | CLONE_NEWNET) != 0)
            return false;
        m_console = ownNetwork();
        if (unshare(CLONE_NEWNET) != 0)
            return false;
        m_pod = ownNetwork();
        setns(m_console, CLONE_NEWNET);
        const QString pod = u"/proc/%1/fd/%2"_s.arg(getpid()).arg(m_pod);
        bool laid = ip(u"link add console type veth peer name pod"_s)
                    && ip(u"link set pod netns "_s + pod)
                    && ip(u"addr add 10.77.0.1/24 dev console"_s) && ip(u"link set console up"_s);
        atThePod([&] {
            laid = laid && ip(u"addr add %1/24 dev pod"_s.arg(kPodAddress))
                   && ip(u"link set pod up"_s);
        });
        return laid;
    }

    template<typename Work>
    void atThePod(const Work &work)
    {
        setns(m_pod, CLONE_NEWNET);
        work();
        setns(m_console, CLONE_NEWNET);
    }

private:
    int m_console = -1;
    int m_pod = -1;
};

struct Link
{
    QTcpServer pod; // first, made in the pod's network
    CMain console;
    qint64 noticedMs = -1;
};

} // namespace

class TestVanishedPeer : public QObject
{
    Q_OBJECT

private slots:
    void isNoticed();
};

void TestVanishedPeer::isNoticed()
{
    Wire wire;
    if (!wire.lay())
        QSKIP("no network of one's own here");

    // With nothing to send, and with a command on its way: two different clocks of the system's.
    Link silent;
    Link moving;
    for (Link *link : {&silent, &moving}) {
        wire.atThePod([&] { QVERIFY(link->pod.listen(QHostAddress(kPodAddress))); });
        QVERIFY(link->console.connectTCP(kPodAddress, link->pod.serverPort()));
        QTRY_VERIFY_WITH_TIMEOUT(link->pod.hasPendingConnections(), kWaitMs);
        link->pod.nextPendingConnection();
    }
    wire.atThePod([] { QVERIFY(ip(u"link set pod down"_s)); });

    QElapsedTimer timer;
    timer.start();
    for (Link *link : {&silent, &moving}) {
        QObject::connect(&link->console, &CMain::connectionChanged, this,
                         [&timer, link] { link->noticedMs = timer.elapsed(); });
    }
    moving.console.moveUp(0x20);
    QTRY_VERIFY_WITH_TIMEOUT(silent.noticedMs >= 0 && moving.noticedMs >= 0, kWaitMs);
    QVERIFY2(silent.noticedMs < kNoticeMs && moving.noticedMs < kNoticeMs,
             qPrintable(u"%1 ms, %2 ms"_s.arg(silent.noticedMs).arg(moving.noticedMs)));
    QVERIFY(!silent.console.isConnected() && !moving.console.isConnected());

    // The pod is back, still moving: the stop comes before anything else.
    wire.atThePod([] { QVERIFY(ip(u"link set pod up"_s)); });
    QVERIFY(moving.console.connectTCP(kPodAddress, moving.pod.serverPort()));
    QTRY_VERIFY_WITH_TIMEOUT(moving.pod.hasPendingConnections(), kWaitMs);
    QTcpSocket *pod = moving.pod.nextPendingConnection();
    QTRY_VERIFY_WITH_TIMEOUT(pod->bytesAvailable() >= 7, kWaitMs);
    QCOMPARE(pod->read(7), QByteArray::fromHex("ff010000000001"));
}

QTEST_GUILESS_MAIN(TestVanishedPeer)
#include "tst_vanished_peer.moc"
