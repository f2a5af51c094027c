#include "JoystickInput.h"

#include "backend/CMain.h"

#include <QCoreApplication>
#include <QDebug>
#include <QSettings>

#include <algorithm>
#include <utility>

using input::ButtonAction;
using input::JoystickAssignment;
using input::PodCommand;

namespace {

QSettings settingsFile()
{
    return QSettings(QStringLiteral("device_config.ini"), QSettings::IniFormat);
}

/// One field of every entry of an array, as the list that QML sees.
template<typename Value, typename Entries, typename Field>
QList<Value> listOf(const Entries &entries, Field field)
{
    QList<Value> list;
    for (const auto &entry : entries)
        list.append(static_cast<Value>(entry.*field));
    return list;
}

bool isIndex(int value, int count) { return value >= 0 && value < count; }

/// Motions of different kinds run side by side, so each is a source of its own.
QString sourceOf(const motion::Motion &motion)
{
    return QStringLiteral("joystick.%1").arg(int(motion.kind));
}

/// The arguments that the command carries.
QVariantList speedsOf(const PodCommand &command)
{
    const protocol::CommandSpec &entry = protocol::commandSpec(command.command);
    const auto carries = [&entry](protocol::DataByte::Source source) {
        return entry.data1.source == source || entry.data2.source == source;
    };
    QVariantList speeds;
    if (carries(protocol::DataByte::Argument0))
        speeds.append(command.argument0);
    if (carries(protocol::DataByte::Argument1))
        speeds.append(command.argument1);
    return speeds;
}

} // namespace

JoystickInput::JoystickInput(QObject *parent)
    : QObject(parent)
{
    QSettings settings = settingsFile();
    m_mapping.setAssignment(input::loadAssignment(settings));
    m_clock.start();
    if (!isAvailable())
        return;
    connect(&m_pollTimer, &QTimer::timeout, this, &JoystickInput::handlePoll);
    m_pollTimer.start(kScanIntervalMs);
    // The backend and its link still live at that moment.
    connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, this,
            &JoystickInput::releaseAll);
    takeDeviceState();
}

JoystickInput::~JoystickInput() { releaseAll(); }

QList<qreal> JoystickInput::axes() const
{
    return QList<qreal>(m_readings.axes.begin(), m_readings.axes.end());
}

QList<bool> JoystickInput::buttons() const
{
    return QList<bool>(m_readings.buttons.begin(), m_readings.buttons.end());
}

QObject *JoystickInput::backend() const { return m_backend; }

void JoystickInput::setBackend(QObject *backend)
{
    auto *const next = qobject_cast<CMain *>(backend);
    if (backend && !next)
        qWarning() << "joystick: not a backend:" << backend;
    if (next == m_backend)
        return;
    releaseAll();
    if (m_backend)
        m_backend->QObject::disconnect(this);
    m_backend = next;
    if (m_backend) {
        connect(m_backend, &CMain::connectionChanged, this, &JoystickInput::handleLinkChanged);
        connect(m_backend, &CMain::statusChanged, this, &JoystickInput::handleStatusChanged);
        handleStatusChanged();
    }
    emit backendChanged();
}

QObject *JoystickInput::guard() const { return m_guard; }

void JoystickInput::setGuard(QObject *guard)
{
    auto *const next = qobject_cast<MotionGuard *>(guard);
    if (guard && !next)
        qWarning() << "joystick: not a guard:" << guard;
    if (next == m_guard)
        return;
    releaseAll();
    if (m_guard)
        m_guard->disconnect(this);
    m_guard = next;
    if (next)
        connect(next, &MotionGuard::allReleased, this, &JoystickInput::releaseAll);
    emit guardChanged();
}

void JoystickInput::setZoomSpeed(int speed)
{
    const int bounded = std::clamp(speed, 1, 255);
    if (bounded == m_zoomSpeed)
        return;
    m_zoomSpeed = bounded;
    emit zoomSpeedChanged();
}

QList<int> JoystickInput::axisFunctions() const
{
    return listOf<int>(m_mapping.assignment().axes, &input::AxisAssignment::function);
}

QList<bool> JoystickInput::axisInverted() const
{
    return listOf<bool>(m_mapping.assignment().axes, &input::AxisAssignment::inverted);
}

QList<int> JoystickInput::shortActions() const
{
    return listOf<int>(m_mapping.assignment().buttons, &input::ButtonAssignment::shortPress);
}

QList<int> JoystickInput::longActions() const
{
    return listOf<int>(m_mapping.assignment().buttons, &input::ButtonAssignment::longPress);
}

void JoystickInput::setOsdOn(bool on)
{
    if (on == m_actions.isOsdOn())
        return;
    m_actions.setOsdOn(on);
    emit osdOnChanged();
}

void JoystickInput::setLaserLightOn(bool on)
{
    if (on == m_actions.isLaserLightOn())
        return;
    m_actions.setLaserLightOn(on);
    emit laserLightOnChanged();
}

void JoystickInput::setAxisFunction(int axis, int function)
{
    const auto wanted = input::axisFunctionAt(function);
    if (!isIndex(axis, input::kAxisCount) || !wanted) {
        qWarning() << "joystick: no axis" << axis << "or no function" << function;
        return;
    }
    JoystickAssignment assignment = m_mapping.assignment();
    assignment.axes[static_cast<std::size_t>(axis)].function = *wanted;
    changeAssignment(assignment);
}

void JoystickInput::setAxisInverted(int axis, bool on)
{
    if (!isIndex(axis, input::kAxisCount)) {
        qWarning() << "joystick: no axis" << axis;
        return;
    }
    JoystickAssignment assignment = m_mapping.assignment();
    assignment.axes[static_cast<std::size_t>(axis)].inverted = on;
    changeAssignment(assignment);
}

void JoystickInput::setButtonAction(int button, bool longPress, int action)
{
    const auto wanted = input::buttonActionAt(action);
    if (!isIndex(button, input::kButtonCount) || !wanted) {
        qWarning() << "joystick: no button" << button << "or no action" << action;
        return;
    }
    JoystickAssignment assignment = m_mapping.assignment();
    input::ButtonAssignment &entry = assignment.buttons[static_cast<std::size_t>(button)];
    (longPress ? entry.longPress : entry.shortPress) = *wanted;
    changeAssignment(assignment);
}

void JoystickInput::changeAssignment(const JoystickAssignment &assignment)
{
    if (assignment == m_mapping.assignment())
        return;
    move(m_mapping.setAssignment(assignment));
    QSettings settings = settingsFile();
    if (!input::saveAssignment(settings, assignment))
        qWarning() << "cannot write settings file" << settings.fileName();
    emit assignmentChanged();
}

void JoystickInput::releaseAll() { move(m_mapping.release()); }

void JoystickInput::handlePoll()
{
    takeDeviceState();
    if (!isConnected() || !isLinkUp())
        return;
    const input::SpeedLimits limits{m_backend->moveSpeed(), m_zoomSpeed};
    const input::JoystickEvents events =
        m_mapping.update(m_device.readings(), limits, m_clock.elapsed());
    move(events.motions);
    for (const ButtonAction action : events.actions)
        perform(action);
}

void JoystickInput::takeDeviceState()
{
    if (m_device.poll()) {
        releaseAll();
        m_pollTimer.setInterval(isConnected() ? kPollIntervalMs : kScanIntervalMs);
        emit connectedChanged();
    }
    takeReadings(m_device.readings());
}

void JoystickInput::takeReadings(const input::JoystickReadings &readings)
{
    input::JoystickReadings shown = readings;
    std::ranges::transform(shown.axes, shown.axes.begin(), input::withoutDeadZone);
    const bool axesMoved = shown.axes != m_readings.axes;
    const bool buttonsMoved = shown.buttons != m_readings.buttons;
    m_readings = shown;
    if (axesMoved)
        emit axesChanged();
    if (buttonsMoved)
        emit buttonsChanged();
}

bool JoystickInput::isLinkUp() const { return m_backend != nullptr && m_backend->isConnected(); }

void JoystickInput::handleLinkChanged(bool up)
{
    // The stops of what moved are the backend's to send when the link is back.
    if (!up)
        m_mapping.release();
}

void JoystickInput::handleStatusChanged() { m_actions.setWorkMode(m_backend->workMode()); }

void JoystickInput::perform(ButtonAction action)
{
    const bool osdOn = m_actions.isOsdOn();
    const bool laserLightOn = m_actions.isLaserLightOn();
    if (const auto command = m_actions.resolve(action, m_backend->recording()))
        m_backend->send(command->command, command->argument0, command->argument1);
    if (osdOn != m_actions.isOsdOn())
        emit osdOnChanged();
    if (laserLightOn != m_actions.isLaserLightOn())
        emit laserLightOnChanged();
}

void JoystickInput::move(const QList<PodCommand> &commands)
{
    for (const PodCommand &command : commands) {
        const motion::Started started = motion::startedBy(command.command);
        const motion::Motion *const stopped = motion::stoppedBy(command.command);
        // Asked each time: a signal that an earlier command raises may close the link.
        if (!m_guard || !isLinkUp())
            return;
        if (started) {
            const std::string_view name = started.start->name;
            m_guard->press(sourceOf(*started.motion),
                           QString::fromLatin1(name.data(), qsizetype(name.size())),
                           speedsOf(command));
        } else if (stopped) {
            m_guard->release(sourceOf(*stopped));
        }
    }
}
