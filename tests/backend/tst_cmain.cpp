// The backend over a real TCP connection: every frame to and from the pod as literal bytes, and
// what becomes of them.

#include "BackendMembers.h"
#include "CaseTrace.h"
#include "Files.h"
#include "LogCatcher.h"
#include "SignalLog.h"
#include "TcpPeer.h"
#include "backend/CMain.h"
#include "link/ICommunication.h"
#include "motion/MotionTable.h"
#include "protocol/CommandCatalogue.h"
#include "protocol/SettingFrames.h"

#include <QJsonObject>
#include <QRegularExpression>
#include <QTest>

#include <algorithm>
#include <array>
#include <memory>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr int kWaitMs = 20000;

// Each command with its arguments and its bytes. Two arguments differ, so that a swap shows.
// Arguments are cut to bytes, angles in tenths of a degree too; a trim step is 0 or 1.
const char *const kCommands = R"(
stopMove ff010000000001; moveRight 64 ff010002400043; moveLeft 64 ff010004400045; moveUp 64
ff010008004049; moveDown 64 ff010010004051; moveRightUp 17 226 ff01000a11e2fe; moveLeftUp 17 226
ff01000c11e200; moveRightDown 17 226 ff01001211e206; moveLeftDown 17 226 ff01001411e208; zoomOut
64 ff010020400061; zoomIn 64 ff010040400081; zoomStop ff010060000061; pointmoveto 17 226
ff01100011e204; pointtrack 17 226 ff01110011e205; pointtrackstop ff011101000013; targetCheckOpen
ff011102000014; targetCheckClose ff011103000015; takePhoto ff011200000013; startRecord
ff011201000014; stopRecord ff011202000015; modeYawFollow ff011300000014; modeYawLock
ff011301000015; oneKeyDown ff011302000016; oneKeyCenter ff011303000017; yawCenterOnly
ff011304000018; pitchDownOnly ff011305000019; modeFPV ff01130600001a; modeUpward ff01130700001b;
modeDownward ff01130800001c; setHZH 64 ff011400400055; setWC 64 ff011500400056;
continuousDistanceOpen ff011601000018; continuousDistanceClose ff011602000019; setRcxZoomTo 64
ff011700400058; osdOpen ff01190000001a; osdClose ff01190100001b; trackAutoZoomOpen ff011a0000001b;
trackAutoZoomClose ff011a0100001c; laserLightOpen ff011b0000001c; laserLightClose ff011b0100001d;
electronicZoomOpen ff011c0000001d; electronicZoomClose ff011c0100001e; clearFrogOpen
ff011c05030025; clearFrogClose ff011c06000023; manualFocusOpen ff011d0000001e; manualFocusClose
ff011d0100001f; manualFocusNear ff011d02000020; manualFocusFar ff011d03000021; manualFocusStop
ff011d04000022; querySbusData ff011e0000001f; queryVersion ff011e02000021; setKjgZoomTo 64
ff011f00400060; setFrequency 64 ff012000400061; setProtocl 64 ff012001400062; rtspRecovery
ff012100000022; queryB7N ff012101000023; gimbalSetOn ff012200000023; gimbalSetOff ff012201000024;
gimbalSetReboot ff012202000025; setFrameSize 64 ff012400400065; adjust_left 1 ff012700000129;
adjust_right 1 ff01270001012a; adjust_up 1 ff01270002012b; adjust_down 1 ff01270003012c;
gimbalSetToPitchYaw -90 0 ee84087cfc0000f2; moveUp -1 ff01000800ff08; moveUp 256 ff010008000009;
pointmoveto -1 2147483392 ff011000ff0010; adjust_left 0 ff012700000028; adjust_right 2
ff012700010029; adjust_up -1 ff01270002002a; gimbalSetToPitchYaw 45 -180 ee8408c201f8f82d;
gimbalSetToPitchYaw 4000 -4000 ee8408409cc06379;
)";

QList<QStringList> table(const char *text)
{
    QList<QStringList> rows;
    for (const QString &row :
         QString::fromLatin1(text).simplified().split(u';', Qt::SkipEmptyParts))
        rows << row.simplified().split(u' ');
    return rows;
}

bool call(CMain &backend, const QStringList &row)
{
    const std::array values = {row[1].toInt(), row.value(2).toInt()};
    const auto argument = [&](qsizetype i) {
        return i + 2 < row.size() ? QGenericArgument("int", &values[std::size_t(i)])
                                  : QGenericArgument();
    };
    return QMetaObject::invokeMethod(&backend, row.first().toLatin1(), argument(0), argument(1));
}

QVariantList counting(int to)
{
    QVariantList list;
    for (int value = 1; value <= to; ++value)
        list.append(value);
    return list;
}

QByteArray bytes(const char *hex) { return QByteArray::fromHex(hex); }

// Every field off its start value, in each kind of status frame.
const QByteArray kFull01 = bytes("ee011dffff85ff77fc07071e012ee60eec079c135af1ff3301017702ea");
const QByteArray kFull03 = bytes("ee032539300f007cfc7cfcc801403a690d41dd0ebc0f00b7b8b9babbbcbd"
                                 "bebfc0c1c2c3c7");
const QByteArray kFull0A = bytes("ee0a3139300f007cfc7cfcc801403a690d41dd0ebc0f0033010177020000"
                                 "0000000000002ee60eec079c135af1ff7cfc00");
// What the backend assumes at the start, said by the pod.
const QByteArray kIdle01 = bytes("ee011d00000000000000000100000000000000000000000a0000000324");
const QByteArray kSbus = bytes("ee041c0102030405060708090a0b0c0d0e0f1011121314151617183a");
const QByteArray kVersion = bytes("ee060b000101020003070d");
const QByteArray kB7N = bytes("ee090f0a000005010203640000017a");
const QByteArray kB7NAddress = bytes("ee0808c0a8010a71");

/// The checksum stays as it was: nobody looks at it.
QByteArray patched(QByteArray frame, qsizetype offset, const char *hex)
{
    return frame.replace(offset, bytes(hex).size(), bytes(hex));
}

/// The properties that differ from what is known, as "name=value"; they are known then. Real
/// numbers have twelve digits, below which lies their scaling's noise.
QString changes(const CMain &backend, QStringList &known)
{
    QStringList changed;
    const QStringList before = std::exchange(known, {});
    const QMetaObject &meta = CMain::staticMetaObject;
    for (int i = meta.propertyOffset(); i < meta.propertyCount(); ++i) {
        const QVariant value = meta.property(i).read(&backend);
        const bool isReal = value.typeId() == QMetaType::Double;
        known << QLatin1StringView(meta.property(i).name()) + u'='
                     + (isReal ? QString::number(value.toDouble(), 'g', 12) : value.toString());
        if (!before.contains(known.last()))
            changed << known.last();
    }
    return changed.join(u' ');
}

} // namespace

class TestCMain : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_pod = std::make_unique<TcpPeer>();
        m_backend = std::make_unique<CMain>();
        QVERIFY(m_backend->connectTCP(u"127.0.0.1"_s, m_pod->port()));
        QVERIFY(m_pod->accept());
        m_backend->setIsEE0A(true);
        m_raised = std::make_unique<SignalLog>(*m_backend, CMain::staticMetaObject);
    }
    void commands();
    void listCommands();
    void setTimeSendsTheClock();
    void delivery_data();
    void delivery()
    {
        QFETCH(QByteArray, data);
        QStringList known;
        changes(*m_backend, known);
        QVERIFY(deliver(data));
        QTEST((m_raised->take() + u' ' + changes(*m_backend, known)).trimmed(), "effect");
    }
    void repliesAreToldAgainAndClearedWithTheLink();
    void modelNames();
    void mapData();
    void sbusQuery();
    void textsAndWrites();
    void membersAreInOrder()
    {
        const QString expected =
            QString::fromLatin1(contentOf(QFINDTESTDATA("backend_members.txt"))).simplified();
        QCOMPARE(memberGroupsOf(CMain::staticMetaObject), expected.split(u"; "_s));
    }

private:
    /// Sends one delivery and waits until the backend logged it, which it does last.
    bool deliver(const QByteArray &data);

    std::unique_ptr<TcpPeer> m_pod;
    std::unique_ptr<CMain> m_backend;
    std::unique_ptr<SignalLog> m_raised;
};

bool TestCMain::deliver(const QByteArray &data)
{
    const LogCatcher log;
    m_pod->send(data);
    const QString line =
        u"收到未知数据: \"%1\""_s.arg(QString::fromLatin1(data.toHex(' ').toUpper()));
    return QTest::qWaitFor([&] { return log.contains(line); }, kWaitMs);
}

void TestCMain::commands()
{
    const QList<QStringList> rows = table(kCommands);
    QStringList names;
    QByteArray watched;
    m_backend->watch({[&](const QByteArray &frame) { watched = frame; }, {}});
    for (const QStringList &row : rows) {
        QVERIFY(call(*m_backend, row));
        const QByteArray sent = m_pod->receive(row.last().size() / 2);
        QCOMPARE(watched, sent);
        QCOMPARE(QLatin1StringView(protocol::commandName(sent)), row.first());
        QCOMPARE(row.first() + u' ' + QString::fromLatin1(sent.toHex()),
                 row.first() + u' ' + row.last());
        names << row.first();
    }
    const QRegularExpression starts(u"^(move|zoom(In|Out)|manualFocus(Near|Far))"_s);
    for (const protocol::CommandSpec &spec : protocol::commandCatalogue()) {
        const QLatin1StringView name(spec.name);
        QVERIFY2(names.contains(name), spec.name.data());
        const bool owes = bool(motion::startedBy(spec.id)); // which stop, closing a link shows
        QVERIFY2(owes == starts.match(name).hasMatch(), spec.name.data());
    }
    // Another sync, an unused code, a known length of another type, a known type of another length.
    for (const char *unknown :
         {"fe010000000001", "ff010000000100", "ee85087cfc0000f2", "ee84097cfc000000f2"})
        QVERIFY2(protocol::commandName(bytes(unknown)).empty(), unknown);
    QCOMPARE(m_raised->take(), QString());
    m_backend->watch({});

    m_backend->disconnect();
    m_raised->take();
    for (const QStringList &row : rows)
        call(*m_backend, row);
    const QString refusal = u"sbusDataError(未连接，无法发送数据) "_s;
    QCOMPARE(m_raised->take() + u' ', refusal.repeated(rows.size()));
}

void TestCMain::listCommands()
{
    const QVariantList odd = QVariantList({256, -1, u"none"_s, u"7"_s, 2.4}) + QVariantList(19);
    const QByteArray counted = "ee821c0102030405060708090a0b0c0d0e0f101112131415161718b8";
    for (const auto &[list, expected] :
         {std::pair(counting(24), counted), std::pair(counting(40), counted),
          std::pair(odd, "ee821c00ff000702" + QByteArray(38, '0') + "94")}) {
        const CaseTrace trace(list);
        m_backend->setSbus(list);
        QCOMPARE(m_pod->receive(28).toHex(), expected);
    }
    m_backend->setB7N(counting(11));
    QCOMPARE(m_pod->receive(15).toHex(), "ee870f0102030405060708090a0bc6");
    QCOMPARE(m_raised->take(), QString());
    m_backend->setSbus(counting(23));
    m_backend->setB7N(counting(10));
    QCOMPARE(m_raised->take(), u"sbusDataError(数据长度不足，需要24项，实际23项) "
                               "sbusDataError(数据长度不足，需要11项，实际10项)"_s);
    m_backend->takePhoto(); // the next thing sent
    QCOMPARE(m_pod->receive(7).toHex(), "ff011200000013");
}

void TestCMain::setTimeSendsTheClock()
{
    const auto frameAt = [](const QDateTime &time) { return protocol::buildSetTime(time).toHex(); };
    QCOMPARE(frameAt({{2099, 12, 31}, {14, 7, 59}}), "ee830a630c1f0e073b59");
    const QByteArray before = frameAt(QDateTime::currentDateTime());
    m_backend->setTime();
    const QByteArray frame = m_pod->receive(10).toHex();
    QVERIFY(before <= frame && frame <= frameAt(QDateTime::currentDateTime()));
}

void TestCMain::delivery_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QString>("effect"); // signals, then properties
    const auto row = [](const char *name, const QByteArray &data, const char *effect = "") {
        QTest::newRow(name) << data << QString::fromLatin1(effect);
    };
    row("status 01, every field", kFull01,
        "attitudeChanged() statusChanged() zoomChanged() trackingChanged() targetChanged() "
        "yaw=179.9 pitch=-90.5 roll=-12.3 recording=true workMode=Down zoom=30.7 zoomint=30 "
        "tracking=true targetLatitude=-33.456789 targetLongitude=151.1234567 targetAltitude=-1 "
        "laserdistance=6553.5");
    row("status 03, every field", kFull03,
        "attitudeChanged() zoomChanged() trackingChanged() targetChanged() "
        "yaw=-90 pitch=-90 roll=1.5 zoomint=200 tracking=true targetLatitude=22.5 "
        "targetLongitude=-113.9876543 targetAltitude=1 laserdistance=1234.5");
    row("status 01, nothing new", kIdle01);
    row("one tenth of a degree", patched(kIdle01, 5, "01 00"), "attitudeChanged() roll=0.1");
    row("work mode 0", patched(kIdle01, 27, "00"), "statusChanged() workMode=Follow");
    row("work mode 1", patched(kIdle01, 27, "01"), "statusChanged() workMode=Lock");
    row("zoom ratio", patched(kIdle01, 23, "0B 80"), "zoomChanged() zoom=3277.9");
    row("tracking", patched(kIdle01, 12, "01"), "trackingChanged() tracking=true");
    row("altitude", patched(kIdle01, 21, "0F 00"), "targetChanged() targetAltitude=1");
    row("sbus", kSbus,
        "sbusPitchIndexChanged() sbusPitchIndex=1 sbusYawIndex=2 sbusKjgIndex=3 "
        "sbusManualFocusIndex=4 sbusDownIndex=5 sbusHomeIndex=6 sbusPhotoIndex=7 "
        "sbusTargetIndex=8 sbusHzhWcIndex=9 sbusRcxZoomIndex=10 sbusLaserDistanceIndex=11 "
        "sbusLaserLightIndex=12 sbusOsdIndex=13");
    row("version", kVersion, "versionChanged() versionno=T-Alder-0102000307");
    row("version, another channel", bytes("EE 06 0B 02 01 01 02 00 03 07 0D"),
        "versionChanged() versionno=C-Alder-0102000307");
    row("version, signed numbers", bytes("EE 06 0B 01 2D 80 FF 0A 64 7F 00"),
        "versionChanged() versionno=F-B7N--128-110100127");
    row("encoder", kB7N,
        "b7nIPAddressChanged() b7nIPAddress=10.00.00.05 b7nGateWay=100.00.00.01 "
        "b7nBitRateIndex=0 b7nResolutionIndex=1 b7nEncodeTypeIndex=2");
    row("encoder address", kB7NAddress, "b7nIPAddressChanged() b7nIPAddress=192.168.01.10");
    row("status with aircraft", kFull0A);
    row("wrong length byte", patched(kFull01, 2, "1C"));
    row("cut status", kFull01.chopped(1));
    row("cut map", kSbus.chopped(1));
    row("cut reply", kVersion.chopped(1));
    row("wrong sync", patched(kFull01, 0, "FF"));
    row("two frames joined", patched(kIdle01, 5, "01 00") + kFull01, "attitudeChanged() roll=0.1");
    row("reply padded as on a serial line", kVersion + QByteArray(26, '\xEE'),
        "versionChanged() versionno=T-Alder-0102000307");
}

void TestCMain::repliesAreToldAgainAndClearedWithTheLink()
{
    // The other kind of status says nothing of the camera.
    QVERIFY(deliver(kFull01) && deliver(kFull03));
    const LinkStatistics after = m_backend->linkStatistics();
    QVERIFY(after.framesOut == 0 && after.statusFrames == 2 && after.statusAgeMs >= 0);
    QCOMPARE(after.bytesIn, quint64(kFull01.size() + kFull03.size()));
    QCOMPARE(m_backend->workMode(), u"Down"_s);
    QCOMPARE(m_backend->zoom(), 30.7);
    m_raised->take();
    for (const QByteArray &again : {kFull03, kVersion, kVersion, kB7N, kB7NAddress, kSbus, kSbus})
        QVERIFY(deliver(again));
    QCOMPARE(m_raised->take(), u"versionChanged() versionChanged() b7nIPAddressChanged() "
                               "b7nIPAddressChanged() sbusPitchIndexChanged() "
                               "sbusPitchIndexChanged()"_s);
    // The short form leaves what only the long one tells.
    QCOMPARE(m_backend->b7nGateWay(), u"100.00.00.01"_s);
    QStringList known;
    changes(*m_backend, known);
    m_pod->close();
    QTRY_VERIFY_WITH_TIMEOUT(m_raised->contains(u"versionChanged()"_s), kWaitMs);
    QCOMPARE(m_raised->take(),
             u"connectionChanged(false) b7nIPAddressChanged() versionChanged()"_s);
    QCOMPARE(changes(*m_backend, known),
             u"isConnected=false versionno= b7nIPAddress= b7nGateWay= b7nBitRateIndex=-1 "
             "b7nResolutionIndex=-1 b7nEncodeTypeIndex=-1"_s);
}

void TestCMain::modelNames()
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

void TestCMain::mapData()
{
    QVERIFY(deliver(kFull03));
    const double longitude = m_backend->targetLongitude();
    const QJsonObject expected = {
        {u"defaultLat"_s, 22.5}, {u"defaultLon"_s, longitude}, {u"sharedLat"_s, 0},
        {u"sharedLon"_s, 0},     {u"dotLat"_s, 22.5},          {u"dotLon"_s, 22.5},
        {u"sectorAngle"_s, 45},  {u"airplaneHeading"_s, 0},    {u"sectorHeading"_s, -90},
    };
    QCOMPARE(m_backend->getMapData(), expected);
}

void TestCMain::sbusQuery()
{
    const auto timers = m_backend->findChildren<QTimer *>(QString(), Qt::FindDirectChildrenOnly);
    QTimer *timer = *std::ranges::find(timers, 3000, &QTimer::interval);
    QCOMPARE(std::ranges::count(timers, 2000, &QTimer::interval), 1); // until a status is stale
    m_backend->querySbusData();
    QVERIFY(deliver(kVersion));
    QVERIFY2(timer->isActive(), "another reply ended the wait");
    QVERIFY(deliver(kSbus));
    QVERIFY(!timer->isActive());
    m_backend->querySbusData();
    m_raised->take();
    timer->setInterval(0); // the wait is over
    QTRY_VERIFY_WITH_TIMEOUT(m_raised->contains(u"sbusDataError(读取超时)"_s), kWaitMs);
    timer->setInterval(3000);
    m_backend->disconnect();
    m_backend->querySbusData();
    QVERIFY2(!timer->isActive(), "nothing was sent, nothing is awaited");
}

void TestCMain::textsAndWrites()
{
    for (const auto &[name, isPort] : {std::pair("/dev/null", true),
                                       {"null", false},
                                       {"/etc", false},
                                       {"/etc/passwd", false},
                                       {"/no-such-port", false}})
        QVERIFY2(m_backend->isSerialPort(QLatin1StringView(name)) == isPort, name);
    for (const QString &text : {u"完成"_s, u"完成"_s, QString()})
        m_backend->onShowMessage(text);
    for (const QString &error : {u"线断了"_s, u"线断了"_s})
        emit m_backend->findChild<ICommunication *>()->errorOccurred(error);
    QCOMPARE(m_raised->take(), u"messageChanged(完成) sbusDataError(线断了) messageChanged(线断了) "
                               "sbusDataError(线断了)"_s);
    // Flags tell of every write, numbers of a change.
    for (const char *name : {"isEE0A", "isTracking", "isManualFocus", "moveSpeed", "languageIndex"})
        QVERIFY(m_backend->setProperty(name, 1) && m_backend->setProperty(name, 1));
    for (const int percent : {0, 7, 7, 0})
        m_backend->updateProgress(percent);
    QCOMPARE(m_raised->take(),
             u"isEE0AChanged() isEE0AChanged() isTrackingChanged() isTrackingChanged() "
             "isManualFocusChanged() isManualFocusChanged() moveSpeedChanged() "
             "languageIndexChanged() upgradeProgressChanged(7) upgradeProgressChanged(0)"_s);
}

QTEST_GUILESS_MAIN(TestCMain)
#include "tst_cmain.moc"
