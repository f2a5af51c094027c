// Whatever a sender does, the player's pictures are those of FFmpeg's own parsing and decoding of
// the same packets; podsim sends them.

#include "Ffmpeg.h"
#include "PodSim.h"
#include "video/MediaStream.h"

#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

using Hashes = QList<size_t>;

void hashPictures(AVCodecContext *codec, const AVPacket *packet, Hashes &hashes)
{
    const ffmpeg::FramePtr frame(av_frame_alloc());
    avcodec_send_packet(codec, packet);
    while (avcodec_receive_frame(codec, frame.get()) >= 0) {
        size_t hash = 0;
        for (int y = 0; y < frame->height; ++y)
            hash = qHashBits(frame->data[0] + y * frame->linesize[0], size_t(frame->width), hash);
        hashes.append(hash);
    }
}

Hashes picturesOfFfmpeg(const QByteArray &url)
{
    AVFormatContext *opened = nullptr;
    ffmpeg::Dictionary options;
    options.set("rtsp_transport", "tcp");
    if (avformat_open_input(&opened, url.constData(), nullptr, options.address()) < 0)
        return {};
    const ffmpeg::FormatContextPtr format(opened);
    avformat_find_stream_info(opened, nullptr);
    const AVCodecParameters *parameters = opened->streams[0]->codecpar;
    const ffmpeg::CodecContextPtr codec(
        avcodec_alloc_context3(avcodec_find_decoder(parameters->codec_id)));
    avcodec_parameters_to_context(codec.get(), parameters);
    codec->thread_count = 1;
    avcodec_open2(codec.get(), nullptr, nullptr);
    const ffmpeg::PacketPtr packet(av_packet_alloc());
    Hashes hashes;
    while (av_read_frame(opened, packet.get()) >= 0) {
        hashPictures(codec.get(), packet.get(), hashes);
        av_packet_unref(packet.get());
    }
    return hashes;
}

Hashes picturesOfPlayer(const QString &url)
{
    stream_options::Settings settings;
    settings.rtspTransport = u"tcp"_s;
    const auto stream = openMediaStream({url, settings, std::make_shared<AbortFlag>(false)}).stream;
    if (!stream)
        return {};
    const ffmpeg::PacketPtr packet(av_packet_alloc());
    const ffmpeg::PacketPtr whole(av_packet_alloc());
    Hashes hashes;
    while (av_read_frame(stream->format(), packet.get()) >= 0) {
        if (!stream->assembler()) {
            hashPictures(stream->codec(), packet.get(), hashes);
        } else {
            PictureAssembler::Pictures pictures = stream->takeHead();
            pictures += stream->assembler()->addPacket(QByteArrayView(packet->data, packet->size),
                                                       packet->pts);
            for (PictureAssembler::Complete &picture : pictures) {
                whole->data = reinterpret_cast<uint8_t *>(picture.bytes.data());
                whole->size = int(picture.bytes.size());
                hashPictures(stream->codec(), whole.get(), hashes);
            }
        }
        av_packet_unref(packet.get());
    }
    return hashes;
}

} // namespace

class TestSenders : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void picturesAreThoseOfFfmpeg_data();
    void picturesAreThoseOfFfmpeg();

private:
    QTemporaryDir m_folder;
    QMap<QString, Hashes> m_truth; // by stream
    std::unique_ptr<PodSim> m_sim;
};

void TestSenders::initTestCase()
{
    const QString source = u"-f lavfi -i testsrc2=size=320x240:rate=25:duration=8 -pix_fmt yuv420p "
                           "-vf noise=alls=6:allf=t -g 40 "_s;
    const QString x264 = u"-c:v libx264 -preset veryfast -threads 1 -bf 0 -b:v 900k"_s;
    const QString x265 = u"-c:v libx265 -preset ultrafast -b:v 900k -x265-params "
                         "log-level=none:pools=1:frame-threads=1:"_s;
    const QList<std::tuple<QString, QString>> streams = {
        {u"plain.h264"_s, x264},
        {u"sliced.h264"_s, x264 + u" -slices 4"_s},
        {u"sized.h264"_s, x264 + u" -x264-params slice-max-size=700"_s},
        {u"reordered.h264"_s, x264 + u" -bf 2"_s},
        {u"refresh.h264"_s, x264 + u" -x264-params intra-refresh=1"_s},
        {u"plain.h265"_s, x265 + u"bframes=0"_s},
        {u"sliced.h265"_s, x265 + u"bframes=0:slices=4"_s},
        {u"reordered.h265"_s, x265 + u"bframes=2"_s},
    };
    for (const auto &[name, arguments] : streams) {
        const QString file = m_folder.filePath(name);
        QVERIFY(runFfmpeg(source + arguments, file));
        m_truth.insert(name, picturesOfFfmpeg(file.toUtf8()));
    }
    m_sim = std::make_unique<PodSim>(QStringList{u"--sender"_s, m_folder.path()});
}

void TestSenders::picturesAreThoseOfFfmpeg_data()
{
    QTest::addColumn<QString>("stream");
    QTest::addColumn<QString>("manner");
    QTest::addColumn<bool>("atOnce");
    // The ways of cutting a stream, and whether its pictures can be shown with their last packet.
    const QList<std::tuple<QString, bool>> manners = {
        {u"payload=1400"_s, true},        {u"payload=300"_s, true},
        {u"payload=300&even=1"_s, false}, {u"payload=300&filler=1"_s, true},
        {u"payload=300&join=1"_s, true},  {u"payload=300&markers=never"_s, true},
        {u"payload=500&lose=1"_s, false}, {u"payload=500&lose=5"_s, false},
        {u"pes=1000"_s, false},           {u"payload=300&skip=20"_s, true},
    };
    for (const QString &stream : m_truth.keys()) {
        for (const auto &[manner, atOnce] : manners)
            QTest::newRow(qPrintable(stream + u' ' + manner))
                << stream << manner << (atOnce && !stream.startsWith(u"sized"));
    }
}

void TestSenders::picturesAreThoseOfFfmpeg()
{
    QFETCH(const QString, stream);
    QFETCH(const QString, manner);
    const QString url = m_sim->rtspUrl() + stream + u'?' + manner;
    const Hashes &truth = m_truth[stream];
    const Hashes expected = picturesOfFfmpeg(url.toUtf8());
    const Hashes seen = picturesOfPlayer(url);
    const auto intact = [&](const Hashes &hashes) {
        const QSet<size_t> all(hashes.begin(), hashes.end());
        return std::ranges::count_if(truth, [&](size_t hash) { return all.contains(hash); });
    };
    const QString told = u"of %1, FFmpeg %2 of %3, the player %4 of %5"_s.arg(truth.size())
                             .arg(intact(expected))
                             .arg(expected.size())
                             .arg(intact(seen))
                             .arg(seen.size());
    // The newest picture may wait for the next one.
    QVERIFY2(intact(expected) > 0 && intact(seen) >= intact(expected) - 1, qPrintable(told));
    // What is shown of pictures that lack packets depends on the memory they are decoded into.
    if (!manner.contains(u"lose"))
        QVERIFY2(seen.size() - intact(seen) <= expected.size() - intact(expected),
                 qPrintable(told));
    QFETCH(const bool, atOnce);
    QVERIFY2(!atOnce || seen.last() == truth.last(), qPrintable(told));
}

QTEST_GUILESS_MAIN(TestSenders)
#include "tst_senders.moc"
