// The interfaces that QML relies on, member by member: names, order, types, access, notifiers.
// Members of our own may follow at the end of each list, none may come in between.

#include "CMain.h"
#include "video/FFmpegPlayer.h"
#include "video/VideoRenderer.h"

#include <QMetaMethod>
#include <QMetaProperty>
#include <QTest>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

QString signatureOf(const QMetaMethod &method)
{
    QStringList parameters;
    for (int i = 0; i < method.parameterCount(); ++i)
        parameters.append(QString::fromLatin1(
            (method.parameterTypes().at(i) + ' ' + method.parameterNames().at(i)).trimmed()));
    return QString::fromLatin1(method.typeName()) + u' ' + QString::fromLatin1(method.name()) + u'('
           + parameters.join(u", "_s) + u')' + (method.isConst() ? u" const"_s : QString());
}

QStringList methodsOf(const QMetaObject &meta, QMetaMethod::MethodType type,
                      QMetaMethod::Access access)
{
    QStringList lines;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        if (method.methodType() == type && method.access() == access)
            lines.append(signatureOf(method));
    }
    return lines;
}

QString lineOf(const QMetaProperty &property)
{
    QStringList words = {QString::fromLatin1(property.typeName()),
                         QString::fromLatin1(property.name()),
                         property.isWritable() ? u"RW"_s : u"R"_s};
    if (property.isFinal())
        words.append(u"FINAL"_s);
    if (property.hasNotifySignal())
        words.append(QString::fromLatin1(property.notifySignal().name()));
    return words.join(u' ');
}

QStringList propertiesOf(const QMetaObject &meta)
{
    QStringList lines;
    for (int i = meta.propertyOffset(); i < meta.propertyCount(); ++i)
        lines.append(lineOf(meta.property(i)));
    return lines;
}

const char *const kBackendSignals = R"(
void connectionChanged(bool connected); void connectionTypeChanged(QString type);
void sbusDataReady(QVariantList data); void sbusDataError(QString error);
void messageChanged(QString message); void upgradeProgressChanged(int percent);
void attitudeChanged(); void statusChanged(); void zoomChanged(); void trackingChanged();
void targetChanged(); void planeChanged(); void versionChanged(); void b7nIPAddressChanged();
void sbusPitchIndexChanged(); void isTrackingChanged(); void isManualFocusChanged();
void moveSpeedChanged(); void languageIndexChanged(); void isEE0AChanged()
)";

const char *const kBackendSlots = R"(
void onShowMessage(QString message); void updateProgress(int percent)
)";

const char *const kBackendPrivateSlots = R"(
void handleDataReceived(QByteArray data); void handleCommunicationError(QString error);
void handleCommunicationConnectionChanged(bool connected)
)";

// A default argument shows as a second, shorter method.
const char *const kBackendInvokables = R"(
bool isConnected() const; QString connectionType() const; void setConnectionType(QString type);
bool connectSerial(QString portName, int baudRate); bool connectSerial(QString portName);
bool connectTCP(QString address, int port); void disconnect(); QVariantList getAvailablePorts();
void resetConnection(); void setTime(); void setSbus(QVariantList sbus_channels);
void querySbusData(); void queryVersion(); void queryB7N(); void setB7N(QVariantList b7n_channels);
void takePhoto(); void startRecord(); void stopRecord(); void stopMove(); void moveUp(int speed);
void moveDown(int speed); void moveLeft(int speed); void moveRight(int speed);
void moveLeftUp(int xspeed, int yspeed); void moveLeftDown(int xspeed, int yspeed);
void moveRightUp(int xspeed, int yspeed); void moveRightDown(int xspeed, int yspeed);
void zoomIn(int speed); void zoomOut(int speed); void zoomStop(); void oneKeyDown();
void oneKeyCenter(); void yawCenterOnly(); void pitchDownOnly(); void modeYawFollow();
void modeYawLock(); void modeFPV(); void modeUpward(); void modeDownward();
void pointmoveto(int x, int y); void pointtrack(int x, int y); void pointtrackstop();
void manualFocusClose(); void manualFocusOpen(); void manualFocusStop(); void manualFocusNear();
void manualFocusFar(); void osdClose(); void osdOpen(); void targetCheckClose();
void targetCheckOpen(); void setFrameSize(int index); void trackAutoZoomClose();
void trackAutoZoomOpen(); void continuousDistanceClose(); void continuousDistanceOpen();
void clearFrogClose(); void clearFrogOpen(); void electronicZoomClose(); void electronicZoomOpen();
void laserLightClose(); void laserLightOpen(); void setKjgZoomTo(int value);
void setRcxZoomTo(int value); void gimbalSetOn(); void gimbalSetOff(); void gimbalSetReboot();
void gimbalSetToPitchYaw(int pitch, int yaw); void setHZH(int type); void setWC(int type);
void rtspRecovery(); void setProtocl(int type); void setFrequency(int value);
void adjust_up(int size); void adjust_down(int size); void adjust_left(int size);
void adjust_right(int size); void beginUpdate(); void completeUpdate();
void updateFirmwareByCom(QString portname, int baud, QString filepath); QJsonObject getMapData()
)";

const char *const kBackendProperties = R"(
bool isConnected R connectionChanged; QString message RW messageChanged;
QString connectionType RW connectionTypeChanged; double yaw R attitudeChanged;
double pitch R attitudeChanged; double roll R attitudeChanged; bool recording R statusChanged;
QString workMode R statusChanged; double zoom R zoomChanged; double zoomint R zoomChanged;
bool tracking R trackingChanged; double targetLatitude R targetChanged;
double targetLongitude R targetChanged; int targetAltitude R targetChanged;
double laserdistance R targetChanged; double planeLatitude R planeChanged;
double planeLongitude R planeChanged; int planeAltitude R planeChanged;
double planeYaw R planeChanged; bool isEE0A RW isEE0AChanged; QString versionno R versionChanged;
bool isTracking RW isTrackingChanged; bool isManualFocus RW isManualFocusChanged;
int moveSpeed RW moveSpeedChanged; int languageIndex RW FINAL languageIndexChanged;
int upgradeProgress R upgradeProgressChanged; QString b7nIPAddress R FINAL b7nIPAddressChanged;
QString b7nGateWay R FINAL b7nIPAddressChanged; int b7nBitRateIndex R FINAL b7nIPAddressChanged;
int b7nResolutionIndex R FINAL b7nIPAddressChanged;
int b7nEncodeTypeIndex R FINAL b7nIPAddressChanged;
int sbusPitchIndex R FINAL sbusPitchIndexChanged; int sbusYawIndex R FINAL sbusPitchIndexChanged;
int sbusKjgIndex R FINAL sbusPitchIndexChanged;
int sbusManualFocusIndex R FINAL sbusPitchIndexChanged;
int sbusDownIndex R FINAL sbusPitchIndexChanged; int sbusHomeIndex R FINAL sbusPitchIndexChanged;
int sbusPhotoIndex R FINAL sbusPitchIndexChanged; int sbusTargetIndex R FINAL sbusPitchIndexChanged;
int sbusHzhWcIndex R FINAL sbusPitchIndexChanged;
int sbusRcxZoomIndex R FINAL sbusPitchIndexChanged;
int sbusLaserDistanceIndex R FINAL sbusPitchIndexChanged;
int sbusLaserLightIndex R FINAL sbusPitchIndexChanged;
int sbusOsdIndex R FINAL sbusPitchIndexChanged
)";

const char *const kPlayerSignals = R"(
void frameReady(QImage image); void errorOccurred(QString error);
void playingStateChanged(bool playing); void connectionLost()
)";

const char *const kPlayerSlots = R"(
void play(); void pause(); void stop(); void renderFrame(); void readFrame()
)";

const char *const kPlayerInvokables = R"(
bool open(QString url); void close(); bool isPlaying()
)";

const char *const kItemSignals = R"(
void sourceChanged(); void playingChanged(); void statusChanged(); void autoReconnectChanged();
void reconnectIntervalChanged(); void maxReconnectAttemptsChanged();
void errorOccurred(QString error); void connectionLost(); void connectionRestored();
void isReconnectingChanged()
)";

const char *const kItemPrivateSlots = R"(
void onFrameReady(QImage frame); void onErrorOccurred(QString error);
void onPlayingStateChanged(bool playing); void onConnectionLost(); void performReconnect();
void onReconnectSuccess(); void onReconnectFailed()
)";

const char *const kItemInvokables = R"(
void play(); void pause(); void stop(); void reconnect(); void setBufferSize(int size);
void setRtspTransport(QString transport); void setTimeout(int timeoutMs);
void setFrameInterval(int msec); void setMaxDelay(int maxDelayMs)
)";

const char *const kItemProperties = R"(
QString source RW sourceChanged; bool playing R playingChanged; QString status R statusChanged;
bool autoReconnect RW autoReconnectChanged; int reconnectInterval RW reconnectIntervalChanged;
int maxReconnectAttempts RW maxReconnectAttemptsChanged;
bool isReconnecting R isReconnectingChanged
)";

} // namespace

class TestCMainContract : public QObject
{
    Q_OBJECT

private slots:
    void members_data();
    void members();
    void connectionTypes();
};

void TestCMainContract::members_data()
{
    QTest::addColumn<QStringList>("members");
    QTest::addColumn<QStringList>("expected");
    const auto row = [](const char *name, const QStringList &members, const char *expected) {
        QTest::newRow(name) << members << QString::fromLatin1(expected).simplified().split(u"; "_s);
    };
    const QMetaObject &backend = CMain::staticMetaObject;
    const QMetaObject &player = FFmpegPlayer::staticMetaObject;
    const QMetaObject &item = VideoRenderer::staticMetaObject;
    using Method = QMetaMethod;
    row("backend signals", methodsOf(backend, Method::Signal, Method::Public), kBackendSignals);
    row("backend slots", methodsOf(backend, Method::Slot, Method::Public), kBackendSlots);
    row("backend private slots", methodsOf(backend, Method::Slot, Method::Private),
        kBackendPrivateSlots);
    row("backend invokables", methodsOf(backend, Method::Method, Method::Public),
        kBackendInvokables);
    row("backend properties", propertiesOf(backend), kBackendProperties);
    row("player signals", methodsOf(player, Method::Signal, Method::Public), kPlayerSignals);
    row("player slots", methodsOf(player, Method::Slot, Method::Public), kPlayerSlots);
    row("player invokables", methodsOf(player, Method::Method, Method::Public), kPlayerInvokables);
    row("player properties", propertiesOf(player), "bool playing R");
    row("item signals", methodsOf(item, Method::Signal, Method::Public), kItemSignals);
    row("item private slots", methodsOf(item, Method::Slot, Method::Private), kItemPrivateSlots);
    row("item invokables", methodsOf(item, Method::Method, Method::Public), kItemInvokables);
    row("item properties", propertiesOf(item), kItemProperties);
}

void TestCMainContract::members()
{
    QFETCH(QStringList, members);
    QFETCH(QStringList, expected);
    QCOMPARE(members.first(std::min(members.size(), expected.size())), expected);
}

void TestCMainContract::connectionTypes()
{
    const QMetaObject &meta = CMain::staticMetaObject;
    QCOMPARE(meta.enumeratorCount(), 1);
    const QMetaEnum types = meta.enumerator(0);
    QCOMPARE(types.name(), "ConnectionType");
    QCOMPARE(types.keyCount(), 2);
    QCOMPARE(types.keyToValue("Serial"), 0);
    QCOMPARE(types.keyToValue("TCP"), 1);
    for (const char *name :
         {"CMain::ConnectionType", "QSerialPort::SerialPortError", "QAbstractSocket::SocketError"})
        QVERIFY2(QMetaType::fromName(name).isRegistered(), name);
}

QTEST_APPLESS_MAIN(TestCMainContract)
#include "tst_cmain_contract.moc"
