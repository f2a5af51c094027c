#pragma once

#include "LinkStatistics.h"
#include "async/Wish.h"
#include "motion/MotionLedger.h"
#include "protocol/CommandCatalogue.h"
#include "protocol/InboundFrames.h"
#include "protocol/SettingFrames.h"

#include <QElapsedTimer>
#include <QJsonObject>
#include <QObject>
#include <QTimer>
#include <QVariantList>

#include <functional>
#include <utility>

class ICommunication;
class LocalUpgrade;
class OnlineUpgrade;

/// The backend that QML knows as `cMain`: it owns the link to the pod, keeps the pod's last
/// reported state as properties and offers every command as an invokable. Commands are sent once,
/// without acknowledgement; what goes wrong is told by sbusDataError. Everything runs on the GUI
/// thread. The order of signals, slots, invokables and properties is fixed; append only.
class CMain : public QObject
{
    Q_OBJECT

    // clang-format off
    Q_PROPERTY(bool isConnected READ isConnected NOTIFY connectionChanged)
    Q_PROPERTY(QString message READ message WRITE setMessage NOTIFY messageChanged)
    Q_PROPERTY(QString connectionType READ connectionType WRITE setConnectionType NOTIFY connectionTypeChanged)
    Q_PROPERTY(double yaw READ yaw NOTIFY attitudeChanged)
    Q_PROPERTY(double pitch READ pitch NOTIFY attitudeChanged)
    Q_PROPERTY(double roll READ roll NOTIFY attitudeChanged)
    Q_PROPERTY(bool recording READ recording NOTIFY statusChanged)
    Q_PROPERTY(QString workMode READ workMode NOTIFY statusChanged)
    Q_PROPERTY(double zoom READ zoom NOTIFY zoomChanged)
    Q_PROPERTY(double zoomint READ zoomint NOTIFY zoomChanged)
    Q_PROPERTY(bool tracking READ tracking NOTIFY trackingChanged)
    Q_PROPERTY(double targetLatitude READ targetLatitude NOTIFY targetChanged)
    Q_PROPERTY(double targetLongitude READ targetLongitude NOTIFY targetChanged)
    Q_PROPERTY(int targetAltitude READ targetAltitude NOTIFY targetChanged)
    Q_PROPERTY(double laserdistance READ laserdistance NOTIFY targetChanged)
    Q_PROPERTY(double planeLatitude READ planeLatitude NOTIFY planeChanged)
    Q_PROPERTY(double planeLongitude READ planeLongitude NOTIFY planeChanged)
    Q_PROPERTY(int planeAltitude READ planeAltitude NOTIFY planeChanged)
    Q_PROPERTY(double planeYaw READ planeYaw NOTIFY planeChanged)
    Q_PROPERTY(bool isEE0A READ isEE0A WRITE setIsEE0A NOTIFY isEE0AChanged)
    Q_PROPERTY(QString versionno READ versionno NOTIFY versionChanged)
    Q_PROPERTY(bool isTracking READ isTracking WRITE setIsTracking NOTIFY isTrackingChanged)
    Q_PROPERTY(bool isManualFocus READ isManualFocus WRITE setIsManualFocus NOTIFY isManualFocusChanged)
    Q_PROPERTY(int moveSpeed READ moveSpeed WRITE setMoveSpeed NOTIFY moveSpeedChanged)
    Q_PROPERTY(int languageIndex READ languageIndex WRITE setLanguageIndex NOTIFY languageIndexChanged FINAL)
    Q_PROPERTY(int upgradeProgress READ upgradeProgress NOTIFY upgradeProgressChanged)
    Q_PROPERTY(QString b7nIPAddress READ b7nIPAddress NOTIFY b7nIPAddressChanged FINAL)
    Q_PROPERTY(QString b7nGateWay READ b7nGateWay NOTIFY b7nIPAddressChanged FINAL)
    Q_PROPERTY(int b7nBitRateIndex READ b7nBitRateIndex NOTIFY b7nIPAddressChanged FINAL)
    Q_PROPERTY(int b7nResolutionIndex READ b7nResolutionIndex NOTIFY b7nIPAddressChanged FINAL)
    Q_PROPERTY(int b7nEncodeTypeIndex READ b7nEncodeTypeIndex NOTIFY b7nIPAddressChanged FINAL)
    Q_PROPERTY(int sbusPitchIndex READ sbusPitchIndex NOTIFY sbusPitchIndexChanged FINAL)
    Q_PROPERTY(int sbusYawIndex READ sbusYawIndex NOTIFY sbusPitchIndexChanged FINAL)
    Q_PROPERTY(int sbusKjgIndex READ sbusKjgIndex NOTIFY sbusPitchIndexChanged FINAL)
    Q_PROPERTY(int sbusManualFocusIndex READ sbusManualFocusIndex NOTIFY sbusPitchIndexChanged FINAL)
    Q_PROPERTY(int sbusDownIndex READ sbusDownIndex NOTIFY sbusPitchIndexChanged FINAL)
    Q_PROPERTY(int sbusHomeIndex READ sbusHomeIndex NOTIFY sbusPitchIndexChanged FINAL)
    Q_PROPERTY(int sbusPhotoIndex READ sbusPhotoIndex NOTIFY sbusPitchIndexChanged FINAL)
    Q_PROPERTY(int sbusTargetIndex READ sbusTargetIndex NOTIFY sbusPitchIndexChanged FINAL)
    Q_PROPERTY(int sbusHzhWcIndex READ sbusHzhWcIndex NOTIFY sbusPitchIndexChanged FINAL)
    Q_PROPERTY(int sbusRcxZoomIndex READ sbusRcxZoomIndex NOTIFY sbusPitchIndexChanged FINAL)
    Q_PROPERTY(int sbusLaserDistanceIndex READ sbusLaserDistanceIndex NOTIFY sbusPitchIndexChanged FINAL)
    Q_PROPERTY(int sbusLaserLightIndex READ sbusLaserLightIndex NOTIFY sbusPitchIndexChanged FINAL)
    Q_PROPERTY(int sbusOsdIndex READ sbusOsdIndex NOTIFY sbusPitchIndexChanged FINAL)
    Q_PROPERTY(bool statusStale READ statusStale NOTIFY statusStaleChanged FINAL)
    Q_PROPERTY(QVariantList sbusChannels READ sbusChannels NOTIFY sbusPitchIndexChanged FINAL)
    Q_PROPERTY(QString localUpgradeText READ localUpgradeText NOTIFY localUpgradeTextChanged FINAL)
    Q_PROPERTY(bool localUpgradeRunning READ localUpgradeRunning NOTIFY localUpgradeTextChanged FINAL)
    Q_PROPERTY(bool onlineUpgradeRunning READ onlineUpgradeRunning NOTIFY onlineUpgradeRunningChanged FINAL)
    // clang-format on

public:
    enum ConnectionType : quint8 { Serial = 0, TCP = 1 };
    Q_ENUM(ConnectionType)

    /// How long an SBUS query waits for its answer.
    static constexpr int kSbusAnswerTimeoutMs = 3000;
    /// How long after a disconnect() a second one is refused.
    static constexpr int kDisconnectGuardMs = 100;
    /// How long a connected pod may say nothing of its status before the last one counts as stale.
    static constexpr int kStatusStaleMs = 2000;

    explicit CMain(QObject *parent = nullptr);
    ~CMain() override;

    // Link
    Q_INVOKABLE bool isConnected() const;
    Q_INVOKABLE QString connectionType() const;
    Q_INVOKABLE void setConnectionType(const QString &type);
    Q_INVOKABLE bool connectSerial(const QString &portName, int baudRate = 115200);
    Q_INVOKABLE bool connectTCP(const QString &address, int port);
    Q_INVOKABLE void disconnect();
    Q_INVOKABLE QVariantList getAvailablePorts();
    Q_INVOKABLE void resetConnection();

    // Settings and queries
    Q_INVOKABLE void setTime();
    Q_INVOKABLE void setSbus(const QVariantList &sbus_channels);
    Q_INVOKABLE void querySbusData();
    Q_INVOKABLE void queryVersion();
    Q_INVOKABLE void queryB7N();
    Q_INVOKABLE void setB7N(const QVariantList &b7n_channels);

    // Camera
    Q_INVOKABLE void takePhoto();
    Q_INVOKABLE void startRecord();
    Q_INVOKABLE void stopRecord();

    // Movement
    Q_INVOKABLE void stopMove();
    Q_INVOKABLE void moveUp(int speed);
    Q_INVOKABLE void moveDown(int speed);
    Q_INVOKABLE void moveLeft(int speed);
    Q_INVOKABLE void moveRight(int speed);
    Q_INVOKABLE void moveLeftUp(int xspeed, int yspeed);
    Q_INVOKABLE void moveLeftDown(int xspeed, int yspeed);
    Q_INVOKABLE void moveRightUp(int xspeed, int yspeed);
    Q_INVOKABLE void moveRightDown(int xspeed, int yspeed);

    // Zoom
    Q_INVOKABLE void zoomIn(int speed);
    Q_INVOKABLE void zoomOut(int speed);
    Q_INVOKABLE void zoomStop();

    // Attitude shortcuts and modes
    Q_INVOKABLE void oneKeyDown();
    Q_INVOKABLE void oneKeyCenter();
    Q_INVOKABLE void yawCenterOnly();
    Q_INVOKABLE void pitchDownOnly();
    Q_INVOKABLE void modeYawFollow();
    Q_INVOKABLE void modeYawLock();
    Q_INVOKABLE void modeFPV();
    Q_INVOKABLE void modeUpward();
    Q_INVOKABLE void modeDownward();

    // Pointing and tracking; coordinates are 0..255 over the picture
    Q_INVOKABLE void pointmoveto(int x, int y);
    Q_INVOKABLE void pointtrack(int x, int y);
    Q_INVOKABLE void pointtrackstop();

    // Focus, overlay and detection
    Q_INVOKABLE void manualFocusClose();
    Q_INVOKABLE void manualFocusOpen();
    Q_INVOKABLE void manualFocusStop();
    Q_INVOKABLE void manualFocusNear();
    Q_INVOKABLE void manualFocusFar();
    Q_INVOKABLE void osdClose();
    Q_INVOKABLE void osdOpen();
    Q_INVOKABLE void targetCheckClose();
    Q_INVOKABLE void targetCheckOpen();
    Q_INVOKABLE void setFrameSize(int index);
    Q_INVOKABLE void trackAutoZoomClose();
    Q_INVOKABLE void trackAutoZoomOpen();
    Q_INVOKABLE void continuousDistanceClose();
    Q_INVOKABLE void continuousDistanceOpen();
    Q_INVOKABLE void clearFrogClose();
    Q_INVOKABLE void clearFrogOpen();
    Q_INVOKABLE void electronicZoomClose();
    Q_INVOKABLE void electronicZoomOpen();
    Q_INVOKABLE void laserLightClose();
    Q_INVOKABLE void laserLightOpen();
    Q_INVOKABLE void setKjgZoomTo(int value);
    Q_INVOKABLE void setRcxZoomTo(int value);

    // Gimbal power and pose
    Q_INVOKABLE void gimbalSetOn();
    Q_INVOKABLE void gimbalSetOff();
    Q_INVOKABLE void gimbalSetReboot();
    Q_INVOKABLE void gimbalSetToPitchYaw(int pitch, int yaw);
    Q_INVOKABLE void setHZH(int type);
    Q_INVOKABLE void setWC(int type);
    Q_INVOKABLE void rtspRecovery();

    // Protocol, frequency, image trim
    Q_INVOKABLE void setProtocl(int type);
    Q_INVOKABLE void setFrequency(int value);
    Q_INVOKABLE void adjust_up(int size);
    Q_INVOKABLE void adjust_down(int size);
    Q_INVOKABLE void adjust_left(int size);
    Q_INVOKABLE void adjust_right(int size);

    // Firmware
    Q_INVOKABLE void beginUpdate();
    Q_INVOKABLE void completeUpdate();
    Q_INVOKABLE void updateFirmwareByCom(const QString &portname, int baud,
                                         const QString &filepath);

    // Map
    Q_INVOKABLE QJsonObject getMapData();

    /// Whether a serial port can be opened by this name: one in the system's list, or the path of
    /// an existing device.
    Q_INVOKABLE bool isSerialPort(const QString &name) const;

    Q_INVOKABLE LinkStatistics linkStatistics() const;

    QString message() const { return m_message; }
    double yaw() const { return m_yaw; }
    double pitch() const { return m_pitch; }
    double roll() const { return m_roll; }
    bool recording() const { return m_recording; }
    QString workMode() const { return m_workMode; }
    double zoom() const { return m_zoom; }
    double zoomint() const { return m_zoomStep; }
    bool tracking() const { return m_tracking; }
    double targetLatitude() const { return m_targetLatitude; }
    double targetLongitude() const { return m_targetLongitude; }
    int targetAltitude() const { return m_targetAltitude; }
    double laserdistance() const { return m_laserDistance; }
    double planeLatitude() const { return m_plane.latitude; }
    double planeLongitude() const { return m_plane.longitude; }
    int planeAltitude() const { return m_plane.altitude; }
    double planeYaw() const { return m_plane.yaw; }
    bool isEE0A() const { return m_isEE0A; }
    QString versionno() const { return m_versionno; }
    bool isTracking() const { return m_isTracking; }
    bool isManualFocus() const { return m_isManualFocus; }
    int moveSpeed() const { return m_moveSpeed; }
    int languageIndex() const { return m_languageIndex; }
    int upgradeProgress() const { return m_upgradeProgress; }
    QString b7nIPAddress() const { return m_b7n.address; }
    QString b7nGateWay() const { return m_b7n.settings.gateway; }
    int b7nBitRateIndex() const { return m_b7n.settings.bitRateIndex; }
    int b7nResolutionIndex() const { return m_b7n.settings.resolutionIndex; }
    int b7nEncodeTypeIndex() const { return m_b7n.settings.encodeTypeIndex; }
    int sbusPitchIndex() const { return m_sbus.channels[0]; }
    int sbusYawIndex() const { return m_sbus.channels[1]; }
    int sbusKjgIndex() const { return m_sbus.channels[2]; }
    int sbusManualFocusIndex() const { return m_sbus.channels[3]; }
    int sbusDownIndex() const { return m_sbus.channels[4]; }
    int sbusHomeIndex() const { return m_sbus.channels[5]; }
    int sbusPhotoIndex() const { return m_sbus.channels[6]; }
    int sbusTargetIndex() const { return m_sbus.channels[7]; }
    int sbusHzhWcIndex() const { return m_sbus.channels[8]; }
    int sbusRcxZoomIndex() const { return m_sbus.channels[9]; }
    int sbusLaserDistanceIndex() const { return m_sbus.channels[10]; }
    int sbusLaserLightIndex() const { return m_sbus.channels[11]; }
    int sbusOsdIndex() const { return m_sbus.channels[12]; }
    /// True while connected without a status frame for kStatusStaleMs; a steady pod is not stale.
    bool statusStale() const { return m_statusStale; }
    /// The pod's whole map of 24, as setSbus takes it back.
    QVariantList sbusChannels() const;
    /// What the local upgrade does, or how the last one ended or why it was refused.
    QString localUpgradeText() const;
    bool localUpgradeRunning() const;
    /// From its begin to completeUpdate(), or to a failure to begin.
    bool onlineUpgradeRunning() const;

    /// As the command's invokable does; false when there is no link. Of an SBUS query the answer is
    /// awaited by querySbusData() alone.
    bool send(protocol::Command command, int argument0 = 0, int argument1 = 0);

    /// Is told of every frame sent or received, whether it changed anything or not. GUI thread.
    struct Watcher
    {
        std::function<void(const QByteArray &frame)> sent;
        std::function<void(const protocol::StatusFrame &status)> reported;
    };

    /// One at a time; an empty one takes the last away.
    void watch(Watcher watcher) { m_watcher = std::move(watcher); }

    void setMessage(const QString &message);
    void setIsEE0A(bool on);
    void setIsTracking(bool on);
    void setIsManualFocus(bool on);
    void setMoveSpeed(int speed);
    void setLanguageIndex(int index);

    /// Behind beginUpdate() and completeUpdate(); what it finds around it can be set.
    OnlineUpgrade *onlineUpgrade() const { return m_onlineUpgrade; }

signals:
    /// On every change of the link, and once more after a successful connectSerial or connectTCP.
    void connectionChanged(bool connected);
    void connectionTypeChanged(QString type);
    void sbusDataReady(QVariantList data);
    /// Any error or refusal meant for the operator, not only of SBUS.
    void sbusDataError(QString error);
    void messageChanged(QString message);
    void upgradeProgressChanged(int percent);
    void attitudeChanged();
    void statusChanged();
    void zoomChanged();
    void trackingChanged();
    void targetChanged();
    void planeChanged();
    void versionChanged();
    void b7nIPAddressChanged();
    void sbusPitchIndexChanged();
    void isTrackingChanged();
    void isManualFocusChanged();
    void moveSpeedChanged();
    void languageIndexChanged();
    void isEE0AChanged();
    void statusStaleChanged();
    void localUpgradeTextChanged();
    void onlineUpgradeRunningChanged();

public slots:
    /// Keeps a text for the operator; an empty one is ignored, it never clears the last message.
    void onShowMessage(const QString &message);
    void updateProgress(int percent);

private slots:
    void handleDataReceived(const QByteArray &data);
    void handleCommunicationError(const QString &error);
    void handleCommunicationConnectionChanged(bool connected);

private:
    struct B7NState
    {
        QString address;
        protocol::B7NSettings settings; // indexes -1 until the pod has told them
    };

    void createTransport();
    void retireTransport();
    bool openLink(const QString &target, int value);
    void closeLink();
    void sendStops(const motion::MotionLedger::Stops &stops);
    QString podAt(const QString &target, int value) const;

    bool send(const QByteArray &frame);
    void sendList(const protocol::LongCommandSpec &spec, const QVariantList &list);

    void apply(const protocol::UnknownFrame &) {}
    void apply(const protocol::TruncatedFrame &frame);
    void apply(const protocol::StatusFrame &status);
    void apply(const protocol::SbusMap &map);
    void apply(const protocol::VersionReply &version);
    void apply(const protocol::B7NReply &reply);
    void applyAttitude(const protocol::StatusFrame &status);
    void applyCamera(const protocol::CameraStatus &camera);
    void applyZoom(const protocol::StatusFrame &status);
    void applyTarget(const protocol::StatusFrame &status);
    void applyPlane(const protocol::PlaneStatus &plane);
    void clearReplies();
    void setStatusStale(bool stale);
    void watchStatus(bool connected);

    ICommunication *m_transport = nullptr;
    ConnectionType m_connectionType = Serial;
    bool m_isConnected = false;
    bool m_disconnecting = false;
    bool m_awaitingSbus = false;
    Wishes m_linkWishes;
    bool m_isOpeningLink = false;
    bool m_owesBeginning = false; // a new link has not had the stops yet that its pod is owed
    motion::MotionLedger m_motions;
    int m_transportSignalDepth = 0; // above 0 while a signal of the transport is being handled
    QTimer *m_sbusReadTimer = nullptr;
    QTimer *m_staleTimer = nullptr;
    LinkStatistics m_linkStatistics;
    QElapsedTimer m_sinceStatus; // invalid before the first
    LocalUpgrade *m_localUpgrade = nullptr;
    OnlineUpgrade *m_onlineUpgrade = nullptr;

    Watcher m_watcher;

    QString m_message;
    double m_laserDistance = 0;
    double m_yaw = 0;
    double m_pitch = 0;
    double m_roll = 0;
    bool m_recording = false;
    QString m_workMode = QStringLiteral("Unknown");
    int m_zoomStep = 1;
    double m_zoom = 1.0;
    bool m_tracking = false;
    double m_targetLatitude = 0;
    double m_targetLongitude = 0;
    int m_targetAltitude = 0;
    protocol::PlaneStatus m_plane;
    QString m_versionno;
    B7NState m_b7n;
    protocol::SbusMap m_sbus;
    bool m_isTracking = false;
    bool m_isManualFocus = false;
    int m_moveSpeed = 128;
    int m_languageIndex = 0;
    bool m_isEE0A = false;
    int m_upgradeProgress = 0;
    bool m_statusStale = false;
};
