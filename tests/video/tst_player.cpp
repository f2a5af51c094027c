// The player against real streams: podsim's RTSP server, ffmpeg as UDP sender, files, dead servers.

#include "ChildProcess.h"
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
#include <QUdpSocket>

#include <memory>
#include <optional>

using namespace Qt::StringLiterals;

namespace {

constexpr int kPictureWaitMs = 15000;

/// Runs ffmpeg to its end; false when it failed.
bool runFfmpeg(const QStringList &arguments)
{
    ChildProcess process(
        u"ffmpeg"_s, QStringList{u"-nostdin"_s, u"-y"_s, u"-loglevel"_s, u"error"_s} + arguments,
        ChildProcess::End::Anyhow);
    return process.succeeds(60000);
}

quint16 freeUdpPort()
{
    QUdpSocket socket;
    socket.bind(QHostAddress::LocalHost, 0);
    return socket.localPort();
}

} // namespace

class TestPlayer : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void optionSets_data();
    void optionSets();
    void setterRules();
    void failureTexts_data();
    void failureTexts();
    void deadRtspServersAreGivenUp_data();
    void deadRtspServersAreGivenUp();
    void abortEndsAnOpenAtOnce();
    void rtspPlaysPausesAndStops();
    void endOfFileIsLostOnce();
    void stallIsLostOncePerStall();
    void serverDeathIsLost();
    void streamThatNeverDeliversIsLost();
    void udpPlays();
    void sizeChangeInMidStream();

private:
    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<PodSim> m_sim;
};

void TestPlayer::initTestCase()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
    m_sim = std::make_unique<PodSim>(QStringList{u"--size"_s, u"320x240"_s});
    QVERIFY(runFfmpeg({u"-f"_s, u"lavfi"_s, u"-i"_s, u"testsrc=size=320x240:rate=25:duration=2"_s,
                       u"-c:v"_s, u"libx264"_s, m_folder->filePath(u"video.ts"_s)}));
    QVERIFY(runFfmpeg(
        {u"-f"_s, u"lavfi"_s, u"-i"_s, u"sine=duration=1"_s, m_folder->filePath(u"audio.wav"_s)}));
}

void TestPlayer::optionSets_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<unsigned>("formatMajor");
    QTest::addColumn<QString>("expected");
    const QString udp = u"buffer_size=8192000 rcvbuf=16777216 timeout=10000000 reuse=1 "
                        "probesize=10000000 analyzeduration=5000000"_s;
    const QString rtsp = u"rtsp_transport=tcp stimeout=700000 buffer_size=4096 max_delay=55 "
                         "fflags=nobuffer flags=low_delay avioflags=direct probesize=5000000 "
                         "analyzeduration=500000 framedrop=1"_s;
    const QString other = u"buffer_size=4096 timeout=700000"_s;
    QTest::newRow("udp") << u"udp://x"_s << 59U << udp;
    QTest::newRow("rtsp, time-out renamed") << u"rtsp://x"_s << 59U << rtsp + u" timeout=700000"_s;
    QTest::newRow("rtsp, time-out means listening") << u"rtsp://x"_s << 58U << rtsp;
    QTest::newRow("file") << u"/x.ts"_s << 59U << other;
    QTest::newRow("upper case is no scheme of ours") << u"UDP://x"_s << 59U << other;
}

void TestPlayer::optionSets()
{
    QFETCH(QString, url);
    QFETCH(unsigned, formatMajor);
    QStringList set;
    const stream_options::Settings settings{4096, u"tcp"_s, 700000, 55};
    for (const auto &option : stream_options::optionsFor(url, settings, formatMajor))
        set.append(QString::fromLatin1(option.key + '=' + option.value));
    QTEST(set.join(u' '), "expected");
}

void TestPlayer::setterRules()
{
    // Clamped at 1 ms: pictures must come at all, and at 1000 ms: about one a second.
    FFmpegPlayer player;
    QSignalSpy frames(&player, &FFmpegPlayer::frameReady);
    player.setFrameInterval(5000);
    player.setMaxDelay(-1);
    QVERIFY(player.open(m_sim->rtspUrl()));
    player.play();
    QTRY_COMPARE_WITH_TIMEOUT(frames.size(), 2, 4000);
}

void TestPlayer::failureTexts_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("expected");
    QTest::newRow("missing file") << u"/no/such/file.ts"_s
                                  << u"无法打开视频流: No such file or directory"_s;
    QTest::newRow("no video") << m_folder->filePath(u"audio.wav"_s) << u"未找到视频流"_s;
    QTest::newRow("bad udp address") << u"udp://256.1.1.1:1000"_s << u"无法打开UDP流: "_s;
    QTest::newRow("upper-case udp") << u"UDP://"_s << u"无法打开视频流: "_s;
    QTest::newRow("empty") << QString() << u"无法打开视频流: "_s;
}

void TestPlayer::failureTexts()
{
    QFETCH(QString, url);
    QFETCH(QString, expected);
    FFmpegPlayer player;
    QSignalSpy errors(&player, &FFmpegPlayer::errorOccurred);
    QVERIFY(!player.open(url));
    QCOMPARE(errors.size(), 1);
    QVERIFY2(errors[0][0].toString().startsWith(expected), qPrintable(errors[0][0].toString()));
    player.play();
    QCOMPARE(errors.size(), 2);
    QCOMPARE(errors[1][0].toString(), u"播放器未初始化"_s);
    QVERIFY(!player.isPlaying());
}

void TestPlayer::deadRtspServersAreGivenUp_data()
{
    QTest::addColumn<QString>("kind");
    for (const char *kind : {"refused", "mute", "silent", "halfSilent", "noMedia"})
        QTest::newRow(kind) << QString::fromLatin1(kind);
}

// An open takes one time-out to connect, one for each of the four requests and one for the media,
// and the time that is spent on analysing media: never more, whatever the server leaves out.
void TestPlayer::deadRtspServersAreGivenUp()
{
    QFETCH(QString, kind);
    std::unique_ptr<RtspStub> stub;
    std::unique_ptr<SilentListener> mute;
    QString url;
    if (kind == "refused"_L1) {
        QTcpServer server;
        server.listen(QHostAddress::LocalHost, 0);
        url = u"rtsp://127.0.0.1:%1/x"_s.arg(server.serverPort());
    } else if (kind == "mute"_L1) {
        mute = std::make_unique<SilentListener>();
        url = u"rtsp://127.0.0.1:%1/x"_s.arg(mute->port());
    } else {
        stub = std::make_unique<RtspStub>(kind == "silent"_L1    ? RtspStub::Manner::Silent
                                          : kind == "noMedia"_L1 ? RtspStub::Manner::NoMedia
                                                                 : RtspStub::Manner::SilentStatus);
        url = stub->url();
    }
    constexpr int kTimeoutUs = 500000;
    constexpr int kBoundMs = 6 * kTimeoutUs / 1000 + 500;
    FFmpegPlayer player;
    player.setTimeout(kTimeoutUs);
    QElapsedTimer timer;
    timer.start();
    const bool opened = player.open(url);
    QVERIFY2(timer.elapsed() < kBoundMs, qPrintable(QString::number(timer.elapsed())));
    QCOMPARE(opened, kind == "noMedia"_L1); // its description alone is enough to begin with
    player.stop();
    if (opened)
        QTRY_VERIFY(stub->wasTornDown()); // a pod left streaming refuses the next console
}

void TestPlayer::abortEndsAnOpenAtOnce()
{
    const RtspStub stub(RtspStub::Manner::Silent);
    const QString udp = u"udp://127.0.0.1:%1"_s.arg(freeUdpPort());
    for (const QString &url : {stub.url(), udp}) {
        if (url == udp && !kUdpStreamsCanRun)
            continue;
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

void TestPlayer::endOfFileIsLostOnce()
{
    FFmpegPlayer player;
    QSignalSpy lost(&player, &FFmpegPlayer::connectionLost);
    QSignalSpy frames(&player, &FFmpegPlayer::frameReady);
    QVERIFY(player.open(m_folder->filePath(u"video.ts"_s)));
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

void TestPlayer::streamThatNeverDeliversIsLost()
{
    const RtspStub stub(RtspStub::Manner::NoMedia);
    FFmpegPlayer player;
    player.setTimeout(500000);
    QSignalSpy lost(&player, &FFmpegPlayer::connectionLost);
    QVERIFY(player.open(stub.url()));
    player.play();
    QTRY_COMPARE_WITH_TIMEOUT(lost.size(), 1, 8000);
}

void TestPlayer::udpPlays()
{
    if (!kUdpStreamsCanRun)
        QSKIP("not under the thread sanitizer");
    const QString url = u"udp://127.0.0.1:%1"_s.arg(freeUdpPort());
    std::optional<ChildProcess> sender;
    sender.emplace(u"ffmpeg"_s,
                   QStringList{u"-nostdin"_s, u"-loglevel"_s, u"error"_s, u"-re"_s, u"-f"_s,
                               u"lavfi"_s, u"-i"_s, u"testsrc=size=320x240:rate=25"_s, u"-c:v"_s,
                               u"libx264"_s, u"-tune"_s, u"zerolatency"_s, u"-g"_s, u"25"_s,
                               u"-f"_s, u"mpegts"_s, url},
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
    const QString first = m_folder->filePath(u"video.ts"_s);
    const QString second = m_folder->filePath(u"large.ts"_s);
    QVERIFY(runFfmpeg({u"-f"_s, u"lavfi"_s, u"-i"_s, u"testsrc=size=640x360:rate=25:duration=2"_s,
                       u"-c:v"_s, u"libx264"_s, second}));
    FFmpegPlayer player;
    QSignalSpy frames(&player, &FFmpegPlayer::frameReady);
    QVERIFY(player.open(u"concat:%1|%2"_s.arg(first, second)));
    player.play();
    QTRY_VERIFY_WITH_TIMEOUT(!frames.isEmpty()
                                 && frames.last()[0].value<QImage>().size() == QSize(640, 360),
                             kPictureWaitMs);
}

QTEST_GUILESS_MAIN(TestPlayer)
#include "tst_player.moc"
