// What may happen while the video item waits for a stream, and what is left when it waits no
// longer: the newest wish wins, the events go on being served, and decode tasks and reconnect
// threads that outlive those who started them touch nothing freed (as the sanitizers see).

#include "Ffmpeg.h"
#include "Files.h"
#include "LogCatcher.h"
#include "PodSim.h"
#include "UdpStreams.h"
#include "async/BackgroundCall.h"
#include "video/FFmpegPlayer.h"
#include "video/VideoRenderer.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
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
constexpr int kNothingMeanwhileMs = 300; // for what was overtaken to speak up, which it must not
constexpr int kLongTimeoutUs = 20000000;
const QString kPlaying = u"播放中"_s;
const QString kStopped = u"已停止"_s;
const QString kTaskEnded = u"解码线程已结束"_s;

/// Makes a named pipe with a transport stream in it that does not end before the returned writing
/// end is closed: reading it blocks in the kernel, where no interrupt callback reaches.
int makeStuckStream(const QString &video, const QString &path)
{
    mkfifo(qPrintable(path), 0600);
    const int pipe = ::open(qPrintable(path), O_RDWR);
    fcntl(pipe, F_SETPIPE_SZ, 1 << 20);
    const QByteArray bytes = contentOf(video);
    return ::write(pipe, bytes.constData(), size_t(bytes.size())) > 0 ? pipe : -1;
}

/// Plays until the last picture has been shown over and over: the task waits for more.
void runDry(FFmpegPlayer &player, const QString &path)
{
    QVERIFY(player.open(path));
    const QSignalSpy frames(&player, &FFmpegPlayer::frameReady);
    const auto key = [&](qsizetype behindLast) {
        return frames[frames.size() - 1 - behindLast][0].value<QImage>().cacheKey();
    };
    player.play();
    QTRY_VERIFY_WITH_TIMEOUT(frames.size() > 15 && key(15) == key(0), kSettleMs);
}

void ask(std::unique_ptr<VideoRenderer> &item, const QString &wish)
{
    if (wish == "quit"_L1) {
        QCoreApplication::quit();
    } else if (wish == "destroy"_L1) {
        item.reset();
    } else if (wish == "destroy and go on"_L1) {
        item.reset();
        QThread::msleep(250); // the open may succeed meanwhile, aborted as it is
    } else if (wish == "settings"_L1) {
        item->pause();
        item->setAutoReconnect(false);
    } else {
        QMetaObject::invokeMethod(item.get(), qPrintable(wish)); // play, stop, reconnect
    }
}

} // namespace

class TestReentrancy : public QObject
{
    Q_OBJECT

private slots:
    void newestWishWins_data();
    void newestWishWins();
    void taskOutlivesItsStreamAndItsPlayer();
    void resumingAfterALongPauseIsNoLoss();
    void oneGateEndsEveryWait();

private:
    PodSim m_sim{{u"--size"_s, u"320x240"_s}};
};

void TestReentrancy::newestWishWins_data()
{
    QTest::addColumn<QString>("stream");
    QTest::addColumn<QString>("begin");
    QTest::addColumn<QString>("wish");
    QTest::addColumn<int>("atMs"); // into the wait
    QTest::addColumn<QString>("outcome");
    const auto row = [](const char *stream, const char *begin, const char *wish, int atMs,
                        const QString &outcome) {
        QTest::addRow("%s, %s, %s at %d ms", stream, begin, wish, atMs)
            << QString::fromLatin1(stream) << QString::fromLatin1(begin)
            << QString::fromLatin1(wish) << atMs << outcome;
    };
    const QString gone;
    const std::array<std::pair<const char *, QString>, 4> wishes = {
        {{"stop", kStopped}, {"destroy", gone}, {"quit", gone}, {"play", kPlaying}}};
    for (const auto &[wish, outcome] : wishes) {
        row("rtsp", "play", wish, kOpeningMs, outcome);
        if (kUdpStreamsCanRun)
            row("udp", "play", wish, kOpeningMs, outcome);
        row("rtsp", "reconnect", wish, 300 + kOpeningMs, outcome); // after the attempt's pause
    }
    row("rtsp", "reconnect", "stop", 0, kStopped);
    for (const int atMs : {0, 20, 150, 290}) // first call queued, served, the pause, the open
        row("rtsp", "reconnect", "destroy", atMs, gone);
    row("rtsp", "play", "reconnect", kOpeningMs, kPlaying);
    row("live", "stop", "play", 0, kPlaying);
    for (const int atMs : {0, 40, 80})
        row("ready", "play", "destroy and go on", atMs, gone);
    // No wish for another stream: the open goes on, and what they say holds when it has failed.
    row("rtsp", "play", "settings", kOpeningMs, u"连接失败"_s);
}

void TestReentrancy::newestWishWins()
{
    QFETCH(QString, stream);
    QFETCH(QString, begin);
    QFETCH(QString, wish);
    QFETCH(int, atMs);
    QFETCH(QString, outcome);
    QTcpServer silent; // takes the connection and never says a word
    QVERIFY(silent.listen(QHostAddress::LocalHost));
    const QString silentUrl = u"rtsp://127.0.0.1:%1/x"_s.arg(silent.serverPort());
    auto item = std::make_unique<VideoRenderer>();
    item->setSource(stream == "udp"_L1 ? freeUdpUrl() : silentUrl);
    item->setTimeout(wish == "settings"_L1 ? 1000000 : kLongTimeoutUs);
    if (stream == "live"_L1 || stream == "ready"_L1)
        item->setSource(m_sim.rtspUrl());
    if (stream == "live"_L1)
        item->play();
    const LogCatcher log;
    int ticks = 0;
    QTimer ticker;
    connect(&ticker, &QTimer::timeout, this, [&] { ++ticks; });
    ticker.start(10);
    QElapsedTimer sinceWish;
    QTimer::singleShot(0, this, [&] { ask(item, begin); });
    QTimer::singleShot(atMs, this, [&] {
        QThread::msleep(30); // an attempt's thread goes on meanwhile, its call stays in the queue
        sinceWish.start();
        item->setSource(m_sim.rtspUrl());
        ask(item, wish);
    });
    if (wish == "quit"_L1) {
        QCoreApplication::exec();
        item.reset();
    } else {
        QTRY_VERIFY(sinceWish.isValid());
    }
    QVERIFY2(ticks >= atMs / 50, "the events stood still"); // of about atMs / 10
    if (outcome != kPlaying)
        QVERIFY(sinceWish.elapsed() < (wish == "quit"_L1 ? 1000 : kPromptlyMs));
    if (item)
        QTRY_COMPARE_WITH_TIMEOUT(item->status(), outcome, kSettleMs);
    QTest::qWait(kNothingMeanwhileMs);
    if (item) {
        QCOMPARE(item->status(), outcome);
        QCOMPARE(item->playing(), outcome == kPlaying);
        QVERIFY(!item->isReconnecting());
    }
    QVERIFY(!log.contains(u"强制终止重连线程"_s));
    while (const QTcpSocket *client = silent.nextPendingConnection())
        QTRY_COMPARE(client->state(), QAbstractSocket::UnconnectedState); // the open was aborted
}

void TestReentrancy::taskOutlivesItsStreamAndItsPlayer()
{
    const QTemporaryDir folder;
    const QString video = folder.filePath(u"video.ts"_s);
    QVERIFY(makeVideo(video));
    const QString first = folder.filePath(u"pipe1"_s);
    const QString second = folder.filePath(u"pipe2"_s);
    const int firstPipe = makeStuckStream(video, first);
    const int secondPipe = makeStuckStream(video, second);
    const LogCatcher log;
    {
        FFmpegPlayer player;
        QSignalSpy lost(&player, &FFmpegPlayer::connectionLost);
        runDry(player, first);
        player.stop();
        // The next playback runs while the first task is still inside its read.
        QVERIFY(player.open(video));
        player.play();
        QTRY_COMPARE_WITH_TIMEOUT(lost.size(), 1, kSettleMs); // its end
        player.pause();
        QVERIFY(!log.contains(kTaskEnded));
        lost.clear();
        ::close(firstPipe);
        QTRY_COMPARE(log.count(kTaskEnded), 1);
        QTest::qWait(kNothingMeanwhileMs); // the old stream's end is nobody's loss
        QCOMPARE(lost.size(), 0);
        runDry(player, second);
    }
    QCOMPARE(log.count(u"解码线程未退出（超时），强制处理"_s), 2);
    QCOMPARE(log.count(kTaskEnded), 2); // the first two
    ::close(secondPipe);
    QTRY_COMPARE(log.count(kTaskEnded), 3);
}

void TestReentrancy::resumingAfterALongPauseIsNoLoss()
{
    const QTemporaryDir folder;
    const QString video = folder.filePath(u"video.ts"_s);
    QVERIFY(makeVideo(video));
    const int pipe = makeStuckStream(video, folder.filePath(u"pipe"_s));
    const auto unstick = qScopeGuard([pipe] { ::close(pipe); }); // or the program never ends
    FFmpegPlayer player;
    const QSignalSpy lost(&player, &FFmpegPlayer::connectionLost);
    runDry(player, folder.filePath(u"pipe"_s));
    player.pause();
    QTest::qWait(FFmpegPlayer::kStallLimitMs);
    QTimer::singleShot(FFmpegPlayer::kHeartbeatMs + kNothingMeanwhileMs, &player,
                       [&] { player.stop(); });
    player.play(); // waits for the task that is stuck
    QCOMPARE(lost.size(), 0);
}

void TestReentrancy::oneGateEndsEveryWait()
{
    Gate gate;
    QTimer::singleShot(0, this, [&] {
        QTimer::singleShot(0, this, [&] { gate.open(); });
        gate.waitServingEvents(kSettleMs);
    });
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(gate.waitServingEvents(kSettleMs), Gate::Result::Opened);
    QVERIFY(timer.elapsed() < kSettleMs / 2);
}

QTEST_MAIN(TestReentrancy)
#include "tst_reentrancy.moc"
