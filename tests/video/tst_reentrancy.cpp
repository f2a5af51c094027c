// What may happen while the video item waits for a stream, and what is left when it waits no
// longer: the newest wish wins, the events go on being served, and decode tasks and reconnect
// threads that outlive those who started them touch nothing freed (as the sanitizers see).

#include "Ffmpeg.h"
#include "LogCatcher.h"
#include "PodSim.h"
#include "RtspStub.h"
#include "UdpStreams.h"
#include "video/FFmpegPlayer.h"
#include "video/VideoRenderer.h"

#include <QElapsedTimer>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

constexpr int kOpeningMs = 200;   // into an open, which then surely waits
constexpr int kPromptlyMs = 2500; // far below what the opens themselves would take
constexpr int kSettleMs = 20000;
constexpr int kLongTimeoutUs = 20000000;
const QString kPlaying = u"播放中"_s;
const QString kStopped = u"已停止"_s;
const QString kTaskEnded = u"解码线程已结束"_s;

/// A named pipe with a transport stream in it that stops but does not end: reading it blocks in
/// the kernel, where no interrupt callback reaches.
class StuckStream
{
public:
    StuckStream(const QString &videoPath, QString path)
        : m_path(std::move(path))
    {
        mkfifo(qPrintable(m_path), 0600);
        m_pipe = ::open(qPrintable(m_path), O_RDWR);
        fcntl(m_pipe, F_SETPIPE_SZ, 1 << 20);
        QFile video(videoPath);
        QVERIFY(video.open(QIODevice::ReadOnly));
        const QByteArray bytes = video.readAll();
        QVERIFY(::write(m_pipe, bytes.constData(), size_t(bytes.size())) == bytes.size());
    }

    /// Plays until the last picture has been shown over and over: the task waits for more.
    void runDry(FFmpegPlayer &player)
    {
        QVERIFY(player.open(m_path));
        const QSignalSpy frames(&player, &FFmpegPlayer::frameReady);
        const auto key = [&](qsizetype behindLast) {
            return frames[frames.size() - 1 - behindLast][0].value<QImage>().cacheKey();
        };
        player.play();
        QTRY_VERIFY_WITH_TIMEOUT(frames.size() > 15 && key(15) == key(0), kSettleMs);
    }

    /// Ends the stream: now the read returns.
    void unblock() { ::close(m_pipe); }

private:
    QString m_path;
    int m_pipe = -1;
};

} // namespace

class TestReentrancy : public QObject
{
    Q_OBJECT

private slots:
    void newestWishWins_data();
    void newestWishWins();
    void playWhileStopping();
    void pauseWhilePlayWaitsForTheOldTask();
    void playerCallsInItsOwnWait();
    void taskOutlivesItsStreamAndItsPlayer();
    void attemptAbandonedWhileItsCallIsQueued();

private:
    PodSim m_sim{{u"--size"_s, u"320x240"_s}};
};

void TestReentrancy::newestWishWins_data()
{
    QTest::addColumn<QString>("how");
    QTest::addColumn<QString>("wish");
    QTest::addColumn<int>("atMs"); // into the wait
    const auto row = [](const char *how, const char *wish, int atMs) {
        QTest::addRow("%s: %s at %d ms", how, wish, atMs)
            << QString::fromLatin1(how) << QString::fromLatin1(wish) << atMs;
    };
    for (const char *wish : {"stop", "destruction", "quit", "play"}) {
        row("rtsp", wish, kOpeningMs);
        if (kUdpStreamsCanRun)
            row("udp", wish, kOpeningMs);
        row("attempt", wish, 300 + kOpeningMs); // after its pause
    }
    for (const int atMs : {0, 20, 150, 290}) // its first call queued, served, the pause, the open
        row("attempt", "destruction", atMs);
    // Not in an attempt: the one after a cancelled one ends silently.
    row("rtsp", "reconnect", kOpeningMs);
    // No wish for another stream: the open goes on, and what they say holds when it has failed.
    row("rtsp", "settings", kOpeningMs);
}

void TestReentrancy::newestWishWins()
{
    QFETCH(QString, how);
    QFETCH(QString, wish);
    QFETCH(int, atMs);
    const RtspStub stub(RtspStub::Manner::Silent);
    auto item = std::make_unique<VideoRenderer>();
    item->setTimeout(wish == "settings"_L1 ? 1000000 : kLongTimeoutUs);
    item->setSource(how == "udp"_L1 ? freeUdpUrl() : stub.url());
    int ticks = 0;
    QTimer ticker;
    connect(&ticker, &QTimer::timeout, this, [&] { ++ticks; });
    ticker.start(10);
    QElapsedTimer sinceWish;
    QTimer::singleShot(atMs, this, [&] {
        sinceWish.start();
        if (wish == "quit"_L1)
            return QCoreApplication::quit();
        if (wish == "destruction"_L1) {
            QThread::msleep(30); // the attempt's thread goes on meanwhile
            return item.reset();
        }
        if (wish == "stop"_L1)
            return item->stop();
        item->setSource(m_sim.rtspUrl());
        if (wish == "settings"_L1) {
            item->pause();
            return item->setAutoReconnect(false);
        }
        wish == "play"_L1 ? item->play() : item->reconnect();
    });
    const auto begin = [&] { how == "attempt"_L1 ? item->reconnect() : item->play(); };
    if (wish == "quit"_L1) {
        QTimer::singleShot(0, this, begin);
        QCoreApplication::exec();
        item.reset();
        QVERIFY(sinceWish.elapsed() < 1000);
        return;
    }
    begin();
    QTRY_VERIFY(sinceWish.isValid());
    QVERIFY2(ticks >= atMs / 50, "the events stood still"); // of about atMs / 10
    if (wish == "stop"_L1 || wish == "destruction"_L1)
        QVERIFY(sinceWish.elapsed() < kPromptlyMs);
    const QString wished = wish == "stop"_L1       ? kStopped
                           : wish == "settings"_L1 ? u"连接失败"_s
                                                   : kPlaying;
    if (item)
        QTRY_COMPARE_WITH_TIMEOUT(item->status(), wished, kSettleMs);
    QTest::qWait(300); // nothing that was overtaken may speak up later
    if (!item)
        return;
    QCOMPARE(item->status(), wished);
    QCOMPARE(item->playing(), wished == kPlaying);
    QVERIFY(!item->isReconnecting());
}

void TestReentrancy::playWhileStopping()
{
    VideoRenderer item;
    item.setSource(m_sim.rtspUrl());
    item.play();
    QCOMPARE(item.status(), kPlaying);
    QTimer::singleShot(0, &item, &VideoRenderer::play); // served inside the stop's waits
    item.stop();
    QTRY_COMPARE_WITH_TIMEOUT(item.status(), kPlaying, kSettleMs);
    QTest::qWait(200); // nothing that was overtaken may speak up later
    QCOMPARE(item.status(), kPlaying);
    QVERIFY(item.playing());
}

void TestReentrancy::pauseWhilePlayWaitsForTheOldTask()
{
    FFmpegPlayer player;
    const QSignalSpy states(&player, &FFmpegPlayer::playingStateChanged);
    QVERIFY(player.open(m_sim.rtspUrl()));
    player.play();
    player.pause();
    QTimer::singleShot(100, &player, &FFmpegPlayer::pause);
    player.play(); // waits for the idle task, and is taken back meanwhile
    QVERIFY(!player.isPlaying());
    QCOMPARE(states.last()[0].toBool(), false);
}

void TestReentrancy::playerCallsInItsOwnWait()
{
    const RtspStub stub(RtspStub::Manner::Silent);
    FFmpegPlayer player;
    player.setTimeout(kLongTimeoutUs);
    const QSignalSpy errors(&player, &FFmpegPlayer::errorOccurred);
    bool inner = false;
    QTimer::singleShot(kOpeningMs, &player, [&] {
        player.play(); // nothing is open yet
        inner = player.open(m_sim.rtspUrl());
    });
    QVERIFY(!player.open(stub.url()));
    QVERIFY(inner);
    QCOMPARE(errors.size(), 1);
    QCOMPARE(errors[0][0].toString(), u"播放器未初始化"_s);
    player.play(); // the inner open's stream
    QVERIFY(player.isPlaying());
}

void TestReentrancy::taskOutlivesItsStreamAndItsPlayer()
{
    const QTemporaryDir folder;
    const QString video = folder.filePath(u"video.ts"_s);
    QVERIFY(makeVideo(video));
    StuckStream first(video, folder.filePath(u"pipe1"_s));
    StuckStream second(video, folder.filePath(u"pipe2"_s));
    const LogCatcher log;
    {
        FFmpegPlayer player;
        QSignalSpy lost(&player, &FFmpegPlayer::connectionLost);
        first.runDry(player);
        player.stop();
        // The next playback runs while the first task is still inside its read.
        QVERIFY(player.open(video));
        player.play();
        QTRY_COMPARE_WITH_TIMEOUT(lost.size(), 1, kSettleMs); // its end
        player.pause();
        QVERIFY(!log.contains(kTaskEnded));
        lost.clear();
        first.unblock();
        QTRY_COMPARE(log.count(kTaskEnded), 1);
        QTest::qWait(200); // the old stream's end is nobody's loss
        QCOMPARE(lost.size(), 0);
        second.runDry(player);
    }
    QCOMPARE(log.count(u"解码线程未退出（超时），强制处理"_s), 2);
    QCOMPARE(log.count(kTaskEnded), 2); // the first two
    second.unblock();
    QTRY_COMPARE(log.count(kTaskEnded), 3);
}

void TestReentrancy::attemptAbandonedWhileItsCallIsQueued()
{
    const RtspStub stub(RtspStub::Manner::Silent);
    const LogCatcher log;
    VideoRenderer item;
    item.setSource(stub.url());
    item.reconnect();
    // The GUI thread serves no events, so the worker's first call stays in the queue.
    QElapsedTimer timer;
    timer.start();
    while (!log.contains(u"[ReconnectWorker] 开始重连"_s) && timer.elapsed() < 5000)
        QThread::msleep(1);
    QThread::msleep(50); // until the worker surely waits
    timer.restart();
    item.stop();
    QVERIFY(timer.elapsed() < VideoRenderer::kReconnectThreadWaitMs);
    QVERIFY(!log.contains(u"强制终止重连线程"_s));
    QTest::qWait(300); // the queued call is served now, for nobody
    QCOMPARE(item.status(), kStopped);
    item.reconnect(); // ends silently, as every attempt after a cancelled one
    QTRY_COMPARE(log.count(u"[ReconnectWorker] 重连被取消"_s), 2);
    QTest::qWait(500); // longer than its pause
    QVERIFY(!log.contains(u"尝试打开"_s));
    QCOMPARE(item.status(), u"重连中... (1/10)"_s);
}

QTEST_MAIN(TestReentrancy)
#include "tst_reentrancy.moc"
