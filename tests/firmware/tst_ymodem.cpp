// The bytes of YModem blocks and of the upgrade's log, against values worked out by hand.

#include "firmware/UpgradeLog.h"
#include "firmware/local/Crc16.h"
#include "firmware/local/YModemBlocks.h"

#include <QTest>

using namespace Qt::StringLiterals;

class TestYModem : public QObject
{
    Q_OBJECT

private slots:
    void crcVectors_data();
    void crcVectors();
    void headerKeepsItsSize_data();
    void headerKeepsItsSize();
    void dataBlocks_data();
    void dataBlocks();
    void nullHeader();
    void bytesInTheLog();
};

void TestYModem::crcVectors_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<quint16>("expected");
    QTest::newRow("none") << QByteArray() << quint16(0);
    QTest::newRow("the usual check") << "123456789"_ba << quint16(0x31C3);
    QTest::newRow("one letter") << "A"_ba << quint16(0x58E5);
    QTest::newRow("top bit set") << QByteArray("\xFF", 1) << quint16(0x1EF0);
    QTest::newRow("zeros change nothing") << QByteArray(128, '\0') << quint16(0);
}

void TestYModem::crcVectors()
{
    QFETCH(QByteArray, bytes);
    QTEST(ymodem::crc16(bytes), "expected");
}

void TestYModem::headerKeepsItsSize_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<qsizetype>("size");
    QTest::addColumn<QByteArray>("expected"); // the payload without its zeros at the end
    const auto payload = [](const QByteArray &name, const QByteArray &size) {
        return name + '\0' + size;
    };
    QTest::newRow("plain") << u"pod.bin"_s << qsizetype(1025) << payload("pod.bin", "1025");
    QTest::newRow("UTF-8") << u"固件.bin"_s << qsizetype(1)
                           << payload("\xE5\x9B\xBA\xE4\xBB\xB6.bin", "1");
    QTest::newRow("just fits") << QString(122, u'n') << qsizetype(1048)
                               << payload(QByteArray(122, 'n'), "1048");
    QTest::newRow("one too long") << QString(123, u'n') << qsizetype(1048)
                                  << payload(QByteArray(122, 'n'), "1048");
    // 122 bytes hold 40 characters of three bytes and two bytes of the next.
    QTest::newRow("cut between characters")
        << QString(200, u'固') << qsizetype(1048) << payload(QString(40, u'固').toUtf8(), "1048");
}

void TestYModem::headerKeepsItsSize()
{
    QFETCH(QString, name);
    QFETCH(qsizetype, size);
    QFETCH(QByteArray, expected);
    const QByteArray block = ymodem::headerBlock(name, size);
    QCOMPARE(block.size(), 133);
    QCOMPARE(block.first(3), "\x01\x00\xFF"_ba);
    QCOMPARE(block.mid(3, 128), expected.leftJustified(128, '\0'));
    QCOMPARE(ymodem::crc16(block.sliced(3)), quint16(0)); // payload and CRC leave nothing
}

void TestYModem::dataBlocks_data()
{
    QTest::addColumn<qsizetype>("fileSize");
    QTest::addColumn<qsizetype>("payloadSize");
    QTest::addColumn<qsizetype>("number");
    QTest::addColumn<QByteArray>("prefix");
    QTest::addColumn<qsizetype>("content"); // bytes of the file in the block
    QTest::newRow("first") << qsizetype(1025) << qsizetype(1024) << qsizetype(1)
                           << "\x02\x01\xFE"_ba << qsizetype(1024);
    QTest::newRow("one byte over")
        << qsizetype(1025) << qsizetype(1024) << qsizetype(2) << "\x02\x02\xFD"_ba << qsizetype(1);
    QTest::newRow("short blocks") << qsizetype(130) << qsizetype(128) << qsizetype(2)
                                  << "\x01\x02\xFD"_ba << qsizetype(2);
    QTest::newRow("number wraps") << qsizetype(300 * 1024) << qsizetype(1024) << qsizetype(256)
                                  << QByteArray("\x02\x00\xFF", 3) << qsizetype(1024);
}

void TestYModem::dataBlocks()
{
    QFETCH(qsizetype, fileSize);
    QFETCH(qsizetype, payloadSize);
    QFETCH(qsizetype, number);
    QFETCH(qsizetype, content);
    QByteArray file(fileSize, '\0');
    for (qsizetype i = 0; i < fileSize; ++i)
        file[i] = char(i * 7 + i / 1024);
    const QByteArray block = ymodem::dataBlock(file, number, payloadSize);
    QTEST(block.first(3), "prefix");
    QCOMPARE(block.size(), payloadSize + 5);
    QCOMPARE(block.mid(3, payloadSize),
             file.mid((number - 1) * payloadSize, content).leftJustified(payloadSize, '\x1A'));
    QCOMPARE(ymodem::crc16(block.sliced(3)), quint16(0));
}

void TestYModem::nullHeader()
{
    QCOMPARE(ymodem::nullHeaderBlock(), QByteArray("\x01\x00\xFF", 3) + QByteArray(130, '\0'));
}

void TestYModem::bytesInTheLog()
{
    QCOMPARE(upgrade_log::renderBytes(QByteArray("C ~\x06\x0A\x7F\xE5\x00", 8)),
             u"C ~[0x06][0x0a][0x7f][0xe5][0x00]"_s);
}

QTEST_GUILESS_MAIN(TestYModem)

#include "tst_ymodem.moc"
