#pragma once

#include <QMetaMethod>
#include <QMetaProperty>
#include <QStringList>

/// The backend's interface to QML: signals, slots, invokables, properties, in their order. Members
/// alike that follow each other stand behind what they have in common; a default argument shows as
/// a second, shorter method.
inline const char *const kBackendMembers = R"(
void(bool): connectionChanged; void(QString): connectionTypeChanged; void(QVariantList):
sbusDataReady; void(QString): sbusDataError messageChanged; void(int): upgradeProgressChanged;
void(): attitudeChanged statusChanged zoomChanged trackingChanged targetChanged planeChanged
versionChanged b7nIPAddressChanged sbusPitchIndexChanged isTrackingChanged isManualFocusChanged
moveSpeedChanged languageIndexChanged isEE0AChanged statusStaleChanged localUpgradeTextChanged
onlineUpgradeRunningChanged;
void(QString): onShowMessage; void(int): updateProgress; void(QByteArray): handleDataReceived;
void(QString): handleCommunicationError; void(bool): handleCommunicationConnectionChanged; bool()
const: isConnected; QString() const: connectionType; void(QString): setConnectionType;
bool(QString,int): connectSerial; bool(QString): connectSerial; bool(QString,int): connectTCP;
void(): disconnect; QVariantList(): getAvailablePorts; void(): resetConnection setTime;
void(QVariantList): setSbus; void(): querySbusData queryVersion queryB7N; void(QVariantList):
setB7N; void(): takePhoto startRecord stopRecord stopMove; void(int): moveUp moveDown moveLeft
moveRight; void(int,int): moveLeftUp moveLeftDown moveRightUp moveRightDown; void(int): zoomIn
zoomOut; void(): zoomStop oneKeyDown oneKeyCenter yawCenterOnly pitchDownOnly modeYawFollow
modeYawLock modeFPV modeUpward modeDownward; void(int,int): pointmoveto pointtrack; void():
pointtrackstop manualFocusClose manualFocusOpen manualFocusStop manualFocusNear manualFocusFar
osdClose osdOpen targetCheckClose targetCheckOpen; void(int): setFrameSize; void():
trackAutoZoomClose trackAutoZoomOpen continuousDistanceClose continuousDistanceOpen clearFrogClose
clearFrogOpen electronicZoomClose electronicZoomOpen laserLightClose laserLightOpen; void(int):
setKjgZoomTo setRcxZoomTo; void(): gimbalSetOn gimbalSetOff gimbalSetReboot; void(int,int):
gimbalSetToPitchYaw; void(int): setHZH setWC; void(): rtspRecovery; void(int): setProtocl
setFrequency adjust_up adjust_down adjust_left adjust_right; void(): beginUpdate completeUpdate;
void(QString,int,QString): updateFirmwareByCom; QJsonObject(): getMapData; bool(QString)
const: isSerialPort; LinkStatistics() const: linkStatistics; bool R connectionChanged:
isConnected; QString RW messageChanged: message; QString RW connectionTypeChanged: connectionType;
double R attitudeChanged: yaw pitch roll; bool R statusChanged: recording; QString R statusChanged:
workMode; double R zoomChanged: zoom zoomint; bool R trackingChanged: tracking; double R
targetChanged: targetLatitude targetLongitude; int R targetChanged: targetAltitude; double R
targetChanged: laserdistance; double R planeChanged: planeLatitude planeLongitude; int R
planeChanged: planeAltitude; double R planeChanged: planeYaw; bool RW isEE0AChanged: isEE0A; QString
R versionChanged: versionno; bool RW isTrackingChanged: isTracking; bool RW isManualFocusChanged:
isManualFocus; int RW moveSpeedChanged: moveSpeed; int RW FINAL languageIndexChanged: languageIndex;
int R upgradeProgressChanged: upgradeProgress; QString R FINAL b7nIPAddressChanged: b7nIPAddress
b7nGateWay; int R FINAL b7nIPAddressChanged: b7nBitRateIndex b7nResolutionIndex b7nEncodeTypeIndex;
int R FINAL sbusPitchIndexChanged: sbusPitchIndex sbusYawIndex sbusKjgIndex sbusManualFocusIndex
sbusDownIndex sbusHomeIndex sbusPhotoIndex sbusTargetIndex sbusHzhWcIndex sbusRcxZoomIndex
sbusLaserDistanceIndex sbusLaserLightIndex sbusOsdIndex; bool R FINAL statusStaleChanged:
statusStale; QVariantList R FINAL sbusPitchIndexChanged: sbusChannels; QString R FINAL
localUpgradeTextChanged: localUpgradeText; bool R FINAL localUpgradeTextChanged:
localUpgradeRunning; bool R FINAL onlineUpgradeRunningChanged: onlineUpgradeRunning)";

/// The members of a class in this form, group by group.
inline QStringList memberGroupsOf(const QMetaObject &meta)
{
    QStringList groups;
    const auto add = [&](const QByteArray &common, const QByteArray &name) {
        const QString start = QString::fromLatin1(common) + u':';
        if (groups.isEmpty() || !groups.last().startsWith(start))
            groups.append(start);
        groups.last() += u' ' + QString::fromLatin1(name);
    };
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        add(method.typeName() + ('(' + method.parameterTypes().join(',')) + ')'
                + (method.isConst() ? " const" : ""),
            method.name());
    }
    for (int i = meta.propertyOffset(); i < meta.propertyCount(); ++i) {
        const QMetaProperty property = meta.property(i);
        add(QByteArray(property.typeName()) + (property.isWritable() ? " RW " : " R ")
                + (property.isFinal() ? "FINAL " : "") + property.notifySignal().name(),
            property.name());
    }
    return groups;
}
