// What the pod's frames do to the backend's properties and signals, over a real TCP connection.

#include "CMain.h"
#include "LogCatcher.h"
#include "PropertySnapshot.h"
#include "SignalLog.h"
#include "TcpPeer.h"
#include "protocol/InboundFrames.h"

#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

constexpr int kWaitMs = 20000;

QByteArray bytes(const char *hex) { return QByteArray::fromHex(hex); }

// Every field off its start value, in each kind of status frame.
const QByteArray kFull01 =
    bytes("EE 01 1D FF FF 85 FF 77 FC 07 07 1E 01 2E E6 0E EC 07 9C 13 5A F1 FF"
          "33 01 01 77 02 EA");
const QByteArray kFull03 =
    bytes("EE 03 25 39 30 0F 00 7C FC 7C FC C8 01 40 3A 69 0D 41 DD 0E BC 0F 00"
          "B7 B8 B9 BA BB BC BD BE BF C0 C1 C2 C3 C7");
const QByteArray kFull0A =
    bytes("EE 0A 31 39 30 0F 00 7C FC 7C FC C8 01 40 3A 69 0D 41 DD 0E BC 0F 00"
          "33 01 01 77 02 00 00 00 00 00 00 00 00"
          "2E E6 0E EC 07 9C 13 5A F1 FF 7C FC 00");
// What the backend assumes at the start, said by the pod.
const QByteArray kIdle01 =
    bytes("EE 01 1D 00 00 00 00 00 00 00 00 01 00 00 00 00 00 00 00 00 00 00 00"
          "0A 00 00 00 03 24");
const QByteArray kSbus =
    bytes("EE 04 1C 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F 10 11 12 13 14 15"
          "16 17 18 3A");
const QByteArray kVersion = bytes("EE 06 0B 00 01 01 02 00 03 07 0D");
const QByteArray kB7N = bytes("EE 09 0F 0A 00 00 05 01 02 03 64 00 00 01 7A");
const QByteArray kB7NAddress = bytes("EE 08 08 C0 A8 01 0A 71");

/// The checksum stays as it was: nobody looks at it.
QByteArray patched(QByteArray frame, qsizetype offset, const char *hex)
{
    return frame.replace(offset, bytes(hex).size(), bytes(hex));
}

} // namespace

class TestInbound : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void delivery_data();
    void delivery();
    void whatSignalsAgain();
    void shortDeliveryChangesNothing();
    void linkDownClearsReplies();
    void planeStatus();
    void modelNames();

private:
    /// Sends one delivery and waits until the backend logged it, which it does last.
    bool deliver(const QByteArray &data);

    std::unique_ptr<TcpPeer> m_pod;
    std::unique_ptr<CMain> m_backend;
    std::unique_ptr<SignalLog> m_raised;
};

void TestInbound::init()
{
    m_pod = std::make_unique<TcpPeer>();
    m_backend = std::make_unique<CMain>();
    QVERIFY(m_backend->connectTCP(u"127.0.0.1"_s, m_pod->port()));
    QVERIFY(m_pod->accept());
    m_backend->setIsEE0A(true);
    m_raised = std::make_unique<SignalLog>(*m_backend, CMain::staticMetaObject);
}

bool TestInbound::deliver(const QByteArray &data)
{
    const LogCatcher log;
    m_pod->send(data);
    const QString line =
        u"收到未知数据: \"%1\""_s.arg(QString::fromLatin1(data.toHex(' ').toUpper()));
    return QTest::qWaitFor([&] { return log.contains(line); }, kWaitMs);
}

void TestInbound::delivery_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QString>("signalNames");
    QTest::addColumn<QString>("changes");
    const auto row = [](const char *name, const QByteArray &data, const char *signalNames = "",
                        const char *changes = "") {
        QTest::newRow(name) << data << QString::fromLatin1(signalNames)
                            << QString::fromLatin1(changes);
    };
    const auto idleBut = [&](const char *name, qsizetype offset, const char *hex,
                             const char *signalNames = "", const char *changes = "") {
        row(name, patched(kIdle01, offset, hex), signalNames, changes);
    };
    row("status 01, every field", kFull01,
        "attitudeChanged() statusChanged() zoomChanged() trackingChanged() targetChanged()",
        "yaw=179.9 pitch=-90.5 roll=-12.3 recording=true workMode=Down zoom=30.7 zoomint=30 "
        "tracking=true targetLatitude=-33.456789 targetLongitude=151.1234567 targetAltitude=-1 "
        "laserdistance=6553.5");
    row("status 03, every field", kFull03,
        "attitudeChanged() zoomChanged() trackingChanged() targetChanged()",
        "yaw=-90 pitch=-90 roll=1.5 zoomint=200 tracking=true targetLatitude=22.5 "
        "targetLongitude=-113.9876543 targetAltitude=1 laserdistance=1234.5");
    row("status 01, nothing new", kIdle01);
    idleBut("one tenth of a degree", 5, "01 00", "attitudeChanged()", "roll=0.1");
    idleBut("most negative pitch", 7, "00 80", "attitudeChanged()", "pitch=-3276.8");
    idleBut("recording", 25, "01", "statusChanged()", "recording=true");
    idleBut("recording, not 1", 25, "02");
    idleBut("work mode 0", 27, "00", "statusChanged()", "workMode=Follow");
    idleBut("work mode 1", 27, "01", "statusChanged()", "workMode=Lock");
    idleBut("work mode 255", 27, "FF");
    idleBut("zoom ratio", 23, "0B 80", "zoomChanged()", "zoom=3277.9");
    idleBut("zoom step", 11, "FF", "zoomChanged()", "zoomint=255");
    idleBut("tracking", 12, "01", "trackingChanged()", "tracking=true");
    idleBut("tracking, not 1", 12, "81");
    idleBut("smallest latitude", 13, "01 00 00 00", "targetChanged()", "targetLatitude=1e-07");
    idleBut("altitude truncates down", 21, "0F 00", "targetChanged()", "targetAltitude=1");
    idleBut("altitude truncates to nothing", 21, "F7 FF");
    idleBut("laser distance", 3, "00 80", "targetChanged()", "laserdistance=3276.8");

    row("sbus", kSbus, "sbusPitchIndexChanged()",
        "sbusPitchIndex=1 sbusYawIndex=2 sbusKjgIndex=3 sbusManualFocusIndex=4 sbusDownIndex=5 "
        "sbusHomeIndex=6 sbusPhotoIndex=7 sbusTargetIndex=8 sbusHzhWcIndex=9 sbusRcxZoomIndex=10 "
        "sbusLaserDistanceIndex=11 sbusLaserLightIndex=12 sbusOsdIndex=13");
    row("version", kVersion, "versionChanged()", "versionno=T-Alder-0102000307");
    row("version, signed numbers", bytes("EE 06 0B 01 2D 80 FF 0A 64 7F 00"), "versionChanged()",
        "versionno=F-B7N--128-110100127");
    row("version, negative codes", bytes("EE 06 0B FF 81 01 01 01 01 01 00"), "versionChanged()",
        "versionno=C-null-0101010101");
    row("encoder", kB7N, "b7nIPAddressChanged()",
        "b7nIPAddress=10.00.00.05 b7nGateWay=100.00.00.01 b7nBitRateIndex=0 "
        "b7nResolutionIndex=1 b7nEncodeTypeIndex=2");
    row("encoder, codes at their ends", bytes("EE 09 0F FF 09 0A 63 00 FF 00 00 00 00 00 00"),
        "b7nIPAddressChanged()",
        "b7nIPAddress=255.09.10.99 b7nGateWay=00.00.00.00 b7nResolutionIndex=254");
    row("encoder address", kB7NAddress, "b7nIPAddressChanged()", "b7nIPAddress=192.168.01.10");

    row("status with aircraft", kFull0A);
    row("wrong length byte", patched(kFull01, 2, "1C"));
    row("length byte of the other status", patched(kFull03, 2, "1D"));
    row("wrong sync", patched(kFull01, 0, "FF"));
    row("unknown type", patched(kVersion, 1, "07"));
    row("frame after garbage", '\0' + kFull01);
    row("two frames joined", patched(kIdle01, 9, "7C FC") + kFull01, "attitudeChanged()",
        "yaw=-90");
    row("reply padded as on a serial line", kVersion + QByteArray(26, '\xEE'), "versionChanged()",
        "versionno=T-Alder-0102000307");
}

void TestInbound::delivery()
{
    QFETCH(QByteArray, data);
    const PropertySnapshot before(*m_backend);
    const LogCatcher log;
    QVERIFY(deliver(data));
    QTEST(m_raised->take(), "signalNames");
    QTEST(before.changes(), "changes");
    QCOMPARE(log.contains(QString::fromLatin1(kSbus.toHex())), data == kSbus);
}

void TestInbound::whatSignalsAgain()
{
    QVERIFY(deliver(kFull01));
    m_raised->take();
    QVERIFY(deliver(kFull01));
    QCOMPARE(m_raised->take(), QString());
    QVERIFY(deliver(patched(kFull01, 17, "08")));
    QCOMPARE(m_raised->take(), u"targetChanged()"_s);
    // The other kind of status says nothing of the camera.
    QVERIFY(deliver(kFull03));
    QCOMPARE(m_raised->take(), u"attitudeChanged() zoomChanged() targetChanged()"_s);
    QCOMPARE(m_backend->workMode(), u"Down"_s);
    QCOMPARE(m_backend->zoom(), 30.7);

    for (int pass = 0; pass < 2; ++pass) {
        for (const QByteArray &reply : {kSbus, kVersion, kB7N, kB7NAddress})
            QVERIFY(deliver(reply));
        QCOMPARE(m_raised->take(), u"sbusPitchIndexChanged() versionChanged() "
                                   "b7nIPAddressChanged() b7nIPAddressChanged()"_s);
    }
    // The short form leaves what only the long one tells.
    QCOMPARE(m_backend->b7nGateWay(), u"100.00.00.01"_s);
    QCOMPARE(m_backend->b7nEncodeTypeIndex(), 2);
}

void TestInbound::shortDeliveryChangesNothing()
{
    for (const QByteArray &first : {kFull01, kSbus, kVersion, kB7N})
        QVERIFY(deliver(first));
    const PropertySnapshot before(*m_backend);
    m_raised->take();
    for (QByteArray frame : {kFull01, kFull03, kSbus, kVersion, kB7N, kB7NAddress}) {
        // Other values than before, so that whatever is read of them shows.
        for (qsizetype i = 3; i < frame.size(); ++i)
            frame[i] = static_cast<char>(frame[i] ^ 0x5A);
        for (qsizetype length = 1; length < frame.size(); ++length)
            QVERIFY(deliver(frame.first(length)));
    }
    QCOMPARE(m_raised->take(), QString());
    QCOMPARE(before.changes(), QString());
}

void TestInbound::linkDownClearsReplies()
{
    for (const QByteArray &frame : {kFull01, kSbus, kVersion, kB7N})
        QVERIFY(deliver(frame));
    const PropertySnapshot before(*m_backend);
    m_raised->take();
    const LogCatcher log;
    m_pod->close();
    QTRY_VERIFY_WITH_TIMEOUT(m_raised->contains(u"versionChanged()"_s), kWaitMs);
    QCOMPARE(m_raised->take(),
             u"connectionChanged(false) b7nIPAddressChanged() versionChanged()"_s);
    QVERIFY(log.contains(u"handleDisconnected called"_s) && log.contains(u"TCP连接断开"_s));
    QCOMPARE(before.changes(),
             u"isConnected=false versionno= b7nIPAddress= b7nGateWay= b7nBitRateIndex=-1 "
             "b7nResolutionIndex=-1 b7nEncodeTypeIndex=-1"_s);
}

void TestInbound::planeStatus()
{
    const protocol::StatusFrame frame = protocol::decodeStatus(kFull0A, protocol::kStatusWithPlane);
    QVERIFY(!frame.camera && frame.plane);
    QCOMPARE(frame.plane->latitude, -33.4567890);
    QCOMPARE(frame.plane->longitude, 151.1234567);
    QCOMPARE(frame.plane->altitude, -1);
    QCOMPARE(frame.plane->yaw, -90.0);
}

void TestInbound::modelNames()
{
    const QStringList names =
        u"null Alder Birch Cedar Elm Fir Catalpa Tamarack Hazel Larch Maple Dogwood Yew Pine Oak "
        "Rowan Spruce Willow Teak Ginkgo Ebony Hickory Banyan Aspen Chestnut Beech Cypress Holly "
        "Juniper Mulberry Linden Myrtle Olive Poplar Sassafras Laurel Redwood Magnolia Sequoia "
        "Mahogany Walnut Hemlock Sumac Acacia Hornbeam B7N Baobab"_s.split(u' ');
    for (int code = 0; code <= 0xFF; ++code) {
        QByteArray reply = kVersion;
        reply[4] = static_cast<char>(code);
        const auto version = std::get<protocol::VersionReply>(protocol::decodeInbound(reply));
        QCOMPARE(version.text, u"T-%1-0102000307"_s.arg(names.value(code, u"null"_s)));
    }
}

QTEST_GUILESS_MAIN(TestInbound)
#include "tst_inbound.moc"
