// Pictures put together from network packets: first against senders made up here, with every
// packet known, then against the payloading of real ones, over RTSP, with and without loss.

#include "ChildProcess.h"
#include "PodSim.h"
#include "RtspStub.h"
#include "video/MediaStream.h"
#include "video/PictureAssembler.h"

#include <QElapsedTimer>
#include <QTest>

#include <memory>
#include <thread>

using namespace Qt::StringLiterals;
using Codec = PictureAssembler::Codec;

namespace {

constexpr int kPayloadBytes = 100;
const QByteArray kStart("\0\0\0\1", 4);

/// The ways in which a sender cuts its pictures.
struct Manner
{
    int slices = 1;
    bool evenPieces = false; ///< a slice in pieces of one size, instead of filled packets
    bool filler = false;     ///< bytes behind each picture that belong to none
};

struct Sent
{
    QByteArray picture;
    QByteArrayList packets; // as the depacketizer gives them
};

QByteArray sliceHeader(Codec codec, bool isFirst)
{
    return QByteArray::fromHex(codec == Codec::H264 ? (isFirst ? "41e0" : "4120")
                                                    : (isFirst ? "0201c0" : "020140"));
}

void addUnit(Sent &sent, const QByteArray &unit, qsizetype pieceBytes)
{
    sent.packets.append(kStart + unit.first(std::min(pieceBytes, unit.size())));
    for (qsizetype at = pieceBytes; at < unit.size(); at += pieceBytes)
        sent.packets.append(unit.sliced(at, std::min(pieceBytes, unit.size() - at)));
}

/// Picture `number`, in slices of 1.3 to 4.6 packets.
Sent send(Codec codec, const Manner &manner, int number)
{
    Sent sent;
    if (number % 10 == 0) { // parameter sets, two in one packet
        const QByteArray sets = codec == Codec::H264 ? kStart + "\x67sps" + kStart + "\x68pps"
                                                     : kStart + "\x40\1vps" + kStart + "\x42\1sps";
        sent.packets.append(sets);
    }
    for (int slice = 0; slice < manner.slices; ++slice) {
        const qsizetype bytes = 130 + (number * 37 + slice * 110) % 330;
        const QByteArray unit =
            sliceHeader(codec, slice == 0).leftJustified(bytes, char('a' + number % 26));
        const qsizetype pieces = (bytes + kPayloadBytes - 1) / kPayloadBytes;
        addUnit(sent, unit, manner.evenPieces ? (bytes + pieces - 1) / pieces : kPayloadBytes);
    }
    sent.picture = sent.packets.join();
    if (manner.filler)
        sent.packets.append(kStart + (codec == Codec::H264 ? "\x0c" : "\x4c\1") + "ffff");
    return sent;
}

/// Sends pictures and compares what comes out.
struct Line
{
    PictureAssembler assembler;
    Codec codec;
    int number = 0;
    int atOnce = 0; // came whole with their last packet
    QByteArrayList outstanding;

    explicit Line(Codec wanted)
        : assembler(wanted)
        , codec(wanted)
    {
    }

    /// `lost` is the place of a packet that does not arrive; negative counts from the end.
    void send(int count, const Manner &manner, std::optional<int> lost = {})
    {
        for (int i = 0; i < count; ++i) {
            Sent sent = ::send(codec, manner, ++number);
            if (lost)
                sent.packets.removeAt(*lost < 0 ? sent.packets.size() + *lost : *lost);
            outstanding.append(sent.picture);
            for (const QByteArray &packet : std::as_const(sent.packets)) {
                for (const QByteArray &picture : assembler.addPacket(packet, number * 3000))
                    take(picture);
            }
            atOnce += outstanding.contains(sent.picture) ? 0 : 1;
        }
    }

    void take(const QByteArray &picture)
    {
        // Filler may stand before or behind.
        outstanding.removeIf([&](const QByteArray &sent) { return picture.contains(sent); });
    }

    /// Pictures that did not come whole; the newest may still wait for the next.
    qsizetype damaged() const { return std::max<qsizetype>(outstanding.size() - 1, 0); }

    void startCounting()
    {
        atOnce = 0;
        outstanding.clear();
    }
};

} // namespace

class TestPictureAssembler : public QObject
{
    Q_OBJECT

private slots:
    void sendersAreLearnt_data();
    void sendersAreLearnt();
    void breachCostsOnePicture_data();
    void breachCostsOnePicture();
    void lossIsNoBreach_data();
    void lossIsNoBreach();
    void junkIsBounded();
    void realSenders_data();
    void realSenders();
};

void TestPictureAssembler::sendersAreLearnt_data()
{
    QTest::addColumn<int>("codec");
    QTest::addColumn<int>("slices");
    QTest::addColumn<bool>("evenPieces");
    QTest::addColumn<bool>("filler");
    QTest::addColumn<bool>("learnt");
    for (const Codec codec : {Codec::H264, Codec::H265}) {
        const auto row = [&](const char *name, int slices, bool even, bool filler, bool learnt) {
            QTest::addRow("%s, %s", codec == Codec::H264 ? "h264" : "h265", name)
                << int(codec) << slices << even << filler << learnt;
        };
        row("one slice", 1, false, false, true);
        row("four slices", 4, false, false, true);
        row("filler behind", 1, false, true, true);
        row("pieces of one size", 1, true, false, false);
    }
}

void TestPictureAssembler::sendersAreLearnt()
{
    QFETCH(int, codec);
    QFETCH(int, slices);
    QFETCH(bool, evenPieces);
    QFETCH(bool, filler);
    QFETCH(bool, learnt);
    Line line{Codec(codec)};
    line.send(5 * PictureAssembler::kTrialPictures, {slices, evenPieces, filler});
    QCOMPARE(line.assembler.closesEarly(), learnt);
    line.startCounting();
    line.send(100, {slices, evenPieces, filler});
    QCOMPARE(line.damaged(), 0);
    if (learnt)
        QVERIFY2(line.atOnce > 75, qPrintable(QString::number(line.atOnce))); // some fill a packet
    else
        QCOMPARE(line.atOnce, 0);
}

void TestPictureAssembler::breachCostsOnePicture_data()
{
    QTest::addColumn<int>("slices");
    QTest::addColumn<bool>("evenPieces");
    QTest::newRow("more slices") << 3 << false;
    QTest::newRow("pieces of one size") << 1 << true;
}

void TestPictureAssembler::breachCostsOnePicture()
{
    QFETCH(int, slices);
    QFETCH(bool, evenPieces);
    Line line(Codec::H264);
    line.send(5 * PictureAssembler::kTrialPictures, {});
    QVERIFY(line.assembler.closesEarly());
    line.startCounting();
    line.send(20, {slices, evenPieces});
    QVERIFY(!line.assembler.closesEarly());
    line.send(5 * PictureAssembler::kTrialPictures, {slices, evenPieces});
    QVERIFY2(line.damaged() <= 1, qPrintable(QString::number(line.damaged())));
    line.startCounting();
    line.send(20, {}); // no second chance
    QCOMPARE(line.atOnce, 0);
}

void TestPictureAssembler::lossIsNoBreach_data()
{
    QTest::addColumn<int>("slices");
    QTest::addColumn<int>("lost");
    QTest::newRow("beginning") << 1 << 0;
    QTest::newRow("middle") << 1 << 1;
    QTest::newRow("end") << 1 << -1;
    QTest::newRow("beginning, four slices") << 4 << 0;
    QTest::newRow("end, four slices") << 4 << -1;
}

void TestPictureAssembler::lossIsNoBreach()
{
    QFETCH(int, slices);
    QFETCH(int, lost);
    Line line(Codec::H264);
    line.send(5 * PictureAssembler::kTrialPictures, {slices});
    line.startCounting();
    for (int i = 0; i < 50; ++i) {
        line.send(1, {slices}, lost);
        line.send(1, {slices});
    }
    QVERIFY(line.assembler.closesEarly());
    // Half of them lost nothing and came whole and at once, but for those that fill a packet.
    QVERIFY2(line.atOnce >= 30, qPrintable(QString::number(line.atOnce)));
}

void TestPictureAssembler::junkIsBounded()
{
    // Slices that never begin a picture must not be heaped up for ever.
    PictureAssembler assembler(Codec::H264);
    const QByteArray slice = kStart + sliceHeader(Codec::H264, false) + QByteArray(1000000, 'x');
    qsizetype most = 0;
    for (int i = 0; i < 100; ++i)
        assembler.addPacket(slice, i);
    for (const QByteArray &picture : assembler.addPacket(kStart + "\x09\xf0", 100))
        most = std::max(most, picture.size());
    QVERIFY(most > 0 && most < 20000000);
}

void TestPictureAssembler::realSenders_data()
{
    QTest::addColumn<QString>("sender");
    QTest::addColumn<QString>("codec");
    QTest::addColumn<int>("dropEvery");
    for (const QString &codec : {u"h264"_s, u"h265"_s}) {
        QTest::addRow("podsim, %s", qPrintable(codec)) << u"podsim"_s << codec << 0;
        QTest::addRow("ffmpeg, %s", qPrintable(codec)) << u"ffmpeg"_s << codec << 0;
        QTest::addRow("ffmpeg, %s, with loss", qPrintable(codec)) << u"ffmpeg"_s << codec << 50;
    }
}

// The rule must hold, once learnt, for as many pictures as it took to learn it, and the decoder
// must find the pictures whole.
void TestPictureAssembler::realSenders()
{
    QFETCH(QString, sender);
    QFETCH(QString, codec);
    QFETCH(int, dropEvery);
    std::unique_ptr<PodSim> sim;
    std::unique_ptr<RtspStub> stub;
    std::unique_ptr<ChildProcess> ffmpeg;
    std::jthread starter;
    if (sender == "podsim"_L1) {
        sim = std::make_unique<PodSim>(QStringList{u"--size"_s, u"640x480"_s, u"--codec"_s, codec});
    } else {
        stub = std::make_unique<RtspStub>(RtspStub::Manner::Relay, codec.toUpper().toLatin1());
        const QString url = u"rtp://127.0.0.1:%1?rtcpport=%1"_s.arg(stub->mediaPort());
        const QString arguments =
            u"-nostdin -loglevel error -re -f lavfi -i testsrc=size=640x480:rate=25 -c:v %1 "
            "-preset ultrafast -tune zerolatency -g 25 -b:v 2M -x265-params log-level=none "
            "-f rtp"_s.arg(codec == "h264"_L1 ? u"libx264"_s : u"libx265"_s);
        ffmpeg = std::make_unique<ChildProcess>(
            u"ffmpeg"_s, arguments.split(u' ') + QStringList{url}, ChildProcess::End::Anyhow);
    }
    const OpenOutcome outcome = openMediaStream(
        {sim ? sim->rtspUrl() : stub->url(), {}, std::make_shared<AbortFlag>(false)});
    QVERIFY2(outcome.stream, qPrintable(outcome.error));
    if (stub)
        stub->dropEvery(dropEvery);
    MediaStream &stream = *outcome.stream;
    QVERIFY(stream.assembler());
    const ffmpeg::PacketPtr packet(av_packet_alloc());
    const ffmpeg::PacketPtr whole(av_packet_alloc());
    const ffmpeg::FramePtr frame(av_frame_alloc());
    int afterLearning = 0;
    int decoded = 0;
    int damaged = 0;
    QElapsedTimer timer;
    timer.start();
    while (afterLearning < 2 * PictureAssembler::kTrialPictures) {
        QVERIFY2(timer.elapsed() < 40000, "the rule was not learnt");
        QVERIFY(av_read_frame(stream.format(), packet.get()) >= 0);
        QByteArrayList pictures = stream.takeHead();
        pictures +=
            stream.assembler()->addPacket(QByteArrayView(packet->data, packet->size), packet->pts);
        av_packet_unref(packet.get());
        for (QByteArray &picture : pictures) {
            whole->data = reinterpret_cast<uint8_t *>(picture.data());
            whole->size = int(picture.size());
            damaged += avcodec_send_packet(stream.codec(), whole.get()) < 0 ? 1 : 0;
            while (avcodec_receive_frame(stream.codec(), frame.get()) >= 0) {
                ++decoded;
                damaged += frame->decode_error_flags != 0 ? 1 : 0;
            }
            afterLearning += stream.assembler()->closesEarly() ? 1 : 0;
        }
    }
    QVERIFY(decoded > PictureAssembler::kTrialPictures);
    if (dropEvery == 0)
        QVERIFY2(damaged <= 1, qPrintable(QString::number(damaged))); // where the stream was joined
}

QTEST_GUILESS_MAIN(TestPictureAssembler)
#include "tst_picture_assembler.moc"
