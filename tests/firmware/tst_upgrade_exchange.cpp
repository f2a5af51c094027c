// The course of an upgrade as pure logic: what only a large image or an odd order brings out.

#include "firmware/online/UpgradeExchange.h"

#include <QTest>

using namespace Qt::StringLiterals;
using Stage = UpgradeExchange::Stage;
using Status = ResponseFrameObject::ResponseStatus;

namespace {

constexpr qsizetype kLargestImage = 65535 * 116; // bytes

/// One word for each action: "c23:3/2:116" command of type, first/second value and data length;
/// "uid"; "%n" progress; other texts as they are.
QString words(const UpgradeExchange::Actions &actions)
{
    QStringList list;
    for (const auto &action : actions) {
        if (const auto *command = std::get_if<UpgradeExchange::SendCommand>(&action))
            list.append(u"c%1:%2/%3:%4"_s.arg(command->frame.type, 2, 16, QLatin1Char('0'))
                            .arg(command->frame.firstValue)
                            .arg(command->frame.secondValue)
                            .arg(command->frame.data.size()));
        else if (std::holds_alternative<UpgradeExchange::SendUid>(action))
            list.append(u"uid"_s);
        else if (const auto *progress = std::get_if<UpgradeExchange::Progress>(&action))
            list.append(u"%%1"_s.arg(progress->percent));
        else if (const auto *status = std::get_if<UpgradeExchange::Status>(&action))
            list.append(status->text);
        else if (const auto *error = std::get_if<UpgradeExchange::Error>(&action))
            list.append(error->text);
    }
    return list.join(u'|');
}

CommandFrameObject command(quint8 type, const QByteArray &data = QByteArray(1, '\0'))
{
    CommandFrameObject frame;
    frame.type = type;
    frame.data = data;
    return frame;
}

NetPacket reply(const QByteArray &image)
{
    return NetPacket::of(QByteArray::fromHex("01400000") + QByteArray(80, 'u') + image);
}

} // namespace

class TestUpgradeExchange : public QObject
{
    Q_OBJECT

private slots:
    void largestImage();
    void oddPacketsAndUids();
    void oddOrders();
};

void TestUpgradeExchange::largestImage()
{
    UpgradeExchange exchange(u"P"_s);
    exchange.handleServerPacket(reply(QByteArray(kLargestImage, 'x')));
    QCOMPARE(words(exchange.carryOut(command(0x13))),
             u"串口 P 发送固件 1-65535|%3|c23:65535/1:116"_s);
    QString last;
    for (int index = 2; index <= 65535; ++index)
        last = words(exchange.handleResponse(Status::Accepted));
    QCOMPARE(last, u"串口 P 发送固件 65535-65535|%100|%101|c23:65535/65535:116"_s);
    QCOMPARE(words(exchange.handleResponse(Status::SendAgain)),
             u"串口 P 重新发送固件 65535-65535|%100|%101|c23:65535/65535:116"_s);
    QVERIFY(exchange.handleResponse(Status::Accepted).isEmpty());
    QCOMPARE(exchange.stage(), Stage::ChunkAccepted);
    QVERIFY(exchange.handleResponse(Status::SendAgain).isEmpty());

    // One byte more is refused and changes nothing.
    exchange.handleServerPacket(reply("old"));
    QCOMPARE(words(exchange.handleServerPacket(reply(QByteArray(kLargestImage + 1, 'x')))),
             u"报文错误: 固件过大: 7602061 字节"_s);
    QVERIFY(words(exchange.carryOut(command(0x13))).endsWith(u"|c23:1/1:3"_s));
}

void TestUpgradeExchange::oddPacketsAndUids()
{
    const std::pair<QByteArray, QString> packets[] = {
        {"014000", {}},
        {"01400000", u"报文错误: 收到错误数据长度: 4"_s},
        {"01400000" + QByteArray(80, 'x').toHex(), u"串口 P 客户端收到服务器应答"_s}, // no image
    };
    for (const auto &[payload, text] : packets) {
        UpgradeExchange exchange(u"P"_s);
        const NetPacket packet = NetPacket::of(QByteArray::fromHex(payload));
        QCOMPARE(words(exchange.handleServerPacket(packet)), text);
        QVERIFY(exchange.carryOut(command(0x13)).isEmpty());
    }
    for (const qsizetype length : {1, 15, 16, 17}) {
        const auto uid = command(0x10, QByteArray(length, '\xAB'));
        QCOMPARE(UpgradeExchange::needsServer(uid), length == 16);
        QCOMPARE(UpgradeExchange(u"P"_s).judge(uid, true).accepted, length == 16);
    }
    QVERIFY(UpgradeExchange(u"P"_s).judge(command(0x7F), false).accepted);
}

void TestUpgradeExchange::oddOrders()
{
    UpgradeExchange exchange(u"P"_s);
    const auto changesNothing = [&](Status answer) {
        const Stage before = exchange.stage();
        return exchange.handleResponse(answer).isEmpty() && exchange.stage() == before;
    };
    for (const Status status : {Status::Accepted, Status::SendAgain, Status::Other})
        QVERIFY(changesNothing(status));
    // Firmware is not sent before it is there; a UUID is, whatever it is: the bootloader judges.
    QVERIFY(exchange.carryOut(command(0x13)).isEmpty());
    QCOMPARE(exchange.stage(), Stage::Idle);
    QCOMPARE(words(UpgradeExchange(u"P"_s).carryOut(command(0x11))),
             u"c21:1/1:0|串口 P 发送UUID|%2"_s);

    QVERIFY(!exchange.begin().isEmpty());
    QVERIFY(exchange.begin().isEmpty());
    QVERIFY(changesNothing(Status::Other));
    exchange.handleResponse(Status::Accepted);
    QCOMPARE(exchange.stage(), Stage::StartAccepted);
    QVERIFY(changesNothing(Status::Accepted));
    QVERIFY(changesNothing(Status::SendAgain));

    // A refusal is left by the next request.
    exchange.handleResponse(Status::Refused);
    QCOMPARE(exchange.stage(), Stage::Refused);
    QVERIFY(changesNothing(Status::SendAgain));
    exchange.carryOut(command(0x12));
    QCOMPARE(exchange.stage(), Stage::SignatureSent);
}

QTEST_APPLESS_MAIN(TestUpgradeExchange)
#include "tst_upgrade_exchange.moc"
