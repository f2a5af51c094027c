// Pictures put together from network packets: of senders made up here, with every packet known,
// and of podsim.

#include "PodSim.h"
#include "video/MediaStream.h"
#include "video/PictureAssembler.h"

#include <QDeadlineTimer>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

constexpr int kPayloadBytes = 100;
constexpr int kNothing = 99; // is lost
const QByteArray kStart("\0\0\0\1", 4);

/// The ways in which a sender cuts its pictures.
struct Manner
{
    int slices = 1;
    bool evenPieces = false; ///< a slice in pieces of one size, instead of filled packets
    bool fields = false;     ///< two pictures of a time
};

/// Up to three slices of H.264; they tell their macroblocks 0, 1 and 2.
QByteArray sliceHeader(int slice, bool isKey)
{
    return QByteArray(isKey ? "\x65" : "\x41") + "\xe0\x50\x70"[slice];
}

/// Sends pictures and compares what comes out.
struct Line
{
    PictureAssembler assembler{PictureAssembler::Codec::H264};
    int number = 0;
    int atOnce = 0;                 // came whole with their last packet
    QByteArrayList incomplete = {}; // have not come whole

    int time(const Manner &manner) const { return manner.fields ? number / 2 : number; }

    /// Picture `number`, in slices of 1.3 to 4.6 packets, as the depacketizer gives them.
    QByteArrayList packets(const Manner &manner) const
    {
        QByteArrayList sent;
        if (number % 10 == 0) // parameter sets, two in one packet
            sent.append(QByteArray::fromHex("0000000167730000000168"));
        for (int slice = 0; slice < manner.slices; ++slice) {
            const qsizetype bytes = 130 + (number * 37 + slice * 110) % 330;
            const qsizetype pieces = (bytes + kPayloadBytes - 1) / kPayloadBytes;
            const qsizetype step =
                manner.evenPieces ? (bytes + pieces - 1) / pieces : kPayloadBytes;
            const QByteArray unit = sliceHeader(slice, number % 10 == 0)
                                        .leftJustified(bytes, char('a' + time(manner) % 26));
            for (qsizetype at = 0; at < bytes; at += step)
                sent.append((at == 0 ? kStart : QByteArray()) + unit.mid(at, step));
        }
        return sent;
    }

    /// `lost` is the place of a packet that does not arrive; negative counts from the end.
    void send(const Manner &manner, int lost = kNothing)
    {
        ++number;
        QByteArrayList sent = packets(manner);
        const QByteArray whole = sent.join();
        incomplete.append(whole);
        if (lost != kNothing)
            sent.removeAt(lost < 0 ? sent.size() + lost : lost);
        for (const QByteArray &packet : std::as_const(sent)) {
            for (const auto &picture : assembler.addPacket(packet, time(manner))) {
                const QByteArray &bytes = picture.bytes;
                incomplete.removeIf([&](const QByteArray &one) { return bytes.contains(one); });
                if (!bytes.startsWith(kStart) || !bytes.contains(char('a' + picture.time % 26)))
                    incomplete.append(bytes);
            }
        }
        atOnce += incomplete.contains(whole) ? 0 : 1;
    }
};

} // namespace

class TestPictureAssembler : public QObject
{
    Q_OBJECT

private slots:
    void ruleIsLearntAndGivenUp();
    void junkIsBounded();
    void realSenderIsTrusted();
};

void TestPictureAssembler::ruleIsLearntAndGivenUp()
{
    constexpr Manner one;
    constexpr Manner three{.slices = 3};
    constexpr Manner even{.evenPieces = true};
    constexpr Manner fields{.slices = 3, .fields = true};
    // How a sender begins and goes on, which packet of every third picture is lost then, whether
    // the rule is trusted in the end, and how many of 100 pictures may come incomplete.
    const QList<std::tuple<Manner, Manner, int, bool, int>> cases = {
        // A breach costs one picture, and the trust; a loss costs no more than what it hits.
        {one, three, kNothing, false, 1}, {one, even, kNothing, false, 1},
        {one, one, 0, true, 34}, // beginning, middle and end
        {one, one, 1, true, 34},          {one, one, -1, true, 34},
        {three, three, 0, true, 34},      {three, three, -1, true, 34},
        {fields, fields, 0, true, 34},    {fields, fields, -1, true, 34},
    };
    for (const auto &[first, then, lost, trusted, incomplete] : cases) {
        Line line;
        for (int i = 0; i < 5 * SenderHabits::kTrial; ++i)
            line.send(first);
        QVERIFY(line.assembler.closesEarly());
        line.incomplete.clear();
        line.atOnce = 0;
        for (int i = 0; i < 100; ++i)
            line.send(then, i % 3 == 0 ? lost : kNothing);
        QCOMPARE(line.assembler.closesEarly(), trusted);
        QCOMPARE_LE(line.incomplete.size(), incomplete + 1); // the newest may wait
        // Nor do those of a sender that broke the rule come at once.
        if (trusted)
            QCOMPARE_GT(line.atOnce, 30);
        else
            QCOMPARE_LE(line.atOnce, 1);
    }
}

void TestPictureAssembler::junkIsBounded()
{
    // Slices that never begin a picture must not be heaped up for ever.
    PictureAssembler assembler(PictureAssembler::Codec::H264);
    const QByteArray slice = kStart + sliceHeader(1, false) + QByteArray(1000000, 'x');
    for (int i = 0; i < 100; ++i)
        assembler.addPacket(slice, i);
    const qsizetype kept = assembler.addPacket(kStart + "\x09\xf0", 100)[0].bytes.size();
    QVERIFY(kept > 0 && kept < 20000000);
}

void TestPictureAssembler::realSenderIsTrusted()
{
    const PodSim sim({u"--size"_s, u"640x480"_s, u"--fps"_s, u"50"_s, u"--codec"_s, u"h265"_s});
    const auto stream =
        openMediaStream({sim.rtspUrl(), {}, std::make_shared<AbortFlag>(false)}).stream;
    QVERIFY(stream && stream->assembler());
    const ffmpeg::PacketPtr packet(av_packet_alloc());
    const QDeadlineTimer deadline(40000);
    // Once learnt, the rule must hold for as many pictures as it took to learn it.
    for (qsizetype early = 0; early < qsizetype(2) * SenderHabits::kTrial;) {
        QVERIFY2(!deadline.hasExpired(), "the rule was not learnt");
        QVERIFY(av_read_frame(stream->format(), packet.get()) >= 0);
        const QByteArrayView bytes(packet->data, packet->size);
        const qsizetype pictures = stream->assembler()->addPacket(bytes, packet->pts).size();
        early += stream->assembler()->closesEarly() ? pictures : 0;
        av_packet_unref(packet.get());
    }
}

QTEST_GUILESS_MAIN(TestPictureAssembler)
#include "tst_picture_assembler.moc"
