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

#include <functional>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

constexpr int kMeanwhileMs = 550; // into the wait, when the newer wish comes
constexpr int kPromptlyMs = 2500; // far below what the opens themselves would take
constexpr int kSettleMs = 20000;
constexpr int kLongTimeoutUs = 20000000;
const QString kPlaying = u"播放中"_s;
const QString kStopped = u"已停止"_s;

/// An item that waits for a stream which never comes, in one of the ways there are.
struct Waiting
{
    explicit Waiting(const QString &how)
    {
        item->setTimeout(kLongTimeoutUs);
        item->setReconnectInterval(1000);
        item->setSource(how == "udp"_L1 ? freeUdpUrl() : stub.url());
        begin = how == "attempt"_L1 ? &VideoRenderer::reconnect : &VideoRenderer::play;
    }

    /// Begins to wait, does `meanwhile` in the middle of it and returns when the call did.
    void run(const std::function<void()> &meanwhile)
    {
        bool done = false;
        int ticks = 0;
        QTimer ticker;
        QObject::connect(&ticker, &QTimer::timeout, &ticker, [&] { ++ticks; });
        ticker.start(10);
        QTimer::singleShot(kMeanwhileMs, qApp, [&] {
            sinceWish.start();
            meanwhile();
            done = true;
        });
        (item.get()->*begin)();
        while (!done)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        QVERIFY2(ticks > 10, "the events stood still"); // of about 55
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
    void initTestCase();
    void newestWishWins_data();
    void newestWishWins();
    void settingsOnly();
    void playWhileStopping();
    void pauseWhilePlayWaitsForTheOldTask();
    void playerCallsInItsOwnWait();

private:
    std::unique_ptr<PodSim> m_sim;
};

void TestReentrancy::initTestCase()
{
    m_sim = std::make_unique<PodSim>(QStringList{u"--size"_s, u"320x240"_s});
}

void TestReentrancy::newestWishWins_data()
{
    QTest::addColumn<QString>("how");
    QTest::addColumn<QString>("wish");
    for (const char *how : {"rtsp", "udp", "attempt"}) {
        if (!kUdpStreamsCanRun && QLatin1String(how) == "udp"_L1)
            continue;
        for (const char *wish : {"stop", "destruction", "quit", "play"})
            QTest::addRow("%s: %s", how, wish)
                << QString::fromLatin1(how) << QString::fromLatin1(wish);
    }
    // Not in an attempt: the one after a cancelled one ends silently.
    QTest::newRow("rtsp: reconnect") << u"rtsp"_s << u"reconnect"_s;
}

void TestReentrancy::newestWishWins()
{
    QFETCH(QString, how);
    QFETCH(QString, wish);
    Waiting waiting(how);
    if (wish == "quit"_L1) {
        QTimer::singleShot(0, qApp, [&] { waiting.run([] { QCoreApplication::quit(); }); });
        QCoreApplication::exec();
        waiting.item.reset();
        QVERIFY(waiting.sinceWish.elapsed() < 1000);
        return;
    }
    if (wish == "destruction"_L1) {
        waiting.run([&] { waiting.item.reset(); });
        QVERIFY(waiting.sinceWish.elapsed() < kPromptlyMs);
        QTest::qWait(100); // what it left behind comes to its end
        return;
    }
    waiting.run([&] {
        if (wish == "stop"_L1)
            return waiting.item->stop();
        waiting.item->setSource(m_sim->rtspUrl());
        wish == "play"_L1 ? waiting.item->play() : waiting.item->reconnect();
    });
    const QString wished = wish == "stop"_L1 ? kStopped : kPlaying;
    if (wish == "reconnect"_L1) // the others are done when they return
        QTRY_COMPARE_WITH_TIMEOUT(waiting.item->status(), wished, kSettleMs);
    else if (wish == "stop"_L1)
        QVERIFY(waiting.sinceWish.elapsed() < kPromptlyMs);
    QCOMPARE(waiting.item->status(), wished);
    QTest::qWait(300); // nothing that was overtaken may speak up later
    QCOMPARE(waiting.item->status(), wished);
    QCOMPARE(waiting.item->playing(), wished == kPlaying);
    QVERIFY(!waiting.item->isReconnecting());
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
    const QSignalSpy states(&player, &FFmpegPlayer::playingStateChanged);
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
    const QSignalSpy errors(&player, &FFmpegPlayer::errorOccurred);
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
