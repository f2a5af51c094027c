// The player against real streams: podsim's RTSP server and UDP sender, files, dead servers.

#include "CaseTrace.h"
#include "Ffmpeg.h"
#include "Files.h"
#include "LogCatcher.h"
#include "PodSim.h"
#include "RtspStub.h"
#include "SilentListener.h"
#include "UdpStreams.h"
#include "video/FFmpegPlayer.h"
#include "video/FrameConverter.h"
#include "video/LatencyStrip.h"
#include "video/MediaStream.h"
#include "video/StreamTrouble.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <array>
#include <tuple>

using namespace Qt::StringLiterals;

namespace {

constexpr int kPictureWaitMs = 15000;
constexpr int kNothingMeanwhileMs = 150;       // many times the interval of pictures
constexpr int kNoSecondLossMeanwhileMs = 4200; // past the heartbeat's limit

/// A frame of one colour, its planes filled with samples of 8 bits, or of more in 16.
ffmpeg::FramePtr plainFrame(QSize size, AVPixelFormat format, const std::array<int, 3> &samples)
{
    ffmpeg::FramePtr frame(av_frame_alloc());
    frame->width = size.width();
    frame->height = size.height();
    frame->format = format;
    av_frame_get_buffer(frame.get(), 0);
    const AVPixFmtDescriptor *layout = av_pix_fmt_desc_get(format);
    const int sampleBytes = layout->comp[0].depth > 8 ? 2 : 1;
    for (int i = 0; i < 3; ++i) {
        const int rows = AV_CEIL_RSHIFT(size.height(), i > 0 ? layout->log2_chroma_h : 0);
        for (int at = 0; at < frame->linesize[i] * rows; ++at)
            frame->data[i][at] = uint8_t(samples[i] >> (8 * (at % sampleBytes)));
    }
    return frame;
}

} // namespace

class TestPlayer : public QObject
{
    Q_OBJECT

private slots:
    void socketErrorsOfEverySystem();
    void optionSets();
    void failureTexts();
    void silentUdpAddressesAreTold();
    void deadRtspServersAreGivenUp();
    void openingReadsNoMoreThanItNeeds();
    void rtspPlaysPausesAndStops();
    void fileIsPlayedToItsEnd();
    void picturesOfEveryWidthAreWhole();
    void lossIsToldOncePerLoss();
    void coloursAreThoseOfTheStream();

private:
    QTemporaryDir m_folder;
    QString m_udpUrl = freeUdpUrl();
    PodSim m_sim{{u"--size"_s, u"320x240"_s, u"--codec"_s, u"h265"_s, u"--udp"_s, m_udpUrl.mid(6)}};
};

// FFmpeg's codes on Windows; the numbers of Linux mean the same there.
void TestPlayer::socketErrorsOfEverySystem()
{
    const QList<std::tuple<int, StreamTrouble, bool>> cases = {
        {-10050, StreamTrouble::Unreachable, true},         {-10054, StreamTrouble::HungUp, true},
        {-10065, StreamTrouble::Unreachable, false},        {-10099, StreamTrouble::Other, false},
        {AVERROR(ECONNRESET), StreamTrouble::HungUp, true},
    };
    for (const auto &[code, trouble, isLoss] : cases) {
        const CaseTrace trace(code);
        QCOMPARE(troubleOf(code, u"rtsp://127.0.0.1/"_s), trouble);
        QCOMPARE(isNetworkError(code), isLoss);
    }
    QCOMPARE(ffmpegErrorText(-10054), ffmpegErrorText(AVERROR(ECONNRESET)));
}

void TestPlayer::optionSets()
{
    const QString udp = u"buffer_size=8192000 rcvbuf=16777216 timeout=10000000 reuse=1 "
                        "probesize=10000000 analyzeduration=5000000"_s;
    const QString rtsp = u"rtsp_transport=tcp stimeout=700000 buffer_size=4096 max_delay=55 "
                         "fflags=nobuffer flags=low_delay avioflags=direct probesize=5000000 "
                         "analyzeduration=500000 framedrop=1"_s;
    const QString other = u"buffer_size=4096 timeout=700000"_s;
    const QList<std::tuple<QString, unsigned, QString>> cases = {
        {u"udp://x"_s, 59, udp},
        {u"rtsp://x"_s, 59, rtsp + u" timeout=700000"_s},
        {u"rtsp://x"_s, 58, rtsp}, // where that option meant listening
        {u"/x.ts"_s, 59, other},
        {u"UDP://x"_s, 59, other},
        {u"rtmp://x"_s, 59, u"buffer_size=4096 rw_timeout=700000"_s}, // likewise
        {u"rtsps://x"_s, 58, u"buffer_size=4096 rw_timeout=700000"_s},
    };
    for (const auto &[url, formatMajor, expected] : cases) {
        const CaseTrace trace(url, formatMajor);
        QStringList set;
        const stream_options::Settings settings{4096, u"tcp"_s, 700000, 55};
        for (const auto &option : stream_options::optionsFor(url, settings, formatMajor))
            set.append(QString::fromLatin1(option.key + '=' + option.value));
        QCOMPARE(set.join(u' '), expected);
    }
}

void TestPlayer::failureTexts()
{
    const QString audio = m_folder.filePath(u"audio.wav"_s);
    QVERIFY(runFfmpeg(u"-f lavfi -i sine=duration=1"_s, audio));
    const QString large = m_folder.filePath(u"large.h264"_s);
    QVERIFY(runFfmpeg(u"-f lavfi -i color=size=8192x4400:duration=0.04 -c:v libx264"_s, large));
    constexpr auto kTalks = RtspStub::Manner::NoMedia;
    const RtspStub silent(RtspStub::Manner::Silent);
    const RtspStub guarded(kTalks, "401 Unauthorized");
    const RtspStub choosy(kTalks, "461 Unsupported Transport");
    const RtspStub busy(kTalks, "503 Service Unavailable");
    const RtspStub curt(RtspStub::Manner::HangsUp);
    const RtspStub other(RtspStub::Manner::IsNone);
    const QString noise = writeFile(m_folder.filePath(u"noise.bin"_s), QByteArray(200, 'x'));
    const QString unopened = u"无法打开视频流: "_s;
    const QList<std::tuple<QString, QString, StreamTrouble>> cases = {
        {u"/no/such/file.ts"_s, unopened + u"No such file or directory"_s,
         StreamTrouble::NoSuchStream},
        {audio, u"未找到视频流"_s, StreamTrouble::NoVideo},
        // More pixels than any level allows.
        {large, u"无法打开解码器: "_s, StreamTrouble::CannotDecode},
        {u"udp://256.1.1.1:1000"_s, u"无法打开UDP流: "_s, StreamTrouble::UnknownHost},
        {u"rtsp://me@no-such-host.invalid/"_s, unopened, StreamTrouble::UnknownHost},
        {u"rtsp://127.0.0.1:1/x"_s, unopened, StreamTrouble::ConnectionRefused},
        {silent.url(), unopened, StreamTrouble::NoAnswer},
        {guarded.url(), unopened, StreamTrouble::WrongPassword},
        {m_sim.rtspUrl() + u'x', unopened, StreamTrouble::NoSuchStream},
        {choosy.url(), unopened, StreamTrouble::UnsupportedTransport},
        {busy.url(), unopened, StreamTrouble::ServerBusy},
        {curt.url(), unopened, StreamTrouble::HungUp},
        {curt.url().replace(u"rtsp"_s, u"http"_s), unopened, StreamTrouble::HungUp},
        {other.url(), unopened, StreamTrouble::NotUnderstood},
        {u"rtsp://255.255.255.255/"_s, unopened, StreamTrouble::Unreachable},
        {noise, unopened, StreamTrouble::NotUnderstood},
        {u"UDP://"_s, unopened, StreamTrouble::UnknownAddress},
        {QString(), unopened, StreamTrouble::NoSuchStream},
    };
    for (const auto &[url, expected, why] : cases) {
        FFmpegPlayer player;
        player.setTimeout(300000);
        StreamTrouble trouble = StreamTrouble::None;
        player.onTrouble([&](StreamTrouble told) { trouble = told; });
        const QSignalSpy errors(&player, &FFmpegPlayer::errorOccurred);
        QVERIFY(!player.open(url));
        QCOMPARE(errors.size(), 1);
        QVERIFY2(errors[0][0].toString().startsWith(expected), qPrintable(url));
        QVERIFY2(trouble == why, qPrintable(url + u' ' + keyOf(trouble)));
        player.play();
        QCOMPARE(errors.size(), 2);
        QCOMPARE(errors[1][0].toString(), u"播放器未初始化"_s);
    }
}

// Its probing goes on for most of a minute.
void TestPlayer::silentUdpAddressesAreTold()
{
    if (!kUdpStreamsCanRun)
        QSKIP("no UDP input here");
    FFmpegPlayer player;
    StreamTrouble trouble = StreamTrouble::None;
    player.onTrouble([&](StreamTrouble told) {
        trouble = told;
        player.stop(); // the operator has heard enough
    });
    QDeadlineTimer limit(10000);
    QVERIFY(!player.open(freeUdpUrl() + u' ') && !limit.hasExpired());
    QCOMPARE(trouble, StreamTrouble::NothingArrives);
}

// An open takes one time-out to connect, one for each of the four requests and one for the media,
// and the time that is spent on analysing media: never more, whatever the server leaves out.
void TestPlayer::deadRtspServersAreGivenUp()
{
    constexpr int kTimeoutUs = 300000;
    constexpr int kBoundMs = 6 * kTimeoutUs / 1000 + 500; // below a single one as preset
    const LogCatcher log;
    const RtspStub silent(RtspStub::Manner::Silent);
    const RtspStub silentStatus(RtspStub::Manner::SilentStatus);
    const RtspStub noMedia(RtspStub::Manner::NoMedia);
    const SilentListener mute;
    const QString muteUrl = u"rtsp://127.0.0.1:%1/x"_s.arg(mute.port());
    for (const QString &url : {silent.url(), silentStatus.url(), muteUrl, noMedia.url()}) {
        const CaseTrace trace(url);
        FFmpegPlayer player;
        player.setTimeout(kTimeoutUs);
        const QSignalSpy lost(&player, &FFmpegPlayer::connectionLost);
        QElapsedTimer timer;
        timer.start();
        const bool opened = player.open(url);
        QVERIFY2(timer.elapsed() < kBoundMs, qPrintable(url));
        QCOMPARE(opened, url == noMedia.url()); // it has described its stream
        if (opened) {
            player.play();
            QTRY_COMPARE_WITH_TIMEOUT(lost.size(), 1, kPictureWaitMs);
            QVERIFY(!log.contains(u"心跳检测"_s)); // lost by the time-out
            player.stop();
            QTRY_VERIFY(noMedia.wasTornDown()); // a pod left streaming refuses the next console
        }
    }
}

void TestPlayer::openingReadsNoMoreThanItNeeds()
{
    // Each picture read before the first is shown is an interval that the operator waits.
    const PodSim tcpOnly({u"--size"_s, u"320x240"_s, u"--rtsp-tcp-only"_s}); // and H.264
    QStringList urls = {tcpOnly.rtspUrl(), m_sim.rtspUrl()};
    if (kUdpStreamsCanRun)
        urls.append(m_udpUrl);
    const QHash<QString, VideoTransport> transports = {
        {tcpOnly.rtspUrl(), VideoTransport::RtspOverTcp}, {m_udpUrl, VideoTransport::Udp}};
    const ffmpeg::PacketPtr packet(av_packet_alloc());
    for (const QString &url : std::as_const(urls)) {
        const CaseTrace trace(url);
        std::shared_ptr<MediaStream> stream;
        const auto opens = [&] { // a busy server may miss the time-out of a first attempt
            stream = openMediaStream({url, {}, std::make_shared<AbortFlag>(false)}).stream;
            return stream != nullptr;
        };
        QVERIFY(QTest::qWaitFor(opens, kPictureWaitMs));
        QCOMPARE(stream->transport(), transports.value(url, VideoTransport::RtspOverUdp));
        qsizetype pictures = stream->takeHead().size();
        stream->abort(); // only what has been read comes now
        while (!stream->assembler() && av_read_frame(stream->format(), packet.get()) >= 0) {
            pictures += pictures > 0 || (packet->flags & AV_PKT_FLAG_KEY) != 0 ? 1 : 0;
            av_packet_unref(packet.get());
        }
        QVERIFY2(pictures > 0 && pictures < 5, qPrintable(url + u' ' + QString::number(pictures)));
    }
}

void TestPlayer::rtspPlaysPausesAndStops()
{
    FFmpegPlayer player;
    const LogCatcher log;
    QSignalSpy frames(&player, &FFmpegPlayer::frameReady);
    const QSignalSpy states(&player, &FFmpegPlayer::playingStateChanged);
    player.setFrameInterval(-5);                           // becomes 1 ms
    QVERIFY(player.open(u" %1\n"_s.arg(m_sim.rtspUrl()))); // as pasted
    QCOMPARE(player.statistics().transport, VideoTransport::RtspOverUdp);
    QVERIFY(!player.isPlaying());
    player.play();
    player.play(); // nothing more
    QTRY_VERIFY_WITH_TIMEOUT(frames.size() > 5, kPictureWaitMs);
    const auto picture = frames.last()[0].value<QImage>();
    QCOMPARE(picture.size(), QSize(320, 240));
    QCOMPARE(picture.format(), QImage::Format_RGBA8888);
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    QVERIFY(latency_strip::read(picture, picture.rect(), now)); // it is not torn

    player.pause();
    frames.clear();
    QTest::qWait(kNothingMeanwhileMs);
    QCOMPARE(frames.size(), 0);
    player.play(); // a second decode task takes over from the idle one
    QTRY_VERIFY_WITH_TIMEOUT(frames.size() > 5, kPictureWaitMs);
    QTRY_COMPARE(log.count(u"解码线程已结束"_s), 1); // the first, and only it

    player.stop();
    frames.clear();
    player.renderFrame();
    QCOMPARE(frames.size(), 0); // the picture is forgotten
    player.close();             // must not lock itself out
    QCOMPARE(states, QList<QVariantList>({{true}, {false}, {true}, {false}}));
}

void TestPlayer::fileIsPlayedToItsEnd()
{
    const QString file = m_folder.filePath(u"file.ts"_s);
    QVERIFY(makeVideo(file));
    const LogCatcher log;
    FFmpegPlayer player;
    const QSignalSpy lost(&player, &FFmpegPlayer::connectionLost);
    QSignalSpy frames(&player, &FFmpegPlayer::frameReady);
    int newPictures = 0;
    player.onNewPicture([&newPictures](const QImage &) { ++newPictures; });
    player.setFrameInterval(5000); // becomes 1000 ms
    QVERIFY(player.open(file));
    player.play();
    QTRY_COMPARE_WITH_TIMEOUT(lost.size(), 1, kPictureWaitMs);
    QVERIFY(newPictures > frames.size());  // they wait for no tick
    QVERIFY(!log.contains(u"心跳检测"_s)); // lost by its end
    frames.clear();
    QTest::qWait(kNoSecondLossMeanwhileMs);
    QCOMPARE(lost.size(), 1);
    QVERIFY(player.isPlaying());                      // a loss stops nothing by itself
    QVERIFY(frames.size() >= 2 && frames.size() < 6); // the last picture, again and again
}

// swscale leaves the right edge out, or writes past the last row, where it has no room for a whole
// step.
void TestPlayer::picturesOfEveryWidthAreWhole()
{
    FrameConverter converter;
    for (int width = 1; width <= 80; ++width) {
        // An odd height takes another way through swscale.
        const auto frame = plainFrame({width, 4}, AV_PIX_FMT_YUV420P, {width, width, width});
        const QImage picture = converter.convert(frame.get());
        QImage drawn(picture.size(), picture.format());
        drawn.fill(picture.pixelColor(0, 0));
        QCOMPARE(picture, drawn);
    }
}

void TestPlayer::lossIsToldOncePerLoss()
{
    QStringList urls = {m_sim.rtspUrl()};
    if (kUdpStreamsCanRun)
        urls.prepend(m_udpUrl);
    for (const QString &url : std::as_const(urls)) {
        FFmpegPlayer player;
        const QSignalSpy lost(&player, &FFmpegPlayer::connectionLost);
        const QSignalSpy frames(&player, &FFmpegPlayer::frameReady);
        QVERIFY(player.open(url));
        player.play();
        QTRY_VERIFY_WITH_TIMEOUT(!frames.isEmpty(), kPictureWaitMs);
        m_sim.fault(u"video stall"_s);
        QTRY_COMPARE_WITH_TIMEOUT(lost.size(), 1, kPictureWaitMs);
        const auto live = [&] { return player.isLive(frames.last()[0].value<QImage>()); };
        QVERIFY(!live());
        m_sim.fault(u"video resume"_s);
        QTRY_VERIFY_WITH_TIMEOUT(live(), kPictureWaitMs);
        m_sim.fault(url == m_udpUrl ? u"video stall"_s : u"video kill"_s);
        QTRY_COMPARE_WITH_TIMEOUT(lost.size(), 2, kPictureWaitMs);
        m_sim.fault(url == m_udpUrl ? u"video resume"_s : u"video restart"_s);
        QVERIFY(player.open(m_sim.rtspUrl())); // stops what was playing
        QVERIFY(!player.isPlaying() && !live());
    }
}

// Through one converter, since a stream may change in the middle: neither scaler nor memory of what
// was before may be used on. The expected colours are those that the samples were made from.
void TestPlayer::coloursAreThoseOfTheStream()
{
    constexpr std::array k601 = {0.299, 0.587, 0.114}; // shares of red, green, blue in luma
    constexpr std::array k709 = {0.2126, 0.7152, 0.0722};
    const QList<std::tuple<AVColorSpace, QSize, std::array<double, 3>>> matrices = {
        {AVCOL_SPC_BT709, {64, 48}, k709},
        {AVCOL_SPC_SMPTE170M, {96, 720}, k601},
        {AVCOL_SPC_UNSPECIFIED, {96, 718}, k601},
        {AVCOL_SPC_UNSPECIFIED, {64, 720}, k709},
    };
    const QList<AVPixelFormat> formats = {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUVJ420P,
                                          AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV420P10LE,
                                          AV_PIX_FMT_YUV422P10LE};
    const auto ranges = {AVCOL_RANGE_UNSPECIFIED, AVCOL_RANGE_MPEG, AVCOL_RANGE_JPEG};
    const std::initializer_list<std::array<int, 3>> colours = {
        {0, 191, 0}, {255, 0, 0}, {0, 0, 255}, {255, 255, 0}, {255, 255, 255}, {16, 16, 16}};
    FrameConverter converter;
    const auto check = [&](const auto &matrix, AVPixelFormat format, AVColorRange range,
                           const std::array<int, 3> &rgb) {
        const auto &[space, size, k] = matrix;
        const bool full = range == AVCOL_RANGE_JPEG || format == AV_PIX_FMT_YUVJ420P;
        const int unit = 1 << (av_pix_fmt_desc_get(format)->comp[0].depth - 8);
        const double y = k[0] * rgb[0] + k[1] * rgb[1] + k[2] * rgb[2];
        const auto chroma = [&, share = k](int i) {
            const double swing = (rgb[i] - y) / (2 * (1 - share[i])) * (full ? 1 : 224.0 / 255);
            return std::min(qRound((128 + swing) * unit), 256 * unit - 1);
        };
        const int luma = qRound((full ? y : 16 + y * 219 / 255) * unit);
        const auto frame = plainFrame(size, format, {luma, chroma(2), chroma(0)});
        frame->colorspace = space;
        frame->color_range = range;
        const QImage picture = converter.convert(frame.get());
        QCOMPARE(picture.size(), size);
        for (const QPoint corner : {picture.rect().topLeft(), picture.rect().bottomRight()}) {
            const QColor seen = picture.pixelColor(corner);
            const std::array off = {seen.red() - rgb[0], seen.green() - rgb[1],
                                    seen.blue() - rgb[2]};
            for (const int error : off)
                QVERIFY2(std::abs(error) <= 3, qPrintable(seen.name()));
        }
    };
    for (const auto &matrix : matrices)
        for (const AVPixelFormat format : formats)
            for (const AVColorRange range : ranges)
                for (const auto &rgb : colours)
                    check(matrix, format, range, rgb);
    const auto bare = plainFrame({64, 720}, AV_PIX_FMT_GBRP, {255, 0, 0});
    QCOMPARE(converter.convert(bare.get()).pixel(0, 0), QColor(Qt::green).rgb());
}

QTEST_GUILESS_MAIN(TestPlayer)
#include "tst_player.moc"
