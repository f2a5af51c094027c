// Frames of the bootloader's line, byte by byte: built, parsed, coded, decoded, cut from a stream.

#include "firmware/online/CommandFrameObject.h"
#include "firmware/online/LineCoding.h"
#include "firmware/online/LineFrameAssembler.h"
#include "firmware/online/ResponseFrameObject.h"

#include <QRandomGenerator>
#include <QTest>

using namespace Qt::StringLiterals;
using Status = ResponseFrameObject::ResponseStatus;

namespace {

QByteArray hex(const char *text) { return QByteArray::fromHex(text); }

} // namespace

class TestLineFrames : public QObject
{
    Q_OBJECT

private slots:
    void commandBytes_data();
    void commandBytes();
    void longestCommand();
    void parsesCommand_data();
    void parsesCommand();
    void rejectsCommand_data();
    void rejectsCommand();
    void responses_data();
    void responses();
    void rejectsResponse_data();
    void rejectsResponse();
    void refusesToCode_data();
    void refusesToCode();
    void refusesToDecode_data();
    void refusesToDecode();
    void codingRoundTrip();
    void assembles_data();
    void assembles();
    void assemblesWhateverThePieces();
};

void TestLineFrames::commandBytes_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("first");
    QTest::addColumn<int>("second");
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QByteArray>("raw");
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("start, empty data becomes a zero")
        << 0x00 << 1 << 1 << QByteArray() << hex("7e00000100010000fd5e0d")
        << "~00000100010000FD5E\r"_ba;
    QTest::newRow("request delay")
        << 0x01 << 1 << 1 << hex("3a98") << hex("7e0100010001013a98fcd70d")
        << "~0100010001013A98FCD7\r"_ba;
    QTest::newRow("last chunk of one byte")
        << 0x23 << 1 << 1 << hex("01") << hex("7e23000100010001fd580d")
        << "~23000100010001FD58\r"_ba;
    QTest::newRow("values high byte first")
        << 0x23 << 0x1234 << 0xABCD << hex("7f") << hex("7e231234abcd007ffcea0d")
        << "~231234ABCD007FFCEA\r"_ba;
}

void TestLineFrames::commandBytes()
{
    QFETCH(const int, type);
    QFETCH(const int, first);
    QFETCH(const int, second);
    CommandFrameObject frame;
    frame.type = static_cast<quint8>(type);
    frame.firstValue = static_cast<quint16>(first);
    frame.secondValue = static_cast<quint16>(second);
    QFETCH(const QByteArray, data);
    frame.data = data;
    QTEST(frame.toBytes(), "raw");
    const auto line = upgrade::encodeLine(frame.toBytes());
    QVERIFY(line);
    QTEST(*line, "line");
    QCOMPARE(upgrade::decodeLine(*line), frame.toBytes());
}

void TestLineFrames::longestCommand()
{
    CommandFrameObject frame;
    frame.data = QByteArray(CommandFrameObject::kDataMax, '\xFF');
    const QByteArray raw = frame.toBytes();
    QCOMPARE(raw.size(), 266);
    QCOMPARE(raw.mid(5, 3), hex("00ffff"));
    // "00" five times and "FF" 257 times make 36460.
    QCOMPARE(raw.right(3), hex("71940d"));
    CommandFrameObject parsed;
    QVERIFY(parsed.fromBytes(raw));
    QCOMPARE(parsed.data, frame.data);

    frame.data.append('\xFF');
    QCOMPARE(frame.toBytes(), QByteArray());
    QVERIFY(!upgrade::encodeLine(frame.toBytes()));
}

void TestLineFrames::parsesCommand_data()
{
    QTest::addColumn<QByteArray>("raw");
    QTest::addColumn<int>("first");
    QTest::addColumn<int>("second");
    QTest::addColumn<QByteArray>("data");
    QTest::newRow("low bytes below 80")
        << hex("7e10017f020300aaffff0d") << 0x017F << 0x0203 << hex("aa");
    QTest::newRow("low byte 80") << hex("7e10018002ff00aaffff0d") << 0x0080 << 0x01FF << hex("aa");
    QTest::newRow("low byte borrows below zero")
        << hex("7e1000ff008000aaffff0d") << 0xFFFF << 0xFF80 << hex("aa");
    QTest::newRow("wrong checksum") << hex("7e100001000100aa00000d") << 1 << 1 << hex("aa");
    QTest::newRow("a zero is data") << hex("7e10000100010000fd5d0d") << 1 << 1 << hex("00");
    QTest::newRow("end and start marks as data")
        << hex("7e10000100010323 0d7e2afd5d0d") << 1 << 1 << hex("230d7e2a");
}

void TestLineFrames::parsesCommand()
{
    QFETCH(const QByteArray, raw);
    CommandFrameObject frame;
    QVERIFY(frame.fromBytes(raw));
    QCOMPARE(frame.type, 0x10);
    QTEST(int(frame.firstValue), "first");
    QTEST(int(frame.secondValue), "second");
    QTEST(frame.data, "data");
}

void TestLineFrames::rejectsCommand_data()
{
    QTest::addColumn<QByteArray>("raw");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("ten bytes cannot hold data") << hex("7e100001000100fd5d0d");
    QTest::newRow("response start") << hex("2310000100010000fd5d0d");
    QTest::newRow("no end") << hex("7e10000100010000fd5d0a");
    QTest::newRow("length one short") << hex("7e1000010001000000fd5d0d");
    QTest::newRow("length one long") << hex("7e10000100010100fd5d0d");
    QTest::newRow("length FF") << hex("7e1000010001ff00fd5d0d");
}

void TestLineFrames::rejectsCommand()
{
    QFETCH(const QByteArray, raw);
    CommandFrameObject frame;
    frame.type = 0x55;
    frame.data = "kept";
    QVERIFY(!frame.fromBytes(raw));
    QCOMPARE(frame.type, 0x55);
    QCOMPARE(frame.data, "kept");
}

void TestLineFrames::responses_data()
{
    QTest::addColumn<QByteArray>("raw");
    QTest::addColumn<int>("index");
    QTest::addColumn<int>("status");
    QTest::newRow("accepted") << hex("230001000d") << 1 << 0;
    QTest::newRow("refused") << hex("231234010d") << 0x1234 << 1;
    QTest::newRow("send again") << hex("230100020d") << 0x0100 << 2;
    QTest::newRow("other") << hex("230001070d") << 1 << 255;
    QTest::newRow("low byte signed") << hex("230180ff0d") << 0x0080 << 255;
    QTest::newRow("low byte borrows") << hex("2300ff030d") << 0xFFFF << 255;
}

void TestLineFrames::responses()
{
    QFETCH(const QByteArray, raw);
    ResponseFrameObject frame;
    QVERIFY(frame.fromBytes(raw));
    QTEST(int(frame.index), "index");
    QTEST(int(frame.status), "status");

    ResponseFrameObject built;
    built.index = 0x1234;
    built.status = frame.status;
    QByteArray expected = hex("231234000d");
    expected[3] = static_cast<char>(frame.status);
    QCOMPARE(built.toBytes(), expected);
}

void TestLineFrames::rejectsResponse_data()
{
    QTest::addColumn<QByteArray>("raw");
    QTest::newRow("short") << hex("2300010d");
    QTest::newRow("long") << hex("23000100000d");
    QTest::newRow("command start") << hex("7e0001000d");
    QTest::newRow("no end") << hex("230001000a");
}

void TestLineFrames::rejectsResponse()
{
    QFETCH(const QByteArray, raw);
    ResponseFrameObject frame;
    frame.index = 7;
    QVERIFY(!frame.fromBytes(raw));
    QCOMPARE(frame.index, 7);
}

void TestLineFrames::refusesToCode_data()
{
    QTest::addColumn<QByteArray>("raw");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("one byte") << hex("7e");
    QTest::newRow("wrong start") << hex("0001000d");
    QTest::newRow("ends with #") << hex("7e000123");
}

void TestLineFrames::refusesToCode()
{
    QFETCH(const QByteArray, raw);
    QVERIFY(!upgrade::encodeLine(raw));
}

void TestLineFrames::refusesToDecode_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("start alone") << "~"_ba;
    QTest::newRow("odd") << "~0123A\r\r"_ba.first(7);
    QTest::newRow("wrong start") << "*00\r"_ba;
    QTest::newRow("ends with #") << "~00#"_ba;
    QTest::newRow("lower case") << "~00aF\r"_ba;
    QTest::newRow("below 0") << "~0/\r"_ba;
    QTest::newRow("above 9") << "~:0\r"_ba;
    QTest::newRow("below A") << "~@0\r"_ba;
    QTest::newRow("above F") << "~0G\r"_ba;
    QTest::newRow("space") << "#0 0001\r"_ba;
}

void TestLineFrames::refusesToDecode()
{
    QFETCH(const QByteArray, line);
    QVERIFY(!upgrade::decodeLine(line));
}

void TestLineFrames::codingRoundTrip()
{
    QByteArray raw = "#";
    for (int byte = 0; byte < 256; ++byte)
        raw.append(static_cast<char>(byte));
    raw.append('\r');
    const auto line = upgrade::encodeLine(raw);
    QVERIFY(line);
    QVERIFY(line->startsWith("#000102"));
    QVERIFY(line->endsWith("FDFEFF\r"));
    QCOMPARE(upgrade::decodeLine(*line), raw);
    QCOMPARE(upgrade::encodeLine("~\r"), "~\r"_ba); // nothing between the ends is a frame too
    QCOMPARE(upgrade::decodeLine("~\r"), "~\r"_ba);
}

void TestLineFrames::assembles_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QByteArrayList>("frames");
    const QByteArray longest = '~' + QByteArray(254, 'A') + '\r';
    QTest::newRow("two") << "~00\r#000100\r"_ba << QByteArrayList{"~00\r", "#000100\r"};
    QTest::newRow("noise before") << "\r\nab\xff~00\r"_ba << QByteArrayList{"~00\r"};
    QTest::newRow("odd length is dropped") << "~0\r#00\r"_ba << QByteArrayList{"#00\r"};
    QTest::newRow("a start inside does not begin anew") << "~0#0~0\r"_ba << QByteArrayList{};
    QTest::newRow("start marks inside an even frame") << "~0#0~\r"_ba << QByteArrayList{"~0#0~\r"};
    QTest::newRow("longest") << longest << QByteArrayList{longest};
    QTest::newRow("one too long") << '~' + QByteArray(255, 'A') + "\r~00\r"
                                  << QByteArrayList{"~00\r"};
    QTest::newRow("no end in sight") << '~' + QByteArray(100000, 'A') << QByteArrayList{};
    QTest::newRow("empty frame") << "~\r"_ba << QByteArrayList{"~\r"};
}

void TestLineFrames::assembles()
{
    QFETCH(const QByteArray, bytes);
    QFETCH(const QByteArrayList, frames);
    LineFrameAssembler whole;
    QCOMPARE(whole.push(bytes), frames);
    LineFrameAssembler bytewise;
    QByteArrayList found;
    for (const char byte : bytes)
        found += bytewise.push(QByteArrayView(&byte, 1));
    QCOMPARE(found, frames);
}

void TestLineFrames::assemblesWhateverThePieces()
{
    QRandomGenerator random(5);
    const QByteArray alphabet = "~#\r0AFg";
    for (int round = 0; round < 200; ++round) {
        QByteArray bytes;
        for (int i = 0; i < 600; ++i)
            bytes.append(alphabet[random.bounded(alphabet.size())]);
        LineFrameAssembler whole;
        const QByteArrayList expected = whole.push(bytes);
        LineFrameAssembler pieces;
        QByteArrayList found;
        for (qsizetype at = 0; at < bytes.size();) {
            const qsizetype length = qMin<qsizetype>(random.bounded(1, 50), bytes.size() - at);
            found += pieces.push(QByteArrayView(bytes).sliced(at, length));
            at += length;
        }
        QCOMPARE(found, expected);
        for (const QByteArray &frame : expected) {
            QVERIFY(frame.size() % 2 == 0 && frame.size() <= LineFrameAssembler::kFrameMax);
            QVERIFY(frame.endsWith('\r') && (frame[0] == '~' || frame[0] == '#'));
            CommandFrameObject command;
            if (const auto raw = upgrade::decodeLine(frame))
                command.fromBytes(*raw); // reads nothing out of bounds, as a sanitizer would tell
        }
    }
}

QTEST_APPLESS_MAIN(TestLineFrames)
#include "tst_line_frames.moc"
