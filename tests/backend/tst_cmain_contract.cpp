// The interfaces that QML relies on, member by member: names, order, types, access, notifiers.
// Members of our own may follow at the end of each list, none may come in between.

#include "CMain.h"
#include "video/VideoRenderer.h"

#include <QMetaMethod>
#include <QMetaProperty>
#include <QTest>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

QStringList methodsOf(const QMetaObject &meta, QMetaMethod::MethodType type,
                      QMetaMethod::Access access = QMetaMethod::Public)
{
    QStringList lines;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        if (method.methodType() != type || method.access() != access)
            continue;
        QByteArrayList parameters;
        for (int p = 0; p < method.parameterCount(); ++p)
            parameters << method.parameterTypes().at(p) + ' ' + method.parameterNames().at(p);
        lines << QString::fromLatin1(QByteArray(method.typeName()) + '(' + parameters.join(", ")
                                     + (method.isConst() ? ") const " : ") ") + method.name());
    }
    return lines;
}

QStringList propertiesOf(const QMetaObject &meta)
{
    QStringList lines;
    for (int i = meta.propertyOffset(); i < meta.propertyCount(); ++i) {
        const QMetaProperty property = meta.property(i);
        lines << QString::fromLatin1(QByteArray(property.typeName())
                                     + (property.isWritable() ? " RW " : " R ")
                                     + (property.isFinal() ? "FINAL " : "")
                                     + property.notifySignal().name() + ' ' + property.name());
    }
    return lines;
}

// Below, members alike that follow each other stand behind what they have in common.
const char *const kBackendSignals = R"(
void(bool connected): connectionChanged; void(QString type): connectionTypeChanged;
void(QVariantList data): sbusDataReady; void(QString error): sbusDataError;
void(QString message): messageChanged; void(int percent): upgradeProgressChanged;
void(): attitudeChanged statusChanged zoomChanged trackingChanged targetChanged planeChanged
  versionChanged b7nIPAddressChanged sbusPitchIndexChanged isTrackingChanged isManualFocusChanged
  moveSpeedChanged languageIndexChanged isEE0AChanged
)";

const char *const kBackendPrivateSlots = R"(
void(QByteArray data): handleDataReceived; void(QString error): handleCommunicationError;
void(bool connected): handleCommunicationConnectionChanged
)";

// A default argument shows as a second, shorter method.
const char *const kBackendInvokables = R"(
bool() const: isConnected; QString() const: connectionType; void(QString type): setConnectionType;
bool(QString portName, int baudRate): connectSerial; bool(QString portName): connectSerial;
bool(QString address, int port): connectTCP; void(): disconnect; QVariantList(): getAvailablePorts;
void(): resetConnection setTime; void(QVariantList sbus_channels): setSbus;
void(): querySbusData queryVersion queryB7N; void(QVariantList b7n_channels): setB7N;
void(): takePhoto startRecord stopRecord stopMove;
void(int speed): moveUp moveDown moveLeft moveRight;
void(int xspeed, int yspeed): moveLeftUp moveLeftDown moveRightUp moveRightDown;
void(int speed): zoomIn zoomOut;
void(): zoomStop oneKeyDown oneKeyCenter yawCenterOnly pitchDownOnly modeYawFollow modeYawLock
  modeFPV modeUpward modeDownward;
void(int x, int y): pointmoveto pointtrack;
void(): pointtrackstop manualFocusClose manualFocusOpen manualFocusStop manualFocusNear
  manualFocusFar osdClose osdOpen targetCheckClose targetCheckOpen;
void(int index): setFrameSize;
void(): trackAutoZoomClose trackAutoZoomOpen continuousDistanceClose continuousDistanceOpen
  clearFrogClose clearFrogOpen electronicZoomClose electronicZoomOpen laserLightClose
  laserLightOpen;
void(int value): setKjgZoomTo setRcxZoomTo;
void(): gimbalSetOn gimbalSetOff gimbalSetReboot; void(int pitch, int yaw): gimbalSetToPitchYaw;
void(int type): setHZH setWC; void(): rtspRecovery; void(int type): setProtocl;
void(int value): setFrequency; void(int size): adjust_up adjust_down adjust_left adjust_right;
void(): beginUpdate completeUpdate;
void(QString portname, int baud, QString filepath): updateFirmwareByCom;
QJsonObject(): getMapData
)";

const char *const kBackendProperties = R"(
bool R connectionChanged: isConnected; QString RW messageChanged: message;
QString RW connectionTypeChanged: connectionType; double R attitudeChanged: yaw pitch roll;
bool R statusChanged: recording; QString R statusChanged: workMode;
double R zoomChanged: zoom zoomint; bool R trackingChanged: tracking;
double R targetChanged: targetLatitude targetLongitude; int R targetChanged: targetAltitude;
double R targetChanged: laserdistance; double R planeChanged: planeLatitude planeLongitude;
int R planeChanged: planeAltitude; double R planeChanged: planeYaw; bool RW isEE0AChanged: isEE0A;
QString R versionChanged: versionno; bool RW isTrackingChanged: isTracking;
bool RW isManualFocusChanged: isManualFocus; int RW moveSpeedChanged: moveSpeed;
int RW FINAL languageIndexChanged: languageIndex; int R upgradeProgressChanged: upgradeProgress;
QString R FINAL b7nIPAddressChanged: b7nIPAddress b7nGateWay;
int R FINAL b7nIPAddressChanged: b7nBitRateIndex b7nResolutionIndex b7nEncodeTypeIndex;
int R FINAL sbusPitchIndexChanged: sbusPitchIndex sbusYawIndex sbusKjgIndex sbusManualFocusIndex
  sbusDownIndex sbusHomeIndex sbusPhotoIndex sbusTargetIndex sbusHzhWcIndex sbusRcxZoomIndex
  sbusLaserDistanceIndex sbusLaserLightIndex sbusOsdIndex
)";

const char *const kItemSignals = R"(
void(): sourceChanged playingChanged statusChanged autoReconnectChanged reconnectIntervalChanged
  maxReconnectAttemptsChanged;
void(QString error): errorOccurred; void(): connectionLost connectionRestored isReconnectingChanged
)";

const char *const kItemPrivateSlots = R"(
void(QImage frame): onFrameReady; void(QString error): onErrorOccurred;
void(bool playing): onPlayingStateChanged;
void(): onConnectionLost performReconnect onReconnectSuccess onReconnectFailed
)";

const char *const kItemInvokables = R"(
void(): play pause stop reconnect; void(int size): setBufferSize;
void(QString transport): setRtspTransport; void(int timeoutMs): setTimeout;
void(int msec): setFrameInterval; void(int maxDelayMs): setMaxDelay
)";

const char *const kItemProperties = R"(
QString RW sourceChanged: source; bool R playingChanged: playing; QString R statusChanged: status;
bool RW autoReconnectChanged: autoReconnect; int RW reconnectIntervalChanged: reconnectInterval;
int RW maxReconnectAttemptsChanged: maxReconnectAttempts;
bool R isReconnectingChanged: isReconnecting
)";

} // namespace

class TestCMainContract : public QObject
{
    Q_OBJECT

private slots:
    void members_data();
    void members();
    void types();
};

void TestCMainContract::members_data()
{
    QTest::addColumn<QStringList>("members");
    QTest::addColumn<QStringList>("expected");
    const auto row = [](const char *name, const QStringList &members, const char *groups) {
        QStringList expected;
        for (const QString &group : QString::fromLatin1(groups).simplified().split(u"; "_s)) {
            for (const QString &member : group.section(u": "_s, 1).split(u' '))
                expected << group.section(u": "_s, 0, 0) + u' ' + member;
        }
        QTest::newRow(name) << members << expected;
    };
    const QMetaObject &backend = CMain::staticMetaObject;
    const QMetaObject &item = VideoRenderer::staticMetaObject;
    using Method = QMetaMethod;
    row("backend signals", methodsOf(backend, Method::Signal), kBackendSignals);
    row("backend slots", methodsOf(backend, Method::Slot),
        "void(QString message): onShowMessage; void(int percent): updateProgress");
    row("backend private slots", methodsOf(backend, Method::Slot, Method::Private),
        kBackendPrivateSlots);
    row("backend invokables", methodsOf(backend, Method::Method), kBackendInvokables);
    row("backend properties", propertiesOf(backend), kBackendProperties);
    row("item signals", methodsOf(item, Method::Signal), kItemSignals);
    row("item private slots", methodsOf(item, Method::Slot, Method::Private), kItemPrivateSlots);
    row("item invokables", methodsOf(item, Method::Method), kItemInvokables);
    row("item properties", propertiesOf(item), kItemProperties);
}

void TestCMainContract::members()
{
    QFETCH(QStringList, members);
    QFETCH(QStringList, expected);
    QCOMPARE(members.first(std::min(members.size(), expected.size())), expected);
}

void TestCMainContract::types()
{
    const auto types = QMetaEnum::fromType<CMain::ConnectionType>();
    QCOMPARE(types.keyCount(), 2);
    QCOMPARE(types.keyToValue("Serial"), 0);
    QCOMPARE(types.keyToValue("TCP"), 1);
    for (const char *name :
         {"CMain::ConnectionType", "QSerialPort::SerialPortError", "QAbstractSocket::SocketError"})
        QVERIFY2(QMetaType::fromName(name).isRegistered(), name);
}

QTEST_APPLESS_MAIN(TestCMainContract)
#include "tst_cmain_contract.moc"
