#include "ProtocolTables.h"

#include "Markdown.h"
#include "firmware/local/LocalUpgrade.h"
#include "firmware/local/YModemBlocks.h"
#include "firmware/online/LineCoding.h"
#include "firmware/online/NetPacket.h"
#include "firmware/online/UpgradeExchange.h"

#include <QStringList>
#include <QtEndian>

#include <algorithm>
#include <numeric>

using namespace Qt::StringLiterals;
using markdown::code;
using markdown::hex;

namespace {

using Stage = UpgradeExchange::Stage;
constexpr auto kAccepted = ResponseFrameObject::ResponseStatus::Accepted;

QString lineText(const QByteArray &raw)
{
    constexpr qsizetype kShown = 44;
    QString line = QString::fromLatin1(upgrade::encodeLine(raw).value_or(QByteArray()).chopped(1));
    if (line.size() > kShown)
        line = line.left(kShown - 6) + u"…"_s + line.right(6);
    return line + u"⏎"_s;
}

/// What the bootloader asks for.
CommandFrameObject request(quint8 type, const QByteArray &data = {})
{
    CommandFrameObject frame;
    frame.type = type;
    frame.firstValue = 1;
    frame.secondValue = 1;
    frame.data = data;
    return frame;
}

/// The server's answer with an image of a chunk and a byte. Past its code each byte is its own
/// offset, so that it can be told where the console takes the parts from.
QByteArray serverReply()
{
    constexpr qsizetype kHead = 84;
    QByteArray payload(kHead + FirmwareChunks::kChunkLength + 1, '\0');
    std::iota(payload.begin(), payload.end(), char(0));
    qToLittleEndian(quint32(0x4001), payload.data());
    return payload;
}

struct SentFrame
{
    QString when;
    CommandFrameObject frame;
    Stage stage;
};

/// Everything that the console sends in one upgrade, from the exchange itself.
QList<SentFrame> wholeExchange()
{
    UpgradeExchange exchange(u"COM3"_s);
    QList<SentFrame> sent;
    const auto keep = [&](const QString &when, const UpgradeExchange::Actions &actions) {
        for (const UpgradeExchange::Action &action : actions) {
            if (const auto *command = std::get_if<UpgradeExchange::SendCommand>(&action))
                sent.append({when, command->frame, exchange.stage()});
        }
    };
    const QByteArray uid(16, '\x5a');
    keep(u"at the start"_s, exchange.begin());
    exchange.handleResponse(kAccepted);
    keep(u"after the UID (10)"_s, exchange.carryOut(request(0x10, uid)));
    keep(u"once that was accepted"_s, exchange.handleResponse(kAccepted));
    exchange.handleResponse(kAccepted);
    exchange.handleServerPacket(NetPacket::of(serverReply()));
    keep(u"asked for by 11"_s, exchange.carryOut(request(0x11)));
    exchange.handleResponse(kAccepted);
    keep(u"asked for by 12"_s, exchange.carryOut(request(0x12)));
    exchange.handleResponse(kAccepted);
    keep(u"asked for by 13"_s, exchange.carryOut(request(0x13)));
    keep(u"after each accepted chunk"_s, exchange.handleResponse(kAccepted));
    return sent;
}

QString exchangeTable()
{
    QList<QStringList> rows;
    for (const SentFrame &step : wholeExchange()) {
        rows.append(
            {hex(step.frame.type), step.when, QString::number(step.frame.firstValue),
             QString::number(step.frame.secondValue), QString::number(step.frame.data.size()),
             QString::number(static_cast<int>(step.stage)), code(lineText(step.frame.toBytes()))});
    }
    return markdown::table({u"type"_s, u"sent"_s, u"first value"_s, u"second value"_s,
                            u"data bytes"_s, u"stage then"_s, u"on the line"_s},
                           rows);
}

QString responseTable()
{
    using enum ResponseFrameObject::ResponseStatus;
    QList<QStringList> rows;
    const auto row = [&](ResponseFrameObject::ResponseStatus status, const QString &meaning) {
        ResponseFrameObject response;
        response.index = 1;
        response.status = status;
        rows.append({QString::number(static_cast<int>(status)), meaning,
                     code(hex(response.toBytes())), code(lineText(response.toBytes()))});
    };
    row(Accepted, u"accepted"_s);
    row(Refused, u"refused, or a line that could not be decoded"_s);
    row(SendAgain, u"send it again, or a frame that could not be read"_s);
    row(Other, u"any other byte is read as this"_s);
    return markdown::table({u"status"_s, u"meaning"_s, u"raw, index 1"_s, u"on the line"_s}, rows);
}

QString serverTable()
{
    const QList<SentFrame> sent = wholeExchange();
    const auto offsetOf = [&](Stage stage) {
        const auto found = std::ranges::find(sent, stage, &SentFrame::stage);
        return qsizetype(quint8(found->frame.data.at(0)));
    };
    const qsizetype uuid = offsetOf(Stage::UuidSent);
    const qsizetype signature = offsetOf(Stage::SignatureSent);
    const qsizetype image = offsetOf(Stage::ChunkSent);
    const QString reply = u"reply"_s;
    QList<QStringList> rows = {
        {reply, u"0"_s, QString::number(uuid), u"code `01 40 00 00`"_s},
        {reply, QString::number(uuid), QString::number(signature - uuid), u"UUID"_s},
        {reply, QString::number(signature), QString::number(image - signature), u"signature"_s},
        {reply, QString::number(image), u"the rest"_s, u"firmware image"_s},
    };
    return markdown::table({u"message"_s, u"offset"_s, u"bytes"_s, u"content"_s}, rows);
}

QString packetTable()
{
    const NetPacket packet = NetPacket::of(QByteArrayLiteral("\x01\x02\x03"));
    return markdown::table(
        {u"offset"_s, u"bytes"_s, u"content"_s},
        {{u"0"_s, u"4"_s, u"magic %1"_s.arg(code(u"%1"_s.arg(NetPacket::kMagic, 8, 16).toUpper()))},
         {u"4"_s, u"4"_s, u"length of the payload"_s},
         {QString::number(NetPacket::kHeaderLength), u"length"_s, u"payload"_s},
         {u""_s, u""_s, u"the payload 01 02 03: "_s + code(hex(packet.toBytes()))}});
}

QString seconds(int ms) { return u"%1 s"_s.arg(double(ms) / 1000); }

QString localUpgradeTable()
{
    const UpgradeTimeouts t;
    const QString again = seconds(t.blockMs)
                          + u", then the console sends the block again, %1 times in all"_s.arg(
                              LocalUpgrade::kBlockTries);
    return markdown::table(
        {u"the bootloader sends"_s, u"the console then"_s, u"it waits for that"_s},
        {{u"text with `NEWBOOT`"_s, u"sends the unlock phrase"_s, seconds(t.newBootMs)},
         {u"anything"_s, u"sends `put` and a line feed"_s, u"for ever"_s},
         {u"text with `C`"_s, u"sends the header block"_s, u"for ever"_s},
         {u"ACK"_s, u"waits on"_s, again},
         {u"C"_s, u"sends data block 1"_s, u"for ever"_s},
         {u"ACK, for every data block"_s, u"sends the next block, or EOT after the last"_s, again},
         {u"NAK"_s, u"sends EOT once more"_s, seconds(t.firstEotMs)},
         {u"ACK"_s, u"waits on"_s, seconds(t.secondEotMs)},
         {u"C"_s, u"sends the closing header"_s, seconds(t.finalRequestMs)},
         {u"ACK"_s, u"waits on"_s, seconds(t.nullHeaderMs)},
         {u"text with `Ostrel_thread->Update success!`"_s, u"is done"_s, seconds(t.successMs)}});
}

QString ymodemTable()
{
    using namespace ymodem;
    const QString file = u"fw.bin"_s;
    const QByteArray image(kLongPayload + 1, '\xab');
    QList<QStringList> rows;
    const auto row = [&](const QString &block, const QByteArray &bytes, const QString &content) {
        constexpr qsizetype kShown = 20;
        rows.append({block, QString::number(bytes.size()),
                     QString::number(bytes.size() - kOverhead), content, code(hex(bytes, kShown))});
    };
    row(u"header"_s, headerBlock(file, image.size()),
        u"name, 00, size in decimal, 00, then zeros"_s);
    row(u"data 1"_s, dataBlock(image, 1, kLongPayload), u"the file's bytes"_s);
    row(u"data 2"_s, dataBlock(image, 2, kLongPayload),
        u"the last bytes, then %1"_s.arg(hex(quint8(kPadding))));
    row(u"closing header"_s, nullHeaderBlock(), u"zeros"_s);
    return markdown::table(
        {u"block"_s, u"bytes"_s, u"payload"_s, u"content"_s, u"of fw.bin with 1025 bytes AB"_s},
        rows);
}

QString ymodemCodes()
{
    using namespace ymodem;
    QList<QStringList> rows;
    const auto row = [&](const QString &name, char byte, const QString &meaning) {
        rows.append({name, hex(quint8(byte)), meaning});
    };
    row(u"SOH"_s, kSoh, u"starts a block of %1 payload bytes"_s.arg(kShortPayload));
    row(u"STX"_s, kStx, u"starts a block of %1 payload bytes"_s.arg(kLongPayload));
    row(u"EOT"_s, kEot, u"the file is over; sent twice"_s);
    row(u"ACK"_s, kAck, u"taken"_s);
    row(u"NAK"_s, kNak, u"the answer to the first EOT; in answer to a block it ends the upgrade"_s);
    row(u"C"_s, kCrcRequest, u"ready to receive, with CRC-16"_s);
    return markdown::table({u"name"_s, u"byte"_s, u"meaning"_s}, rows);
}

} // namespace

void addUpgradeTables(Tables &tables)
{
    tables.insert(u"online frames"_s, exchangeTable());
    tables.insert(u"online responses"_s, responseTable());
    tables.insert(u"server packet"_s, packetTable());
    tables.insert(u"server reply"_s, serverTable());
    tables.insert(u"local upgrade"_s, localUpgradeTable());
    tables.insert(u"ymodem blocks"_s, ymodemTable());
    tables.insert(u"ymodem bytes"_s, ymodemCodes());
}
