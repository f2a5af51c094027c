// What may happen while the video item waits for a stream: the newest wish wins, the events go on
// being served, and nothing that is gone is touched.

#include "PodSim.h"
#include "RtspStub.h"
#include "UdpStreams.h"
#include "video/FFmpegPlayer.h"
#include "video/VideoRenderer.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>
#include <QUdpSocket>

#include <functional>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

constexpr int kMeanwhileMs = 150; // into the wait, when the newer wish comes
constexpr int kPromptlyMs = 2500; // far below what the opens themselves would take
constexpr int kSettleMs = 20000;
constexpr int kLongTimeoutUs = 20000000;
const QString kPlaying = u"播放中"_s;

quint16 freeUdpPort()
{
    QUdpSocket socket;
    socket.bind(QHostAddress::LocalHost, 0);
    return socket.localPort();
}

/// An item that waits for a stream which never comes, in one of the ways there are.
struct Waiting
{
    explicit Waiting(const QString &how)
    {
        item->setTimeout(kLongTimeoutUs);
        item->setReconnectInterval(1000);
        item->setSource(how == "udp"_L1 ? u"udp://127.0.0.1:%1"_s.arg(freeUdpPort()) : stub.url());
        begin = how == "attempt"_L1 ? &VideoRenderer::reconnect : &VideoRenderer::play;
    }

    /// Begins to wait, does `meanwhile` in the middle of it and returns when the call did.
    void run(const std::function<void()> &meanwhile)
    {
        bool done = false;
        QTimer::singleShot(kMeanwhileMs + 400, qApp, [&] {
            sinceWish.start();
            meanwhile();
            done = true;
        });
        (item.get()->*begin)();
        while (!done)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }

    RtspStub stub{RtspStub::Manner::Silent};
    std::unique_ptr<VideoRenderer> item = std::make_unique<VideoRenderer>();
    void (VideoRenderer::*begin)() = nullptr;
    QElapsedTimer sinceWish;
};

} // namespace

class TestReentrancy : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void stop_data() { ways(); }

    void stop();

    void destruction_data() { ways(); }

    void destruction();

    void quit_data() { ways(); }

    void quit();

    void anotherPlay_data() { ways(); }

    void anotherPlay();
    void manualReconnect();
    void settingsOnly();

    void eventsGoOn_data() { ways(); }

    void eventsGoOn();
    void playWhileStopping();
    void pauseWhilePlayWaitsForTheOldTask();
    void playerCallsInItsOwnWait();

private:
    static void ways();

    std::unique_ptr<PodSim> m_sim;
};

void TestReentrancy::ways()
{
    QTest::addColumn<QString>("how");
    for (const char *how : {"rtsp", "udp", "attempt"}) {
        if (kUdpStreamsCanRun || QLatin1String(how) != "udp"_L1)
            QTest::newRow(how) << QString::fromLatin1(how);
    }
}

void TestReentrancy::init()
{
    if (!m_sim)
        m_sim = std::make_unique<PodSim>(QStringList{u"--size"_s, u"320x240"_s});
}

void TestReentrancy::stop()
{
    QFETCH(QString, how);
    Waiting waiting(how);
    waiting.run([&] { waiting.item->stop(); });
    QCOMPARE(waiting.item->status(), u"已停止"_s);
    QVERIFY(!waiting.item->isReconnecting());
    QVERIFY(waiting.sinceWish.elapsed() < kPromptlyMs);
    QTest::qWait(300); // nothing that was overtaken may speak up later
    QCOMPARE(waiting.item->status(), u"已停止"_s);
}

void TestReentrancy::destruction()
{
    QFETCH(QString, how);
    Waiting waiting(how);
    waiting.run([&] { waiting.item.reset(); });
    QVERIFY(waiting.sinceWish.elapsed() < kPromptlyMs);
    QTest::qWait(100);
}

void TestReentrancy::quit()
{
    QFETCH(QString, how);
    Waiting waiting(how);
    QTimer::singleShot(0, qApp, [&] { waiting.run([] { QCoreApplication::quit(); }); });
    QCoreApplication::exec();
    waiting.item.reset();
    QVERIFY2(waiting.sinceWish.elapsed() < 1000,
             qPrintable(QString::number(waiting.sinceWish.elapsed())));
}

void TestReentrancy::anotherPlay()
{
    QFETCH(QString, how);
    Waiting waiting(how);
    waiting.run([&] {
        waiting.item->setSource(m_sim->rtspUrl());
        waiting.item->play();
    });
    QCOMPARE(waiting.item->status(), kPlaying);
    QVERIFY(waiting.item->playing());
    QTRY_VERIFY_WITH_TIMEOUT(!waiting.item->contentRect().isNull() || waiting.item->width() == 0,
                             kSettleMs);
    QTest::qWait(200);
    QCOMPARE(waiting.item->status(), kPlaying);
    QVERIFY(!waiting.item->isReconnecting());
}

void TestReentrancy::manualReconnect()
{
    Waiting waiting(u"rtsp"_s);
    waiting.run([&] {
        waiting.item->setSource(m_sim->rtspUrl());
        waiting.item->reconnect();
    });
    QTRY_COMPARE_WITH_TIMEOUT(waiting.item->status(), kPlaying, kSettleMs);
    QVERIFY(waiting.item->playing());
}

// A new source, pausing, and switching the retries off are no wish for another stream: the open
// goes on, and what they say holds when it has failed.
void TestReentrancy::settingsOnly()
{
    Waiting waiting(u"rtsp"_s);
    waiting.item->setTimeout(1000000);
    waiting.run([&] {
        waiting.item->setSource(m_sim->rtspUrl());
        waiting.item->pause();
        waiting.item->setAutoReconnect(false);
    });
    QCOMPARE(waiting.item->status(), u"连接失败"_s);
    QVERIFY(!waiting.item->isReconnecting());
    QCOMPARE(waiting.item->source(), m_sim->rtspUrl());
}

void TestReentrancy::eventsGoOn()
{
    QFETCH(QString, how);
    Waiting waiting(how);
    int ticks = 0;
    QTimer timer;
    connect(&timer, &QTimer::timeout, this, [&] { ++ticks; });
    timer.start(10);
    waiting.run([&] { waiting.item->stop(); });
    QVERIFY2(ticks > 10, qPrintable(QString::number(ticks))); // of about 55
}

void TestReentrancy::playWhileStopping()
{
    VideoRenderer item;
    item.setSource(m_sim->rtspUrl());
    item.play();
    QCOMPARE(item.status(), kPlaying);
    QTimer::singleShot(0, &item, &VideoRenderer::play); // served inside the stop's waits
    item.stop();
    QTRY_COMPARE_WITH_TIMEOUT(item.status(), kPlaying, kSettleMs);
    QTest::qWait(200);
    QCOMPARE(item.status(), kPlaying);
    QVERIFY(item.playing());
}

void TestReentrancy::pauseWhilePlayWaitsForTheOldTask()
{
    FFmpegPlayer player;
    QSignalSpy states(&player, &FFmpegPlayer::playingStateChanged);
    QSignalSpy frames(&player, &FFmpegPlayer::frameReady);
    QVERIFY(player.open(m_sim->rtspUrl()));
    player.play();
    QTRY_VERIFY_WITH_TIMEOUT(!frames.isEmpty(), kSettleMs);
    player.pause();
    QTimer::singleShot(100, &player, &FFmpegPlayer::pause);
    player.play(); // waits for the idle task, and is taken back meanwhile
    QVERIFY(!player.isPlaying());
    QCOMPARE(states.last()[0].toBool(), false);
    player.play();
    frames.clear();
    QTRY_VERIFY_WITH_TIMEOUT(!frames.isEmpty(), kSettleMs);
}

void TestReentrancy::playerCallsInItsOwnWait()
{
    const RtspStub stub(RtspStub::Manner::Silent);
    FFmpegPlayer player;
    player.setTimeout(kLongTimeoutUs);
    QSignalSpy errors(&player, &FFmpegPlayer::errorOccurred);
    bool inner = false;
    QTimer::singleShot(kMeanwhileMs, &player, [&] {
        player.play(); // nothing is open yet
        inner = player.open(m_sim->rtspUrl());
    });
    QVERIFY(!player.open(stub.url()));
    QVERIFY(inner);
    QCOMPARE(errors.size(), 1);
    QCOMPARE(errors[0][0].toString(), u"播放器未初始化"_s);
    player.play(); // the inner open's stream
    QVERIFY(player.isPlaying());
    QTimer::singleShot(0, &player, &FFmpegPlayer::close);
    player.stop();
    QVERIFY(!player.isPlaying());
}

QTEST_MAIN(TestReentrancy)
#include "tst_reentrancy.moc"
