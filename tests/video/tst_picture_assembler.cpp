// Pictures put together from network packets: first against senders made up here, with every
// packet known, then against the payloading of a real one, with and without loss.

#include "ChildProcess.h"
#include "RtspStub.h"
#include "video/MediaStream.h"
#include "video/PictureAssembler.h"

#include <QElapsedTimer>
#include <QTest>

using namespace Qt::StringLiterals;
using Codec = PictureAssembler::Codec;

namespace {

constexpr int kPayloadBytes = 100;
constexpr int kNothing = 99; // is lost
const QByteArray kStart("\0\0\0\1", 4);

/// The ways in which a sender cuts its pictures.
struct Manner
{
    int slices = 1;
    bool evenPieces = false; ///< a slice in pieces of one size, instead of filled packets
    bool filler = false;     ///< bytes behind each picture that belong to none
};

QByteArray sliceHeader(Codec codec, bool isFirst)
{
    return QByteArray::fromHex(codec == Codec::H264 ? (isFirst ? "41e0" : "4120")
                                                    : (isFirst ? "0201c0" : "020140"));
}

/// Sends pictures and compares what comes out.
struct Line
{
    PictureAssembler assembler;
    Codec codec;
    int number = 0;
    int atOnce = 0;                 // came whole with their last packet
    QByteArrayList incomplete = {}; // have not come whole

    /// Picture `number`, in slices of 1.3 to 4.6 packets, as the depacketizer gives them.
    QByteArrayList packets(const Manner &manner) const
    {
        const bool h264 = codec == Codec::H264;
        QByteArrayList sent;
        if (number % 10 == 0) // parameter sets, two in one packet
            sent.append(kStart + (h264 ? "\x67s" : "\x40\1v") + kStart
                        + (h264 ? "\x68p" : "\x42\1s"));
        for (int slice = 0; slice < manner.slices; ++slice) {
            const qsizetype bytes = 130 + (number * 37 + slice * 110) % 330;
            const qsizetype pieces = (bytes + kPayloadBytes - 1) / kPayloadBytes;
            const qsizetype step =
                manner.evenPieces ? (bytes + pieces - 1) / pieces : kPayloadBytes;
            const QByteArray unit =
                sliceHeader(codec, slice == 0).leftJustified(bytes, char('a' + number % 26));
            for (qsizetype at = 0; at < bytes; at += step)
                sent.append((at == 0 ? kStart : QByteArray()) + unit.mid(at, step));
        }
        return sent;
    }

    /// `lost` is the place of a packet that does not arrive; negative counts from the end.
    void send(const Manner &manner, std::optional<int> lost = {})
    {
        ++number;
        QByteArrayList sent = packets(manner);
        const QByteArray whole = sent.join();
        incomplete.append(whole);
        if (lost)
            sent.removeAt(*lost < 0 ? sent.size() + *lost : *lost);
        if (manner.filler)
            sent.append(kStart + (codec == Codec::H264 ? "\x0c" : "\x4c\1") + "ffff");
        for (const QByteArray &packet : std::as_const(sent)) {
            for (const QByteArray &picture : assembler.addPacket(packet, number * 3000))
                incomplete.removeIf([&](const QByteArray &one) { return picture.contains(one); });
        }
        atOnce += incomplete.contains(whole) ? 0 : 1;
    }
};

} // namespace

class TestPictureAssembler : public QObject
{
    Q_OBJECT

private slots:
    void ruleIsLearntAndGivenUp_data();
    void ruleIsLearntAndGivenUp();
    void junkIsBounded();
    void realSender_data();
    void realSender();
};

Q_DECLARE_METATYPE(Manner)

void TestPictureAssembler::ruleIsLearntAndGivenUp_data()
{
    QTest::addColumn<int>("codec");
    QTest::addColumn<Manner>("first");
    QTest::addColumn<Manner>("then");
    QTest::addColumn<int>("lost");       // of every second picture later
    QTest::addColumn<bool>("trusted");   // in the end
    QTest::addColumn<int>("incomplete"); // at most, of 100 later pictures
    const auto row = [](const char *name, Codec codec, const Manner &first, const Manner &then,
                        int lost, bool trusted, int incomplete) {
        QTest::addRow("%s, %s", codec == Codec::H264 ? "h264" : "h265", name)
            << int(codec) << first << then << lost << trusted << incomplete;
    };
    const Manner one;
    const Manner four{.slices = 4};
    const Manner even{.evenPieces = true};
    const Manner filler{.filler = true};
    for (const Codec codec : {Codec::H264, Codec::H265}) {
        row("one slice", codec, one, one, kNothing, true, 0);
        row("four slices", codec, four, four, kNothing, true, 0);
        row("filler behind", codec, filler, filler, kNothing, true, 0);
        row("pieces of one size", codec, even, even, kNothing, false, 0);
    }
    // A breach costs one picture, and the trust; a loss costs no more than what it hits.
    row("more slices later", Codec::H264, one, {.slices = 3}, kNothing, false, 1);
    row("pieces of one size later", Codec::H264, one, even, kNothing, false, 1);
    row("beginning lost", Codec::H264, one, one, 0, true, 50);
    row("middle lost", Codec::H264, one, one, 1, true, 50);
    row("end lost", Codec::H264, one, one, -1, true, 50);
    row("beginning of four slices lost", Codec::H264, four, four, 0, true, 50);
    row("end of four slices lost", Codec::H264, four, four, -1, true, 50);
}

void TestPictureAssembler::ruleIsLearntAndGivenUp()
{
    QFETCH(int, codec);
    QFETCH(Manner, first);
    QFETCH(Manner, then);
    QFETCH(int, lost);
    QFETCH(bool, trusted);
    QFETCH(int, incomplete);
    Line line{.assembler = PictureAssembler(Codec(codec)), .codec = Codec(codec)};
    for (int i = 0; i < 5 * PictureAssembler::kTrialPictures; ++i)
        line.send(first);
    QCOMPARE(line.assembler.closesEarly(), !first.evenPieces);
    line.incomplete.clear();
    line.atOnce = 0;
    for (int i = 0; i < 100; ++i)
        line.send(then, i % 2 == 0 || lost == kNothing ? std::nullopt : std::optional(lost));
    QCOMPARE(line.assembler.closesEarly(), trusted);
    // The newest may still wait for the next.
    QVERIFY2(line.incomplete.size() <= incomplete + 1, line.incomplete.join('\n').constData());
    const QByteArray atOnce = QByteArray::number(line.atOnce);
    if (trusted) // pictures that fill their last packet do not come at once
        QVERIFY2(line.atOnce > (lost == kNothing ? 75 : 30), atOnce.constData());
    else // nor is a sender that broke the rule trusted a second time
        QVERIFY2(line.atOnce <= 1, atOnce.constData());
}

void TestPictureAssembler::junkIsBounded()
{
    // Slices that never begin a picture must not be heaped up for ever.
    PictureAssembler assembler(Codec::H264);
    const QByteArray slice = kStart + sliceHeader(Codec::H264, false) + QByteArray(1000000, 'x');
    for (int i = 0; i < 100; ++i)
        assembler.addPacket(slice, i);
    const qsizetype kept = assembler.addPacket(kStart + "\x09\xf0", 100).join().size();
    QVERIFY(kept > 0 && kept < 20000000);
}

void TestPictureAssembler::realSender_data()
{
    QTest::addColumn<QString>("encoder");
    QTest::addColumn<int>("dropEvery");
    QTest::newRow("h264") << u"libx264"_s << 0;
    QTest::newRow("h265") << u"libx265"_s << 0;
    QTest::newRow("h264, with loss") << u"libx264"_s << 50;
}

// The rule must hold, once learnt, for as many pictures as it took to learn it, and the decoder
// must find the pictures whole.
void TestPictureAssembler::realSender()
{
    QFETCH(QString, encoder);
    QFETCH(int, dropEvery);
    RtspStub stub(RtspStub::Manner::Relay, encoder == "libx264"_L1 ? "H264" : "H265");
    const QString arguments =
        u"-nostdin -loglevel error -readrate 4 -f lavfi -i testsrc=size=640x480:rate=25 -c:v %1 "
        "-preset ultrafast -tune zerolatency -g 25 -b:v 2M -x265-params log-level=none -f rtp "
        "rtp://127.0.0.1:%2?rtcpport=%2"_s.arg(encoder)
            .arg(stub.mediaPort());
    const ChildProcess ffmpeg(u"ffmpeg"_s, arguments.split(u' '), ChildProcess::End::Anyhow);
    const OpenOutcome outcome =
        openMediaStream({stub.url(), {}, std::make_shared<AbortFlag>(false)});
    QVERIFY2(outcome.stream, qPrintable(outcome.error));
    stub.dropEvery(dropEvery);
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
