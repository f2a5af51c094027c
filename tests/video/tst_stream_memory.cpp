// Decode tasks and reconnect threads that outlive those who started them. The checks are the
// sanitizers': every case leaves a thread behind that must touch nothing freed or shared.

#include "Ffmpeg.h"
#include "LogCatcher.h"
#include "RtspStub.h"
#include "video/FFmpegPlayer.h"
#include "video/VideoRenderer.h"

#include <QElapsedTimer>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThreadPool>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <thread>

using namespace Qt::StringLiterals;

namespace {

/// A named pipe with a transport stream in it that stops but does not end: reading it blocks in
/// the kernel, where no interrupt callback reaches.
class StuckStream
{
public:
    StuckStream(const QByteArray &video, const QString &path)
        : m_path(path)
    {
        mkfifo(path.toLocal8Bit().constData(), 0600);
        m_writer = std::thread([this, video] {
            m_pipe = ::open(m_path.toLocal8Bit().constData(), O_WRONLY);
            [[maybe_unused]] const ssize_t written =
                ::write(m_pipe, video.constData(), size_t(video.size()));
        });
    }

    ~StuckStream() { unblock(); }

    /// Ends the stream: now the read returns.
    void unblock()
    {
        if (!m_writer.joinable())
            return;
        m_writer.join();
        ::close(m_pipe);
    }

    QString path() const { return m_path; }

private:
    QString m_path;
    int m_pipe = -1;
    std::thread m_writer;
};

/// Plays until the last picture has been shown over and over: the task has nothing left to decode
/// and waits for more.
void runDry(FFmpegPlayer &player, const QString &path)
{
    QVERIFY(player.open(path));
    qint64 lastPicture = 0;
    int repeats = 0;
    const auto watch =
        QObject::connect(&player, &FFmpegPlayer::frameReady, &player, [&](const QImage &picture) {
            repeats = picture.cacheKey() == lastPicture ? repeats + 1 : 0;
            lastPicture = picture.cacheKey();
        });
    player.play();
    QTRY_VERIFY_WITH_TIMEOUT(repeats >= 15, 20000);
    QObject::disconnect(watch);
}

} // namespace

class TestStreamMemory : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void taskOutlivesItsPlayer();
    void taskOutlivesItsStream();
    void attemptAbandonedWhileItsCallIsQueued();
    void itemDestroyedInMidAttempt();
    void attemptsAfterACancelledOneEndSilently();

private:
    QTemporaryDir m_folder;
    QString m_path = m_folder.filePath(u"video.ts"_s);
    QByteArray m_video;
};

void TestStreamMemory::initTestCase()
{
    QVERIFY(makeVideo(m_path));
    QFile file(m_path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    m_video = file.readAll();
}

void TestStreamMemory::taskOutlivesItsPlayer()
{
    StuckStream stream(m_video, m_folder.filePath(u"pipe1"_s));
    LogCatcher log;
    {
        FFmpegPlayer player;
        runDry(player, stream.path());
    }
    QVERIFY(log.contains(u"解码线程未退出（超时），强制处理"_s));
    QVERIFY(!log.contains(u"解码线程已结束"_s));
    stream.unblock();
    QTRY_VERIFY(log.contains(u"解码线程已结束"_s));
    QVERIFY(QThreadPool::globalInstance()->waitForDone(5000));
}

void TestStreamMemory::taskOutlivesItsStream()
{
    StuckStream stream(m_video, m_folder.filePath(u"pipe2"_s));
    LogCatcher log;
    FFmpegPlayer player;
    QSignalSpy lost(&player, &FFmpegPlayer::connectionLost);
    runDry(player, stream.path());
    player.stop();
    // The next playback runs while the first task is still inside its read.
    QVERIFY(player.open(m_path));
    player.play();
    QTRY_COMPARE_WITH_TIMEOUT(lost.size(), 1, 10000); // its end
    player.pause();
    QVERIFY(!log.contains(u"解码线程已结束"_s));

    lost.clear();
    stream.unblock();
    QTRY_COMPARE(log.count(u"解码线程已结束"_s), 1);
    QTest::qWait(200);
    QCOMPARE(lost.size(), 0); // the old stream's end is nobody's loss
}

void TestStreamMemory::attemptAbandonedWhileItsCallIsQueued()
{
    const RtspStub stub(RtspStub::Manner::Silent);
    LogCatcher log;
    VideoRenderer item;
    item.setSource(stub.url());
    item.reconnect();
    // The GUI thread serves no events, so the worker's first call stays in the queue.
    QElapsedTimer timer;
    timer.start();
    while (!log.contains(u"[ReconnectWorker] 开始重连"_s) && timer.elapsed() < 5000)
        QThread::msleep(1);
    QThread::msleep(50);
    timer.restart();
    item.stop();
    QVERIFY(timer.elapsed() < VideoRenderer::kReconnectThreadWaitMs);
    QVERIFY(!log.contains(u"强制终止重连线程"_s));
    QTest::qWait(300); // the queued call is served now, for nobody
    QVERIFY(!log.contains(u"尝试打开"_s));
    QCOMPARE(item.status(), u"已停止"_s);
}

void TestStreamMemory::itemDestroyedInMidAttempt()
{
    // At every phase: call queued, settling pause, open queued.
    for (const int eventsMs : {0, 20, 150, 290, 310}) {
        const RtspStub stub(RtspStub::Manner::Silent);
        auto item = std::make_unique<VideoRenderer>();
        item->setTimeout(100000);
        item->setSource(stub.url());
        item->reconnect();
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < eventsMs)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        QThread::msleep(30);
        item.reset();
        QCoreApplication::processEvents();
    }
}

void TestStreamMemory::attemptsAfterACancelledOneEndSilently()
{
    LogCatcher log;
    VideoRenderer item;
    item.setSource(m_path);
    item.reconnect();
    item.stop();
    item.reconnect();
    QTRY_VERIFY(log.contains(u"[ReconnectWorker] 重连被取消"_s));
    QTest::qWait(500);
    QVERIFY(!log.contains(u"尝试打开"_s));
    QCOMPARE(item.status(), u"重连中... (1/10)"_s);
    QVERIFY(item.isReconnecting());
    item.stop();
}

QTEST_MAIN(TestStreamMemory)
#include "tst_stream_memory.moc"
