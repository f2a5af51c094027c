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
QStringList words(const UpgradeExchange::Actions &actions)
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
    return list;
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
    return NetPacket::of(QByteArray::fromHex("01400000") + QByteArray(16, 'u') + QByteArray(64, 's')
                         + image);
}

} // namespace

class TestUpgradeExchange : public QObject
{
    Q_OBJECT

private slots:
    void cutsImages_data();
    void cutsImages();
    void largestImageEndsAtItsLastChunk();
    void oneByteMoreIsRefusedAndChangesNothing();
    void chunksAreResentAsTheyWere();
    void serverPackets_data();
    void serverPackets();
    void uidVerdicts();
    void answersThatAnswerNothing();
    void refusalIsLeftByTheNextRequest();
    void firmwareAskedForBeforeItIsThere();
    void startsOnlyOnce();
};

void TestUpgradeExchange::cutsImages_data()
{
    QTest::addColumn<qsizetype>("size");
    QTest::addColumn<int>("total");
    QTest::addColumn<qsizetype>("last");
    QTest::newRow("empty") << qsizetype(0) << 0 << qsizetype(0);
    QTest::newRow("one") << qsizetype(1) << 1 << qsizetype(1);
    QTest::newRow("116") << qsizetype(116) << 1 << qsizetype(116);
    QTest::newRow("117") << qsizetype(117) << 2 << qsizetype(1);
    QTest::newRow("232") << qsizetype(232) << 2 << qsizetype(116);
    QTest::newRow("233") << qsizetype(233) << 3 << qsizetype(1);
    QTest::newRow("largest") << kLargestImage << 65535 << qsizetype(116);
}

void TestUpgradeExchange::cutsImages()
{
    QFETCH(const qsizetype, size);
    QFETCH(const int, total);
    QByteArray image(size, Qt::Uninitialized);
    for (qsizetype i = 0; i < size; ++i)
        image[i] = static_cast<char>(i * 7 + i / 116);
    const auto chunks = FirmwareChunks::cut(image);
    QVERIFY(chunks);
    QCOMPARE(chunks->total(), total);
    QTEST(chunks->at(total).size(), "last");
    QByteArray joined;
    for (int index = 1; index <= total; ++index)
        joined += chunks->at(index);
    QVERIFY(joined == image);
    QCOMPARE(chunks->at(0), QByteArray());
    QCOMPARE(chunks->at(total + 1), QByteArray());
}

void TestUpgradeExchange::largestImageEndsAtItsLastChunk()
{
    UpgradeExchange exchange(u"P"_s);
    exchange.handleServerPacket(reply(QByteArray(kLargestImage, 'x')));
    QCOMPARE(words(exchange.carryOut(command(0x13))).join(u'|'),
             u"串口 P 发送固件 1-65535|%3|c23:65535/1:116"_s);
    QStringList last;
    for (int index = 2; index <= 65535; ++index)
        last = words(exchange.handleResponse(Status::Accepted));
    QCOMPARE(last.join(u'|'), u"串口 P 发送固件 65535-65535|%100|%101|c23:65535/65535:116"_s);
    QVERIFY(exchange.handleResponse(Status::Accepted).isEmpty());
    QCOMPARE(exchange.stage(), Stage::ChunkAccepted);
    QVERIFY(exchange.handleResponse(Status::SendAgain).isEmpty());
}

void TestUpgradeExchange::oneByteMoreIsRefusedAndChangesNothing()
{
    UpgradeExchange exchange(u"P"_s);
    exchange.handleServerPacket(reply("old"));
    QCOMPARE(words(exchange.handleServerPacket(reply(QByteArray(kLargestImage + 1, 'x')))),
             QStringList{u"报文错误: 固件过大: 7602061 字节"_s});
    QCOMPARE(words(exchange.carryOut(command(0x13))).constLast(), u"c23:1/1:3"_s);
}

void TestUpgradeExchange::chunksAreResentAsTheyWere()
{
    UpgradeExchange exchange(u"P"_s);
    exchange.handleServerPacket(reply(QByteArray(117, 'x')));
    exchange.carryOut(command(0x13));
    QCOMPARE(words(exchange.handleResponse(Status::SendAgain)).join(u'|'),
             u"串口 P 重新发送固件 1-2|%50|c23:2/1:116"_s);
    exchange.handleResponse(Status::Accepted);
    QCOMPARE(words(exchange.handleResponse(Status::SendAgain)).join(u'|'),
             u"串口 P 重新发送固件 2-2|%100|%101|c23:2/2:1"_s);
    QCOMPARE(exchange.stage(), Stage::ChunkSent);
}

void TestUpgradeExchange::serverPackets_data()
{
    QTest::addColumn<QByteArray>("payload");
    QTest::addColumn<QString>("text");
    const auto hex = [](const char *text) { return QByteArray::fromHex(text); };
    QTest::newRow("no code") << hex("014000") << QString();
    QTest::newRow("error") << hex("01000080") << u"报文错误: 收到错误应答"_s;
    QTest::newRow("unknown") << hex("40010000") << u"报文错误: 收到错误应答码: 320"_s;
    QTest::newRow("code alone") << hex("01400000") << u"报文错误: 收到错误数据长度: 4"_s;
    QTest::newRow("one byte short")
        << hex("01400000") + QByteArray(79, 'x') << u"报文错误: 收到错误数据长度: 83"_s;
    QTest::newRow("no image") << hex("01400000") + QByteArray(80, 'x')
                              << u"串口 P 客户端收到服务器应答"_s;
}

void TestUpgradeExchange::serverPackets()
{
    QFETCH(const QByteArray, payload);
    UpgradeExchange exchange(u"P"_s);
    QTEST(words(exchange.handleServerPacket(NetPacket::of(payload))).join(u'|'), "text");
    QVERIFY(exchange.carryOut(command(0x13)).isEmpty());
}

void TestUpgradeExchange::uidVerdicts()
{
    const UpgradeExchange exchange(u"P"_s);
    for (const qsizetype length : {1, 15, 17}) {
        const auto uid = command(0x10, QByteArray(length, '\xAB'));
        QVERIFY(!UpgradeExchange::needsServer(uid));
        QVERIFY(!exchange.judge(uid, true).accepted);
        QVERIFY(words(exchange.judge(uid, true).actions).constLast().endsWith(u", UID长度错误"_s));
    }
    const auto sound = command(0x10, QByteArray(16, '\xAB'));
    QVERIFY(UpgradeExchange::needsServer(sound));
    QVERIFY(!exchange.judge(sound, false).accepted);
    QCOMPARE(words(exchange.judge(sound, true).actions).join(u'|'),
             u"串口 P 收到下位机UID ABABABABABABABABABABABABABABABAB|%1"_s);
    QVERIFY(exchange.judge(command(0x7F), false).accepted);
}

void TestUpgradeExchange::answersThatAnswerNothing()
{
    for (const Status status : {Status::Accepted, Status::SendAgain, Status::Other}) {
        UpgradeExchange exchange(u"P"_s);
        QVERIFY(exchange.handleResponse(status).isEmpty());
        QCOMPARE(exchange.stage(), Stage::Idle);
    }
    UpgradeExchange exchange(u"P"_s);
    exchange.begin();
    QVERIFY(exchange.handleResponse(Status::Other).isEmpty());
    QCOMPARE(exchange.stage(), Stage::StartSent);
    exchange.handleResponse(Status::Accepted);
    QVERIFY(exchange.handleResponse(Status::Accepted).isEmpty());
    QVERIFY(exchange.handleResponse(Status::SendAgain).isEmpty());
    QCOMPARE(exchange.stage(), Stage::StartAccepted);
}

void TestUpgradeExchange::refusalIsLeftByTheNextRequest()
{
    UpgradeExchange exchange(u"P"_s);
    exchange.begin();
    exchange.handleResponse(Status::Refused);
    QCOMPARE(exchange.stage(), Stage::Refused);
    QVERIFY(exchange.handleResponse(Status::SendAgain).isEmpty());
    exchange.carryOut(command(0x12));
    QCOMPARE(exchange.stage(), Stage::SignatureSent);
}

void TestUpgradeExchange::firmwareAskedForBeforeItIsThere()
{
    UpgradeExchange exchange(u"P"_s);
    QVERIFY(exchange.carryOut(command(0x13)).isEmpty());
    QCOMPARE(exchange.stage(), Stage::Idle);
    // UUID and signature are sent whatever they are; the bootloader judges them.
    QCOMPARE(words(exchange.carryOut(command(0x11))).join(u'|'), u"c21:1/1:0|串口 P 发送UUID|%2"_s);
}

void TestUpgradeExchange::startsOnlyOnce()
{
    UpgradeExchange exchange(u"P"_s);
    QCOMPARE(words(exchange.begin()).join(u'|'), u"c00:1/1:0|串口 P 发送Bootloader启动报文"_s);
    QVERIFY(exchange.begin().isEmpty());
}

QTEST_APPLESS_MAIN(TestUpgradeExchange)
#include "tst_upgrade_exchange.moc"
