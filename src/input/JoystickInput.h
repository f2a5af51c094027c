#pragma once

#include "ActionResolver.h"
#include "JoystickMapping.h"
#include "SdlJoystick.h"
#include "motion/MotionGuard.h"

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QTimer>

class CMain;

/// The joystick, as QML knows it: what the device reads, what its axes and buttons are assigned to,
/// and the driver that turns both into commands of the backend. It steers as long as it lives and
/// has backend and guard, whatever page is shown, so the console needs one, beside the window. GUI
/// thread only.
///
/// Buttons send their commands to the backend. Axes begin and end motions with the window's guard,
/// beside keys and drags; without a guard they move nothing. Nothing is sent without a link. The
/// assignment is kept in the group "Joystick" of device_config.ini in the working directory: read
/// at construction, written at each change.
class JoystickInput : public QObject
{
    Q_OBJECT

    /// Whether this build can read joysticks at all.
    Q_PROPERTY(bool available READ isAvailable CONSTANT)
    Q_PROPERTY(bool connected READ isConnected NOTIFY connectedChanged)
    Q_PROPERTY(QString deviceName READ deviceName NOTIFY connectedChanged)
    /// X, Y, Z, R, U: -1..1 after the dead zone, before inversion.
    Q_PROPERTY(QList<qreal> axes READ axes NOTIFY axesChanged)
    Q_PROPERTY(QList<bool> buttons READ buttons NOTIFY buttonsChanged)

    /// The CMain to drive.
    Q_PROPERTY(QObject *backend READ backend WRITE setBackend NOTIFY backendChanged)
    /// Zoom speed at full deflection, 1..255. Movement takes the backend's moveSpeed.
    Q_PROPERTY(int zoomSpeed READ zoomSpeed WRITE setZoomSpeed NOTIFY zoomSpeedChanged)

    /// Per axis: 0 nothing, 1 yaw, 2 pitch, 3 zoom, 4 focus.
    Q_PROPERTY(QList<int> axisFunctions READ axisFunctions NOTIFY assignmentChanged)
    Q_PROPERTY(QList<bool> axisInverted READ axisInverted NOTIFY assignmentChanged)
    /// Per button: a place in actionIds, or -1 for nothing.
    Q_PROPERTY(QList<int> shortActions READ shortActions NOTIFY assignmentChanged)
    Q_PROPERTY(QList<int> longActions READ longActions NOTIFY assignmentChanged)
    Q_PROPERTY(QStringList actionIds READ actionIds CONSTANT)

    /// What the pod does not report; whoever switches it elsewhere tells it here, so that the next
    /// press of the button toggles from there.
    Q_PROPERTY(bool osdOn READ isOsdOn WRITE setOsdOn NOTIFY osdOnChanged)
    Q_PROPERTY(
        bool laserLightOn READ isLaserLightOn WRITE setLaserLightOn NOTIFY laserLightOnChanged)

    /// The MotionGuard whose motions the axes start; of the same window as the backend.
    Q_PROPERTY(QObject *guard READ guard WRITE setGuard NOTIFY guardChanged)

public:
    /// How often a connected device is read.
    static constexpr int kPollIntervalMs = 15;
    /// How often a device is looked for while there is none.
    static constexpr int kScanIntervalMs = 500;

    explicit JoystickInput(QObject *parent = nullptr);
    ~JoystickInput() override;

    bool isAvailable() const { return input::SdlJoystick::isAvailable(); }

    bool isConnected() const { return m_device.isConnected(); }

    QString deviceName() const { return m_device.name(); }

    QList<qreal> axes() const;
    QList<bool> buttons() const;

    QObject *backend() const;
    void setBackend(QObject *backend);

    int zoomSpeed() const { return m_zoomSpeed; }

    void setZoomSpeed(int speed);

    QList<int> axisFunctions() const;
    QList<bool> axisInverted() const;
    QList<int> shortActions() const;
    QList<int> longActions() const;

    QStringList actionIds() const { return input::buttonActionIds(); }

    bool isOsdOn() const { return m_actions.isOsdOn(); }

    void setOsdOn(bool on);

    bool isLaserLightOn() const { return m_actions.isLaserLightOn(); }

    void setLaserLightOn(bool on);

    QObject *guard() const;
    void setGuard(QObject *guard);

    /// A number out of range changes nothing and is warned about.
    Q_INVOKABLE void setAxisFunction(int axis, int function);
    Q_INVOKABLE void setAxisInverted(int axis, bool on);
    Q_INVOKABLE void setButtonAction(int button, bool longPress, int action);

    /// Ends what the joystick has started, as the guard does with every hold when it ends all. An
    /// axis must return to its centre before it steers again.
    Q_INVOKABLE void releaseAll();

signals:
    void connectedChanged();
    void axesChanged();
    void buttonsChanged();
    void backendChanged();
    void zoomSpeedChanged();
    void assignmentChanged();
    void osdOnChanged();
    void laserLightOnChanged();
    void guardChanged();

private slots:
    void handlePoll();
    void handleLinkChanged(bool up);
    void handleStatusChanged();

private:
    void takeDeviceState();
    void takeReadings(const input::JoystickReadings &readings);
    void changeAssignment(const input::JoystickAssignment &assignment);
    bool isLinkUp() const;
    void perform(input::ButtonAction action);
    /// Begins and ends holds of the guard.
    void move(const QList<input::PodCommand> &commands);

    input::SdlJoystick m_device;
    input::JoystickMapping m_mapping;
    input::ActionResolver m_actions;
    input::JoystickReadings m_readings; // after the dead zone
    QPointer<CMain> m_backend;
    QPointer<MotionGuard> m_guard;
    QTimer m_pollTimer;
    QElapsedTimer m_clock;
    int m_zoomSpeed = 4;
};
