// Bytes on the wires of both upgrades, against values worked out by hand, and what the
// server-assisted one makes of images and orders that no simulated upgrade brings.

#include "CaseTrace.h"

#include "firmware/local/Crc16.h"
#include "firmware/local/YModemBlocks.h"
#include "firmware/online/LineCoding.h"
#include "firmware/online/LineFrameAssembler.h"
#include "firmware/online/PodPortFinder.h"
#include "firmware/online/UpgradeExchange.h"

#include <QTest>

#include <tuple>

using namespace Qt::StringLiterals;
using Status = ResponseFrameObject::ResponseStatus;

namespace {

QByteArray hex(const QByteArray &text) { return QByteArray::fromHex(text); }

/// What is sent ("3/2:116": first and second value, length of data), progress ("%3"), errors.
QString words(const UpgradeExchange::Actions &actions)
{
    QStringList list;
    for (const auto &action : actions) {
        if (const auto *sent = std::get_if<UpgradeExchange::SendCommand>(&action))
            list.append(u"%1/%2:%3"_s.arg(sent->frame.firstValue)
                            .arg(sent->frame.secondValue)
                            .arg(sent->frame.data.size()));
        else if (const auto *progress = std::get_if<UpgradeExchange::Progress>(&action))
            list.append(u"%%1"_s.arg(progress->percent));
        else if (const auto *error = std::get_if<UpgradeExchange::Error>(&action))
            list.append(error->text);
    }
    return list.join(u' ');
}

} // namespace

class TestWireFormats : public QObject
{
    Q_OBJECT

private slots:
    void ymodemBlocks();
    void commands();
    void responses();
    void linesAndTheirStream();
    void packets();
    void imagesOfOddSizes();
    void portsAreChosenByTheirIds();
};

void TestWireFormats::ymodemBlocks()
{
    QCOMPARE(ymodem::crc16("123456789"_ba), 0x31C3);
    QByteArray payload = "\xE5\x9B\xBA\xE4\xBB\xB6.bin|1025"; // the bar stands for a zero
    payload = payload.replace('|', '\0').leftJustified(128, '\0');
    const QByteArray header = ymodem::headerBlock(u"固件.bin"_s, 1025);
    QCOMPARE(header.chopped(2), "\x01\x00\xFF"_ba + payload);
    QCOMPARE(ymodem::nullHeaderBlock(), "\x01\x00\xFF"_ba + QByteArray(130, '\0'));
    const QByteArray last =
        ymodem::dataBlock(QByteArray(qsizetype(255) * 1024, 'x') + "yz", 256, 1024);
    QCOMPARE(last.chopped(2), "\x02\x00\xFFyz"_ba + QByteArray(1022, '\x1A'));
    for (const QByteArray &block : {header, last}) // payload and CRC leave nothing
        QCOMPARE(ymodem::crc16(block.sliced(3)), 0);
}

void TestWireFormats::commands()
{
    const QByteArray longest(CommandFrameObject::kDataMax, '\xFF');
    // "00" five times and "FF" 257 times make a sum of 36460.
    const QByteArray longestRaw = hex("7e0000000000ff") + longest + hex("71940d");
    // Raw bytes, type, values, data, and whether we write it so too.
    const QList<std::tuple<QByteArray, int, int, int, QByteArray, bool>> rows{
        {hex("7e00000100010000fd5e0d"), 0x00, 1, 1, hex("00"), true},
        {hex("7e0100010001013a98fcd70d"), 0x01, 1, 1, hex("3a98"), true},
        {hex("7e23000100010001fd580d"), 0x23, 1, 1, hex("01"), true},
        {longestRaw, 0x00, 0, 0, longest, true},
        {hex("7e10018002ff00aaffff0d"), 0x10, 0x0080, 0x01FF, hex("aa"), false}, // signed low bytes
        {hex("7e1000ff008000aa00000d"), 0x10, 0xFFFF, 0xFF80, hex("aa"), false}, // any checksum
        {hex("7e10000100010323 0d7e2afd5d0d"), 0x10, 1, 1, hex("230d7e2a"), false},
    };
    for (const auto &[raw, type, first, second, data, ours] : rows) {
        const CaseTrace trace(QByteArray(raw).toHex());
        CommandFrameObject parsed;
        QVERIFY2(parsed.fromBytes(raw), raw.toHex());
        QCOMPARE(std::tuple(parsed.type, parsed.firstValue, parsed.secondValue, parsed.data),
                 std::tuple(quint8(type), quint16(first), quint16(second), data));
        if (ours)
            QCOMPARE(parsed.toBytes().toHex(), raw.toHex());
    }
    CommandFrameObject tooLong;
    tooLong.data = longest + 'x';
    QCOMPARE(tooLong.toBytes(), QByteArray());
    // Nothing, too short for data, response start, no end, length one short, one long, and FF.
    for (const char *raw :
         {"", "7e100001000100fd5d0d", "2310000100010000fd5d0d", "7e10000100010000fd5d0a",
          "7e1000010001000000fd5d0d", "7e10000100010100fd5d0d", "7e1000010001ff00fd5d0d"})
        QVERIFY2(!CommandFrameObject().fromBytes(hex(raw)), raw);
}

void TestWireFormats::responses()
{
    // The low byte is signed; statuses beyond 2 are all the same.
    const QList<std::tuple<const char *, quint16, int>> rows{{"231234010d", 0x1234, 1},
                                                             {"230100020d", 0x100, 2},
                                                             {"230180ff0d", 0x80, 255},
                                                             {"2300ff030d", 0xFFFF, 255}};
    for (const auto &[raw, index, status] : rows) {
        ResponseFrameObject frame;
        QVERIFY2(frame.fromBytes(hex(raw)), raw);
        QCOMPARE(std::pair(frame.index, int(frame.status)), std::pair(index, status));
        frame.index = 0x12F4;
        QCOMPARE(frame.toBytes(), hex("2312f4") + char(status) + '\r');
    }
    for (const char *raw : {"2300010d", "23000100000d", "7e0001000d", "230001000a"})
        QVERIFY2(!ResponseFrameObject().fromBytes(hex(raw)), raw);
}

void TestWireFormats::linesAndTheirStream()
{
    for (const char *line : {"", "~", "~0123A\r", "*00\r", "~00#", "~00aF\r", "~0/\r", "~:0\r",
                             "~@0\r", "~0G\r", "#0 0001\r"})
        QVERIFY2(!upgrade::decodeLine(line), line);
    for (const char *line : {"~00010FF0\r", "#0123456789ABCDEF\r", "~\r"}) {
        const QByteArray raw = line[0] + hex(QByteArray(line).chopped(1).sliced(1)) + '\r';
        QCOMPARE(upgrade::decodeLine(line), raw);
        QCOMPARE(upgrade::encodeLine(raw), QByteArray(line));
    }
    const QByteArray longest = '~' + QByteArray(254, 'A') + '\r';
    const QList<std::pair<QByteArray, QByteArrayList>> rows{
        {"\r\nab\xff~00\r#000100\r", {"~00\r", "#000100\r"}},
        {"~0\r#00\r", {"#00\r"}},         // odd length is dropped
        {"~0#0~0\r~0#0~\r", {"~0#0~\r"}}, // a start inside does not begin anew
        {longest, {longest}},
        {'~' + QByteArray(255, 'A') + "~00\r", {"~00\r"}},
        {'~' + QByteArray(100000, 'A'), {}}, // no end in sight
    };
    for (const auto &[bytes, frames] : rows)
        QCOMPARE(LineFrameAssembler().push(bytes), frames);
}

void TestWireFormats::packets()
{
    QCOMPARE(NetPacket::of(QByteArray(0x12345, 'x')).toBytes().first(9),
             hex("33aa55fc 45230100 78"));
    // What is read at once, in hexadecimal, and the payloads found in it.
    const QList<std::pair<QByteArrayList, QByteArrayList>> rows{
        {{"33aa55fc 03000000", "6162", "63 33aa55fc 00000000"}, {"616263", ""}},
        {{"33aa55fc 04000000 33aa55fc"}, {"33aa55fc"}},
        // A wrong header drops all that is there: the magic, its bytes turned round, the length.
        {{"00000000 00000000 33aa55fc 01000000 41", "33aa55fc 01000000 42"}, {"42"}},
        {{"fc55aa33 01000000 41"}, {}},
        {{"33aa55fc 01000010 41", "33aa55fc 01000000 42"}, {"42"}},
        {{"33aa55fc 00000010", "33aa55fc 01000000 42"}, {}}, // the longest that is waited for
    };
    for (const auto &[reads, payloads] : rows) {
        const CaseTrace trace(reads);
        NetPacketAssembler assembler;
        QByteArrayList found;
        for (const QByteArray &read : reads) {
            assembler.append(hex(read));
            NetPacketAssembler::Step step;
            while (!std::holds_alternative<NetPacketAssembler::NeedsMore>(step = assembler.next()))
                if (const auto *packet = std::get_if<NetPacket>(&step))
                    found.append(packet->payload.toHex());
        }
        QCOMPARE(found, payloads);
    }
}

void TestWireFormats::imagesOfOddSizes()
{
    CommandFrameObject request;
    request.type = 0x13;
    constexpr qsizetype kLargestImage = qsizetype(65535) * 116; // bytes
    const auto packet = [](qsizetype imageSize) {
        return NetPacket::of(hex("01400000") + QByteArray(80 + imageSize, 'x'));
    };
    UpgradeExchange exchange(u"P"_s);
    QVERIFY(exchange.handleServerPacket(NetPacket::of(hex("014000"))).isEmpty()); // no whole code
    for (const auto &[size, text] : {std::pair(-1, u"报文错误: 收到错误数据长度: 83"_s), {0, {}}}) {
        const CaseTrace trace(size);
        QCOMPARE(words(exchange.handleServerPacket(packet(size))), text);
        QVERIFY(exchange.carryOut(request).isEmpty()); // there is no image
    }
    exchange.handleServerPacket(packet(kLargestImage));
    QCOMPARE(words(exchange.carryOut(request)), u"%3 65535/1:116"_s);
    QString last;
    for (int index = 2; index <= 65535; ++index)
        last = words(exchange.handleResponse(Status::Accepted));
    QCOMPARE(last, u"%100 %101 65535/65535:116"_s);
    QCOMPARE(words(exchange.handleResponse(Status::SendAgain)), last);
    QVERIFY(exchange.handleResponse(Status::Accepted).isEmpty());
    QVERIFY(exchange.handleResponse(Status::SendAgain).isEmpty());

    // One byte more is refused and changes nothing.
    exchange.handleServerPacket(packet(3));
    QCOMPARE(words(exchange.handleServerPacket(packet(kLargestImage + 1))),
             u"报文错误: 固件过大: 7602061 字节"_s);
    QCOMPARE(words(exchange.carryOut(request)), u"%100 %101 1/1:3"_s);
}

void TestWireFormats::portsAreChosenByTheirIds()
{
    const auto port = [](const QString &name, quint16 vendor = 0x0483, quint16 product = 0x56CE) {
        return SerialPortEntry{name, vendor, product};
    };
    QList<SerialPortEntry> ports{port(u"COM3"_s, 0x0483, 0x5740), port(u"COM4"_s, 0x0484),
                                 port(u"com1"_s)}; // COM1 never
    QVERIFY(!pod_port::find(ports));
    ports += {port(u"COM10"_s), port(u"COM5"_s)};
    QCOMPARE(pod_port::find(ports)->name, u"COM10"_s);
}

QTEST_APPLESS_MAIN(TestWireFormats)
#include "tst_wire_formats.moc"
