// The upgrade server's packets: bytes on the wire, and what a stream of them is taken for.

#include "firmware/online/NetPacket.h"

#include <QRandomGenerator>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

QByteArray hex(const char *text) { return QByteArray::fromHex(text); }

/// Feeds one piece and writes down what comes of it: "h3" header, "p616263" packet, "m0" wrong
/// magic, "l..." impossible length.
QString feed(NetPacketAssembler &assembler, const QByteArray &piece)
{
    assembler.append(piece);
    QStringList found;
    while (true) {
        const auto step = assembler.next();
        if (std::holds_alternative<NetPacketAssembler::NeedsMore>(step))
            return found.join(u' ');
        if (const auto *header = std::get_if<NetPacketAssembler::HeaderRead>(&step))
            found.append(u"h%1"_s.arg(header->length));
        else if (const auto *magic = std::get_if<NetPacketAssembler::InvalidMagic>(&step))
            found.append(u"m"_s + QString::number(magic->magic, 16));
        else if (const auto *length = std::get_if<NetPacketAssembler::InvalidLength>(&step))
            found.append(u"l%1"_s.arg(length->length));
        else if (const auto *packet = std::get_if<NetPacket>(&step))
            found.append(u"p"_s + QString::fromLatin1(packet->payload.toHex()));
    }
}

} // namespace

class TestNetPacket : public QObject
{
    Q_OBJECT

private slots:
    void bytesOnTheWire();
    void reassembly_data();
    void reassembly();
    void resetForgetsAHalfPacket();
    void anySplitGivesTheSame();
    void noiseIsNeverAPacket();
};

void TestNetPacket::bytesOnTheWire()
{
    QCOMPARE(NetPacket::of("abc").toBytes(), hex("33aa55fc 03000000 616263"));
    QCOMPARE(NetPacket::of({}).toBytes(), hex("33aa55fc 00000000"));
    QCOMPARE(NetPacket::of(QByteArray(0x12345, 'x')).toBytes().first(9),
             hex("33aa55fc 45230100 78"));
}

void TestNetPacket::reassembly_data()
{
    QTest::addColumn<QByteArrayList>("pieces");
    QTest::addColumn<QStringList>("found");
    using Pieces = QByteArrayList;
    QTest::newRow("header, then payload in two pieces")
        << Pieces{hex("33aa55fc 03000000"), "a", "bc"} << QStringList{u"h3"_s, u""_s, u"p616263"_s};
    QTest::newRow("header in two pieces")
        << Pieces{hex("33aa55fc 0100"), hex("0000 41")} << QStringList{u""_s, u"h1 p41"_s};
    QTest::newRow("two in one piece") << Pieces{hex("33aa55fc 01000000 41 33aa55fc 01000000 42")}
                                      << QStringList{u"h1 p41 h1 p42"_s};
    QTest::newRow("no payload") << Pieces{hex("33aa55fc 00000000")} << QStringList{u"h0 p"_s};
    QTest::newRow("wrong magic drops all that is there")
        << Pieces{hex("00000000 00000000 33aa55fc 01000000 41"), hex("33aa55fc 01000000 42")}
        << QStringList{u"m0"_s, u"h1 p42"_s};
    QTest::newRow("magic in the other byte order")
        << Pieces{hex("fc55aa33 01000000 41")} << QStringList{u"m33aa55fc"_s};
    QTest::newRow("magic in the payload")
        << Pieces{hex("33aa55fc 04000000 33aa55fc")} << QStringList{u"h4 p33aa55fc"_s};
    QTest::newRow("longest that is taken")
        << Pieces{hex("33aa55fc 00000010")} << QStringList{u"h268435456"_s};
    QTest::newRow("one byte longer")
        << Pieces{hex("33aa55fc 01000010 41"), hex("33aa55fc 01000000 42")}
        << QStringList{u"l268435457"_s, u"h1 p42"_s};
    QTest::newRow("length that is negative as a number with a sign")
        << Pieces{hex("33aa55fc ffffffff 41")} << QStringList{u"l4294967295"_s};
}

void TestNetPacket::reassembly()
{
    QFETCH(const QByteArrayList, pieces);
    QFETCH(const QStringList, found);
    NetPacketAssembler assembler;
    QStringList steps;
    for (const QByteArray &piece : pieces)
        steps.append(feed(assembler, piece));
    QCOMPARE(steps, found);
}

void TestNetPacket::resetForgetsAHalfPacket()
{
    NetPacketAssembler assembler;
    feed(assembler, hex("33aa55fc 05000000 4142"));
    assembler.reset();
    QCOMPARE(feed(assembler, hex("33aa55fc 01000000 43")), u"h1 p43"_s);
}

void TestNetPacket::anySplitGivesTheSame()
{
    QRandomGenerator random(3);
    QByteArray stream;
    for (int i = 0; i < 40; ++i)
        stream += NetPacket::of(QByteArray(random.bounded(20), static_cast<char>(i))).toBytes();
    NetPacketAssembler whole;
    const QString expected = feed(whole, stream);
    for (int round = 0; round < 100; ++round) {
        NetPacketAssembler assembler;
        QStringList found;
        for (qsizetype at = 0; at < stream.size();) {
            const qsizetype length = qMin<qsizetype>(random.bounded(1, 30), stream.size() - at);
            const QString steps = feed(assembler, stream.mid(at, length));
            if (!steps.isEmpty())
                found.append(steps);
            at += length;
        }
        QCOMPARE(found.join(u' '), expected);
    }
}

void TestNetPacket::noiseIsNeverAPacket()
{
    QRandomGenerator random(4);
    for (int round = 0; round < 2000; ++round) {
        QByteArray noise;
        for (int i = 0; i < 64; ++i)
            noise.append(static_cast<char>(random.bounded(256)));
        if (round % 2 != 0) // a sound magic before a random length
            noise.replace(0, 4, hex("33aa55fc"));
        NetPacketAssembler assembler;
        const QString found = feed(assembler, noise);
        QVERIFY(!found.isEmpty());
        QVERIFY2(!found.contains(u'p'), qPrintable(found));
    }
}

QTEST_APPLESS_MAIN(TestNetPacket)
#include "tst_net_packet.moc"
