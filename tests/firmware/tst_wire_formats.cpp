// Bytes on the wires of both upgrades, against values worked out by hand: YModem blocks, frames of
// the bootloader's line, packets of the upgrade server.

#include "firmware/UpgradeLog.h"
#include "firmware/local/Crc16.h"
#include "firmware/local/YModemBlocks.h"
#include "firmware/online/CommandFrameObject.h"
#include "firmware/online/LineCoding.h"
#include "firmware/online/LineFrameAssembler.h"
#include "firmware/online/NetPacket.h"
#include "firmware/online/ResponseFrameObject.h"

#include <QTest>

#include <tuple>

using namespace Qt::StringLiterals;

namespace {

QByteArray hex(const char *text) { return QByteArray::fromHex(text); }

struct Command
{
    const char *raw; // in hexadecimal, as the data
    quint8 type;
    quint16 first;
    quint16 second;
    const char *data;
};

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

class TestWireFormats : public QObject
{
    Q_OBJECT

private slots:
    void ymodemBlocks();
    void commandBytes();
    void commandsAreParsed();
    void responses();
    void lineCoding();
    void lineFramesAreCutFromAStream();
    void packets();
};

void TestWireFormats::ymodemBlocks()
{
    QCOMPARE(ymodem::crc16("123456789"_ba), 0x31C3);
    QCOMPARE(ymodem::crc16("\xFF"_ba), 0x1EF0);
    QCOMPARE(ymodem::crc16(QByteArray(128, '\0')), 0);

    QByteArray payload = "\xE5\x9B\xBA\xE4\xBB\xB6.bin|1025"; // the bar stands for a zero
    payload = payload.replace('|', '\0').leftJustified(128, '\0');
    QByteArray block = ymodem::headerBlock(u"固件.bin"_s, 1025);
    QCOMPARE(block.chopped(2), "\x01\x00\xFF"_ba + payload);
    QCOMPARE(ymodem::crc16(block.sliced(3)), 0); // payload and CRC leave nothing
    // The size is kept whole, at the cost of the name.
    QCOMPARE(ymodem::headerBlock(QString(123, u'n'), 1048),
             ymodem::headerBlock(QString(122, u'n'), 1048));
    QCOMPARE(ymodem::nullHeaderBlock(), "\x01\x00\xFF"_ba + QByteArray(130, '\0'));

    block = ymodem::dataBlock(QByteArray(255 * 1024, 'x') + "yz", 256, 1024);
    QCOMPARE(block.chopped(2), "\x02\x00\xFFyz"_ba + QByteArray(1022, '\x1A'));
    QCOMPARE(ymodem::crc16(block.sliced(3)), 0);
    QCOMPARE(ymodem::dataBlock(QByteArray(130, 'x'), 2, 128).first(6), "\x01\x02\xFDxx\x1A"_ba);
    QCOMPARE(upgrade_log::renderBytes("C ~\x06\x0A\x7F\xE5\x00"_ba),
             u"C ~[0x06][0x0a][0x7f][0xe5][0x00]"_s);
}

void TestWireFormats::commandBytes()
{
    constexpr Command kRows[] = {
        {"7e00000100010000fd5e0d", 0x00, 1, 1, ""}, // empty data becomes a zero
        {"7e0100010001013a98fcd70d", 0x01, 1, 1, "3a98"},
        {"7e23000100010001fd580d", 0x23, 1, 1, "01"},
        {"7e231234abcd007ffcea0d", 0x23, 0x1234, 0xABCD, "7f"},
    };
    for (const Command &row : kRows) {
        CommandFrameObject frame;
        frame.type = row.type;
        frame.firstValue = row.first;
        frame.secondValue = row.second;
        frame.data = hex(row.data);
        const QByteArray raw = frame.toBytes();
        QCOMPARE(raw.toHex(), row.raw);
        const QByteArray line = upgrade::encodeLine(raw).value_or("nothing");
        QCOMPARE(line, '~' + QByteArray(row.raw).chopped(2).sliced(2).toUpper() + '\r');
        QCOMPARE(upgrade::decodeLine(line), raw);
    }

    CommandFrameObject frame; // the longest
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
}

void TestWireFormats::commandsAreParsed()
{
    constexpr Command kRows[] = {
        {"7e10017f020300aaffff0d", 0x10, 0x017F, 0x0203, "aa"},
        {"7e10018002ff00aaffff0d", 0x10, 0x0080, 0x01FF, "aa"}, // low bytes are signed
        {"7e1000ff008000aaffff0d", 0x10, 0xFFFF, 0xFF80, "aa"},
        {"7e100001000100aa00000d", 0x10, 1, 1, "aa"}, // any checksum will do
        {"7e10000100010000fd5d0d", 0x10, 1, 1, "00"},
        {"7e10000100010323 0d7e2afd5d0d", 0x10, 1, 1, "230d7e2a"},
    };
    for (const Command &row : kRows) {
        CommandFrameObject frame;
        QVERIFY2(frame.fromBytes(hex(row.raw)), row.raw);
        QCOMPARE(frame.type, row.type);
        QCOMPARE(frame.firstValue, row.first);
        QCOMPARE(frame.secondValue, row.second);
        QCOMPARE(frame.data, hex(row.data));
    }
    // Nothing, too short for data, response start, no end, length one short, one long, and FF.
    for (const char *raw :
         {"", "7e100001000100fd5d0d", "2310000100010000fd5d0d", "7e10000100010000fd5d0a",
          "7e1000010001000000fd5d0d", "7e10000100010100fd5d0d", "7e1000010001ff00fd5d0d"}) {
        CommandFrameObject frame;
        frame.type = 0x55;
        frame.data = "kept";
        QVERIFY2(!frame.fromBytes(hex(raw)), raw);
        QCOMPARE(frame.type, 0x55);
        QCOMPARE(frame.data, "kept");
    }
}

void TestWireFormats::responses()
{
    // The low byte is signed; statuses beyond 2 are all the same.
    constexpr std::tuple<const char *, quint16, int> kRows[] = {
        {"230001000d", 1, 0},   {"231234010d", 0x1234, 1}, {"230100020d", 0x100, 2},
        {"230001070d", 1, 255}, {"230180ff0d", 0x80, 255}, {"2300ff030d", 0xFFFF, 255}};
    for (const auto &[raw, index, status] : kRows) {
        ResponseFrameObject frame;
        QVERIFY2(frame.fromBytes(hex(raw)), raw);
        QCOMPARE(frame.index, index);
        QCOMPARE(int(frame.status), status);
        frame.index = 0x1234;
        QCOMPARE(frame.toBytes(), hex("231234") + char(status) + '\r');
    }
    for (const char *raw : {"2300010d", "23000100000d", "7e0001000d", "230001000a"}) {
        ResponseFrameObject frame;
        frame.index = 7;
        QVERIFY2(!frame.fromBytes(hex(raw)), raw);
        QCOMPARE(frame.index, 7);
    }
}

void TestWireFormats::lineCoding()
{
    for (const char *raw : {"", "7e", "0001000d", "7e000123"})
        QVERIFY2(!upgrade::encodeLine(hex(raw)), raw);
    for (const char *line : {"", "~", "~0123A\r", "*00\r", "~00#", "~00aF\r", "~0/\r", "~:0\r",
                             "~@0\r", "~0G\r", "#0 0001\r"})
        QVERIFY2(!upgrade::decodeLine(line), line);

    QByteArray raw = "#";
    for (int byte = 0; byte < 256; ++byte)
        raw.append(static_cast<char>(byte));
    raw.append('\r');
    const QByteArray line = upgrade::encodeLine(raw).value_or("nothing");
    QVERIFY2(line.startsWith("#000102") && line.endsWith("FDFEFF\r"), line.constData());
    QCOMPARE(upgrade::decodeLine(line), raw);
    QCOMPARE(upgrade::encodeLine("~\r"), "~\r"_ba); // nothing between the ends is a frame too
    QCOMPARE(upgrade::decodeLine("~\r"), "~\r"_ba);
}

void TestWireFormats::lineFramesAreCutFromAStream()
{
    const QByteArray longest = '~' + QByteArray(254, 'A') + '\r';
    const QList<std::pair<QByteArray, QByteArrayList>> rows{
        {"~00\r#000100\r", {"~00\r", "#000100\r"}},
        {"\r\nab\xff~00\r", {"~00\r"}},
        {"~0\r#00\r", {"#00\r"}}, // odd length is dropped
        {"~0#0~0\r", {}},         // a start inside does not begin anew
        {"~0#0~\r", {"~0#0~\r"}},
        {longest, {longest}},
        {'~' + QByteArray(255, 'A') + "\r~00\r", {"~00\r"}},
        {'~' + QByteArray(100000, 'A'), {}}, // no end in sight
        {"~\r", {"~\r"}},
    };
    for (const auto &[bytes, frames] : rows) {
        QCOMPARE(LineFrameAssembler().push(bytes), frames);
        LineFrameAssembler bytewise;
        QByteArrayList found;
        for (const char byte : bytes)
            found += bytewise.push(QByteArrayView(&byte, 1));
        QCOMPARE(found, frames);
    }
}

void TestWireFormats::packets()
{
    QCOMPARE(NetPacket::of(QByteArray(0x12345, 'x')).toBytes().first(9),
             hex("33aa55fc 45230100 78"));
    // Pieces in hexadecimal, and what is found in each, apart by a bar.
    const QList<std::pair<QByteArrayList, QString>> rows{
        {{"33aa55fc 03000000", "61", "6263"}, u"h3||p616263"_s},
        {{"33aa55fc 0100", "0000 41"}, u"|h1 p41"_s},
        {{"33aa55fc 01000000 41 33aa55fc 01000000 42"}, u"h1 p41 h1 p42"_s},
        {{"33aa55fc 00000000"}, u"h0 p"_s},
        // A wrong magic drops all that is there.
        {{"00000000 00000000 33aa55fc 01000000 41", "33aa55fc 01000000 42"}, u"m0|h1 p42"_s},
        {{"fc55aa33 01000000 41"}, u"m33aa55fc"_s},
        {{"33aa55fc 04000000 33aa55fc"}, u"h4 p33aa55fc"_s},
        {{"33aa55fc 00000010"}, u"h268435456"_s}, // the longest that is taken
        {{"33aa55fc 01000010 41", "33aa55fc 01000000 42"}, u"l268435457|h1 p42"_s},
        {{"33aa55fc ffffffff 41"}, u"l4294967295"_s},
    };
    for (const auto &[pieces, found] : rows) {
        NetPacketAssembler assembler;
        QStringList steps;
        for (const QByteArray &piece : pieces)
            steps.append(feed(assembler, QByteArray::fromHex(piece)));
        QCOMPARE(steps.join(u'|'), found);
    }
}

QTEST_APPLESS_MAIN(TestWireFormats)
#include "tst_wire_formats.moc"
