// The player against real streams: podsim's RTSP server, ffmpeg as UDP sender, files, dead servers.

#include "Ffmpeg.h"
#include "LogCatcher.h"
#include "PodSim.h"
#include "RtspStub.h"
#include "SilentListener.h"
#include "UdpStreams.h"
#include "video/FFmpegPlayer.h"
#include "video/LatencyStrip.h"
#include "video/MediaStream.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <optional>
#include <tuple>

using namespace Qt::StringLiterals;

static constexpr int kPictureWaitMs = 15000;

class TestPlayer : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void optionSets();
    void failureTexts();
    void deadRtspServersAreGivenUp_data();
    void deadRtspServersAreGivenUp();
    void abortEndsAnOpenAtOnce();
    void rtspPlaysPausesAndStops();
    void picturesComeAtTheInterval();
    void endOfFileIsLostOnce();
    void stallIsLostOncePerStall();
    void serverDeathIsLost();
    void udpPlays();
    void sizeChangeInMidStream();

private:
    QTemporaryDir m_folder;
    QString m_video = m_folder.filePath(u"video.ts"_s);
    QString m_audio = m_folder.filePath(u"audio.wav"_s);
    std::unique_ptr<PodSim> m_sim;
};

void TestPlayer::initTestCase()
{
    m_sim = std::make_unique<PodSim>(QStringList{u"--size"_s, u"320x240"_s});
    QVERIFY(makeVideo(m_video));
    QVERIFY(runFfmpeg(u"-f lavfi -i sine=duration=1"_s, m_audio));
}

void TestPlayer::optionSets()
{
    const QString udp = u"buffer_size=8192000 rcvbuf=16777216 timeout=10000000 reuse=1 "
                        "probesize=10000000 analyzeduration=5000000"_s;
    const QString rtsp = u"rtsp_transport=tcp stimeout=700000 buffer_size=4096 max_delay=55 "
                         "fflags=nobuffer flags=low_delay avioflags=direct probesize=5000000 "
                         "analyzeduration=500000 framedrop=1"_s;
    const QString other = u"buffer_size=4096 timeout=700000"_s;
    const std::tuple<QString, unsigned, QString> cases[] = {
        {u"udp://x"_s, 59, udp},   {u"rtsp://x"_s, 59, rtsp + u" timeout=700000"_s},
        {u"rtsp://x"_s, 58, rtsp}, // where that option meant listening
        {u"/x.ts"_s, 59, other},   {u"UDP://x"_s, 59, other},
    };
    for (const auto &[url, formatMajor, expected] : cases) {
        QStringList set;
        const stream_options::Settings settings{4096, u"tcp"_s, 700000, 55};
        for (const auto &option : stream_options::optionsFor(url, settings, formatMajor))
            set.append(QString::fromLatin1(option.key + '=' + option.value));
        QCOMPARE(set.join(u' '), expected);
    }
}

void TestPlayer::failureTexts()
{
    const std::pair<QString, QString> cases[] = {
        {u"/no/such/file.ts"_s, u"无法打开视频流: No such file or directory"_s},
        {m_audio, u"未找到视频流"_s},
        {u"udp://256.1.1.1:1000"_s, u"无法打开UDP流: "_s},
        {u"UDP://"_s, u"无法打开视频流: "_s},
        {QString(), u"无法打开视频流: "_s},
    };
    for (const auto &[url, expected] : cases) {
        FFmpegPlayer player;
        const QSignalSpy errors(&player, &FFmpegPlayer::errorOccurred);
        QVERIFY(!player.open(url));
        QCOMPARE(errors.size(), 1);
        QVERIFY2(errors[0][0].toString().startsWith(expected), qPrintable(url));
        player.play();
        QCOMPARE(errors.size(), 2);
        QCOMPARE(errors[1][0].toString(), u"播放器未初始化"_s);
        QVERIFY(!player.isPlaying());
    }
}

void TestPlayer::deadRtspServersAreGivenUp_data()
{
    QTest::addColumn<int>("kind");
    const char *const names[] = {"silent", "silent status", "no media", "refused", "mute"};
    for (int kind = 0; kind < std::ssize(names); ++kind)
        QTest::newRow(names[kind]) << kind;
}

// An open takes one time-out to connect, one for each of the four requests and one for the media,
// and the time that is spent on analysing media: never more, whatever the server leaves out.
void TestPlayer::deadRtspServersAreGivenUp()
{
    enum { Refused = 3, Mute };
    QFETCH(int, kind);
    const RtspStub stub(kind < Refused ? RtspStub::Manner(kind) : RtspStub::Manner::Silent);
    const SilentListener mute;
    const int freePort = [] {
        QTcpServer server;
        server.listen(QHostAddress::LocalHost);
        return int(server.serverPort());
    }();
    const QString url = kind < Refused
                            ? stub.url()
                            : u"rtsp://127.0.0.1:%1/x"_s.arg(kind == Mute ? mute.port() : freePort);
    constexpr int kTimeoutUs = 500000;
    constexpr int kBoundMs = 6 * kTimeoutUs / 1000 + 500;
    FFmpegPlayer player;
    player.setTimeout(kTimeoutUs);
    const QSignalSpy lost(&player, &FFmpegPlayer::connectionLost);
    QElapsedTimer timer;
    timer.start();
    const bool opened = player.open(url);
    QVERIFY2(timer.elapsed() < kBoundMs, qPrintable(QString::number(timer.elapsed())));
    QCOMPARE(opened, RtspStub::Manner(kind) == RtspStub::Manner::NoMedia); // it has described it
    if (opened) {
        player.play();
        QTRY_COMPARE_WITH_TIMEOUT(lost.size(), 1, 8000);
        player.stop();
        QTRY_VERIFY(stub.wasTornDown()); // a pod left streaming refuses the next console
    }
}

void TestPlayer::abortEndsAnOpenAtOnce()
{
    const RtspStub stub(RtspStub::Manner::Silent);
    for (const QString &url : {stub.url(), kUdpStreamsCanRun ? freeUdpUrl() : stub.url()}) {
        OpenRequest request{url, {}, std::make_shared<AbortFlag>(false)};
        request.settings.timeoutUs = 60000000;
        std::unique_ptr<QThread> closer(QThread::create([abort = request.abort] {
            QThread::msleep(300); // a moment at which the open surely waits
            *abort = true;
        }));
        closer->start();
        QElapsedTimer timer;
        timer.start();
        QVERIFY(!openMediaStream(request).stream);
        QVERIFY2(timer.elapsed() < 3000, qPrintable(url));
        closer->wait();
    }
}

void TestPlayer::rtspPlaysPausesAndStops()
{
    FFmpegPlayer player;
    LogCatcher log;
    QSignalSpy frames(&player, &FFmpegPlayer::frameReady);
    QSignalSpy states(&player, &FFmpegPlayer::playingStateChanged);
    QVERIFY(player.open(m_sim->rtspUrl()));
    QVERIFY(!player.isPlaying());
    player.play();
    player.play(); // nothing more
    QVERIFY(player.property("playing").toBool());
    QTRY_VERIFY_WITH_TIMEOUT(frames.size() > 5, kPictureWaitMs);
    const auto picture = frames.last()[0].value<QImage>();
    QCOMPARE(picture.size(), QSize(320, 240));
    QCOMPARE(picture.format(), QImage::Format_RGBA8888);
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    QVERIFY(latency_strip::read(picture, picture.rect(), now)); // neither torn nor miscoloured

    player.pause();
    QVERIFY(!player.isPlaying());
    frames.clear();
    QTest::qWait(150);
    QCOMPARE(frames.size(), 0);
    player.play(); // a second decode task takes over from the idle one
    QVERIFY(log.contains(u"等待之前的解码线程结束"_s));
    QTRY_VERIFY_WITH_TIMEOUT(frames.size() > 5, kPictureWaitMs);
    QTRY_COMPARE(log.count(u"解码线程已结束"_s), 1); // the first, and only it

    player.stop();
    QVERIFY(!player.isPlaying());
    QCOMPARE(states.size(), 4);
    QCOMPARE(states[1][0].toBool(), false);
    QCOMPARE(states[3][0].toBool(), false);
    frames.clear();
    player.renderFrame();
    QCOMPARE(frames.size(), 0); // the picture is forgotten
    player.close();             // must not lock itself out
}

void TestPlayer::picturesComeAtTheInterval()
{
    // Clamped at 1 ms: pictures must come at all, and at 1000 ms: about one a second.
    FFmpegPlayer player;
    const QSignalSpy frames(&player, &FFmpegPlayer::frameReady);
    player.setFrameInterval(5000);
    player.setMaxDelay(-1);
    QVERIFY(player.open(m_sim->rtspUrl()));
    player.play();
    QTRY_COMPARE_WITH_TIMEOUT(frames.size(), 2, 4000);
}

void TestPlayer::endOfFileIsLostOnce()
{
    FFmpegPlayer player;
    QSignalSpy lost(&player, &FFmpegPlayer::connectionLost);
    QSignalSpy frames(&player, &FFmpegPlayer::frameReady);
    QVERIFY(player.open(m_video));
    player.play();
    QTRY_COMPARE_WITH_TIMEOUT(lost.size(), 1, kPictureWaitMs);
    QVERIFY(player.isPlaying()); // a loss stops nothing by itself
    frames.clear();
    QTRY_VERIFY(frames.size() > 3); // the last picture is sent again and again
    QTest::qWait(4200);             // well past the heartbeat's limit
    QCOMPARE(lost.size(), 1);
}

void TestPlayer::stallIsLostOncePerStall()
{
    FFmpegPlayer player;
    QSignalSpy lost(&player, &FFmpegPlayer::connectionLost);
    QSignalSpy frames(&player, &FFmpegPlayer::frameReady);
    QVERIFY(player.open(m_sim->rtspUrl()));
    player.play();
    QTRY_VERIFY_WITH_TIMEOUT(frames.size() > 2, kPictureWaitMs);
    for (int stall = 1; stall <= 2; ++stall) {
        m_sim->fault(u"video stall"_s);
        QTRY_COMPARE_WITH_TIMEOUT(lost.size(), stall, 10000);
        QVERIFY(player.isLost());
        m_sim->fault(u"video resume"_s);
        QTRY_VERIFY_WITH_TIMEOUT(!player.isLost(), kPictureWaitMs);
    }
    player.stop();
    QVERIFY(!player.isLost());
}

void TestPlayer::serverDeathIsLost()
{
    PodSim sim({u"--size"_s, u"320x240"_s});
    FFmpegPlayer player;
    QSignalSpy lost(&player, &FFmpegPlayer::connectionLost);
    QVERIFY(player.open(sim.rtspUrl()));
    player.play();
    sim.fault(u"video kill"_s);
    QTRY_COMPARE_WITH_TIMEOUT(lost.size(), 1, 10000);
    sim.fault(u"video restart"_s);
    QVERIFY(player.open(sim.rtspUrl())); // stops what was playing
    QVERIFY(!player.isPlaying());
}

void TestPlayer::udpPlays()
{
    if (!kUdpStreamsCanRun)
        QSKIP("not under the thread sanitizer");
    const QString url = freeUdpUrl();
    std::optional<ChildProcess> sender;
    sender.emplace(u"ffmpeg"_s,
                   u"-nostdin -loglevel error -re -f lavfi -i testsrc=size=320x240:rate=25 "
                   "-c:v libx264 -tune zerolatency -g 25 -f mpegts %1"_s.arg(url)
                       .split(u' '),
                   ChildProcess::End::Anyhow);
    FFmpegPlayer player;
    QSignalSpy frames(&player, &FFmpegPlayer::frameReady);
    QSignalSpy lost(&player, &FFmpegPlayer::connectionLost);
    QVERIFY(player.open(url));
    player.play();
    QTRY_VERIFY_WITH_TIMEOUT(frames.size() > 5, kPictureWaitMs);
    QCOMPARE(frames.last()[0].value<QImage>().size(), QSize(320, 240));
    sender.reset();
    QTRY_COMPARE_WITH_TIMEOUT(lost.size(), 1, 10000);
}

void TestPlayer::sizeChangeInMidStream()
{
    // Two sizes in one file: the converter must follow, not write past the picture.
    const QString larger = m_folder.filePath(u"large.ts"_s);
    QVERIFY(makeVideo(larger, u"640x360"_s));
    FFmpegPlayer player;
    QSignalSpy frames(&player, &FFmpegPlayer::frameReady);
    QVERIFY(player.open(u"concat:%1|%2"_s.arg(m_video, larger)));
    player.play();
    QTRY_VERIFY_WITH_TIMEOUT(!frames.isEmpty()
                                 && frames.last()[0].value<QImage>().size() == QSize(640, 360),
                             kPictureWaitMs);
}

QTEST_GUILESS_MAIN(TestPlayer)
#include "tst_player.moc"
