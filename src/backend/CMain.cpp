#include "CMain.h"

#include "firmware/local/LocalUpgrade.h"
#include "firmware/online/OnlineUpgrade.h"
#include "link/SerialCommunication.h"
#include "link/TCPCommunication.h"

#include <QAbstractSocket>
#include <QDateTime>
#include <QDebug>
#include <QDir>
#include <QFileInfo>
#include <QScopedValueRollback>
#include <QSerialPort>
#include <QSerialPortInfo>

#include <algorithm>

namespace {

// Before main: the values travel through queued signals and are printed by name.
[[maybe_unused]] const bool kMetaTypesRegistered = [] {
    qRegisterMetaType<CMain::ConnectionType>();
    qRegisterMetaType<QSerialPort::SerialPortError>();
    qRegisterMetaType<QAbstractSocket::SocketError>();
    return true;
}();

QString textOf(CMain::ConnectionType type)
{
    return type == CMain::TCP ? QStringLiteral("TCP") : QStringLiteral("Serial");
}

} // namespace

CMain::CMain(QObject *parent)
    : QObject(parent)
    , m_sbusReadTimer(new QTimer(this))
    , m_staleTimer(new QTimer(this))
    , m_localUpgrade(new LocalUpgrade(this))
    , m_onlineUpgrade(new OnlineUpgrade(this))
{
    createTransport();
    m_sbusReadTimer->setSingleShot(true);
    m_sbusReadTimer->setInterval(kSbusAnswerTimeoutMs);
    connect(m_sbusReadTimer, &QTimer::timeout, this, [this] {
        if (!m_awaitingSbus)
            return;
        m_awaitingSbus = false;
        emit sbusDataError(QStringLiteral("读取超时"));
    });
    m_staleTimer->setSingleShot(true);
    m_staleTimer->setInterval(kStatusStaleMs);
    connect(m_staleTimer, &QTimer::timeout, this, [this] { setStatusStale(true); });
    connect(this, &CMain::connectionChanged, this, &CMain::watchStatus);
    connect(m_localUpgrade, &LocalUpgrade::progressed, this, &CMain::updateProgress);
    connect(m_localUpgrade, &LocalUpgrade::statusChanged, this, &CMain::localUpgradeTextChanged);
    connect(m_onlineUpgrade, &OnlineUpgrade::portMessage, this, &CMain::setMessage);
    connect(m_onlineUpgrade, &OnlineUpgrade::message, this, &CMain::onShowMessage);
    connect(m_onlineUpgrade, &OnlineUpgrade::progress, this, &CMain::updateProgress);
    connect(m_onlineUpgrade, &OnlineUpgrade::runningChanged, this,
            &CMain::onlineUpgradeRunningChanged);
}

CMain::~CMain()
{
    m_transport->QObject::disconnect(this);
    if (m_transport->isConnected())
        closeLink();
    delete m_transport;
    delete m_onlineUpgrade;
}

void CMain::createTransport()
{
    if (m_connectionType == TCP)
        m_transport = new TCPCommunication(this);
    else
        m_transport = new SerialCommunication(this);
    connect(m_transport, &ICommunication::dataReceived, this, &CMain::handleDataReceived);
    connect(m_transport, &ICommunication::errorOccurred, this, &CMain::handleCommunicationError);
    connect(m_transport, &ICommunication::connectionChanged, this,
            &CMain::handleCommunicationConnectionChanged);
}

void CMain::retireTransport()
{
    closeLink();
    // A handler that reacts to the transport's own signal must find it alive on the way back.
    if (m_transportSignalDepth > 0) {
        m_transport->QObject::disconnect(this);
        m_transport->deleteLater();
    } else {
        delete m_transport;
    }
}

bool CMain::isConnected() const { return m_transport->isConnected(); }

QString CMain::connectionType() const { return textOf(m_connectionType); }

void CMain::setConnectionType(const QString &type)
{
    ConnectionType wanted = m_connectionType;
    if (type == textOf(Serial))
        wanted = Serial;
    else if (type == textOf(TCP))
        wanted = TCP;
    if (wanted == m_connectionType)
        return;

    m_connectionType = wanted;
    emit connectionTypeChanged(textOf(wanted));
    retireTransport();
    createTransport();
    qDebug().noquote() << QStringLiteral("切换到") + textOf(wanted) + QStringLiteral("模式");
}

bool CMain::connectSerial(const QString &portName, int baudRate)
{
    setConnectionType(textOf(Serial));
    if (!qobject_cast<SerialCommunication *>(m_transport)) {
        emit sbusDataError(QStringLiteral("不是串口模式"));
        return false;
    }
    return openLink(portName, baudRate);
}

bool CMain::connectTCP(const QString &address, int port)
{
    setConnectionType(textOf(TCP));
    if (!qobject_cast<TCPCommunication *>(m_transport)) {
        emit sbusDataError(QStringLiteral("不是TCP模式"));
        return false;
    }
    return openLink(address, port);
}

bool CMain::openLink(const QString &target, int value)
{
    const Wishes::Wish wish = m_linkWishes.next();
    sendStops(m_motions.unsentStops());
    m_motions.turnTo(podAt(target, value));
    m_isOpeningLink = true;
    m_owesBeginning = true;
    const bool connected = m_transport->connectTo(target, value);
    // Connecting serves events, and its signals reach handlers: both may have other wishes.
    if (!wish.isNewest())
        return false;
    m_isOpeningLink = false;
    if (!connected || !m_transport->isConnected())
        return false;
    // The transport has reported the new state already; QML is told a second time on purpose.
    m_isConnected = true;
    emit connectionChanged(true);
    return true;
}

void CMain::closeLink()
{
    m_linkWishes.next();
    m_isOpeningLink = false;
    sendStops(m_motions.unsentStops());
    m_transport->disconnectFrom();
}

QString CMain::podAt(const QString &target, int value) const
{
    // The name of a serial port does not identify a pod: another one may be plugged in tomorrow.
    return m_connectionType == TCP ? QStringLiteral("%1:%2").arg(target).arg(quint16(value))
                                   : QString();
}

void CMain::sendStops(const motion::MotionLedger::Stops &stops)
{
    for (const std::optional<protocol::Command> stop : stops) {
        // Asked each time: sending one may be what finds that the link is gone.
        if (stop && m_transport->isConnected())
            send(*stop);
    }
}

void CMain::disconnect()
{
    qDebug() << "CMain::disconnect called";
    if (m_disconnecting) {
        qDebug() << "Already disconnecting, skip";
        return;
    }
    m_disconnecting = true;
    if (m_transport->isConnected() || m_isOpeningLink)
        closeLink();
    QTimer::singleShot(kDisconnectGuardMs, this, [this] { m_disconnecting = false; });
}

bool CMain::isSerialPort(const QString &name) const
{
    const auto ports = QSerialPortInfo::availablePorts();
    return std::any_of(ports.begin(), ports.end(),
                       [&name](const QSerialPortInfo &port) {
                           return name.compare(port.portName(), Qt::CaseInsensitive) == 0
                                  || name == port.systemLocation();
                       })
           || (QDir::isAbsolutePath(name) && QFileInfo::exists(name) && !QFileInfo(name).isFile()
               && !QFileInfo(name).isDir());
}

QVariantList CMain::getAvailablePorts()
{
    QVariantList names;
    for (const QSerialPortInfo &port : QSerialPortInfo::availablePorts())
        names.append(port.portName());
    return names;
}

void CMain::resetConnection()
{
    qDebug() << "=== 重置连接 ===";
    ICommunication *const old = m_transport;
    closeLink();
    // Unless a handler of that very signal has replaced it already.
    if (m_transport == old) {
        old->QObject::disconnect(this);
        createTransport();
        old->deleteLater();
    }
    m_isConnected = false;
    emit connectionChanged(false);
    qDebug() << "连接重置完成";
}

bool CMain::send(const QByteArray &frame)
{
    if (!m_transport->isConnected()) {
        emit sbusDataError(QStringLiteral("未连接，无法发送数据"));
        return false;
    }
    ++m_linkStatistics.framesOut;
    m_linkStatistics.bytesOut += quint64(frame.size());
    m_transport->sendData(frame);
    if (m_watcher.sent)
        m_watcher.sent(frame);
    return true;
}

bool CMain::send(protocol::Command command, int argument0, int argument1)
{
    if (m_transport->isConnected())
        m_motions.sending(command);
    return send(protocol::buildCommand(command, argument0, argument1));
}

void CMain::sendList(const protocol::LongCommandSpec &spec, const QVariantList &list)
{
    if (const auto frame = protocol::buildListCommand(spec, list))
        send(*frame);
    else
        emit sbusDataError(QStringLiteral("数据长度不足，需要%1项，实际%2项")
                               .arg(spec.payloadLength)
                               .arg(list.size()));
}

void CMain::setTime() { send(protocol::buildSetTime(QDateTime::currentDateTime())); }

void CMain::setSbus(const QVariantList &sbus_channels)
{
    sendList(protocol::kSetSbus, sbus_channels);
}

void CMain::setB7N(const QVariantList &b7n_channels) { sendList(protocol::kSetB7N, b7n_channels); }

void CMain::querySbusData()
{
    if (!send(protocol::Command::QuerySbusData))
        return;
    m_awaitingSbus = true;
    m_sbusReadTimer->start();
}

void CMain::queryVersion() { send(protocol::Command::QueryVersion); }

void CMain::queryB7N() { send(protocol::Command::QueryB7N); }

QJsonObject CMain::getMapData()
{
    constexpr int kSectorAngleDegrees = 45;
    return {
        {QStringLiteral("defaultLat"), m_targetLatitude},
        {QStringLiteral("defaultLon"), m_targetLongitude},
        {QStringLiteral("sharedLat"), m_plane.latitude},
        {QStringLiteral("sharedLon"), m_plane.longitude},
        {QStringLiteral("dotLat"), m_targetLatitude},
        {QStringLiteral("dotLon"), m_targetLatitude}, // the latitude, as the map view expects it
        {QStringLiteral("airplaneHeading"), m_plane.yaw},
        {QStringLiteral("sectorHeading"), m_yaw + m_plane.yaw},
        {QStringLiteral("sectorAngle"), kSectorAngleDegrees},
    };
}

QVariantList CMain::sbusChannels() const
{
    QVariantList list;
    for (const int channel : m_sbus.channels)
        list.append(channel);
    return list;
}

void CMain::setMessage(const QString &message)
{
    if (message.isEmpty() || message == m_message)
        return;
    m_message = message;
    emit messageChanged(m_message);
}

void CMain::setIsEE0A(bool on)
{
    m_isEE0A = on;
    emit isEE0AChanged();
}

void CMain::setIsTracking(bool on)
{
    m_isTracking = on;
    emit isTrackingChanged();
}

void CMain::setIsManualFocus(bool on)
{
    m_isManualFocus = on;
    emit isManualFocusChanged();
}

void CMain::setMoveSpeed(int speed)
{
    if (speed == m_moveSpeed)
        return;
    m_moveSpeed = speed;
    emit moveSpeedChanged();
}

void CMain::setLanguageIndex(int index)
{
    if (index == m_languageIndex)
        return;
    m_languageIndex = index;
    emit languageIndexChanged();
}

void CMain::onShowMessage(const QString &message)
{
    qDebug() << "显示:" << message;
    setMessage(message);
}

void CMain::updateProgress(int percent)
{
    if (percent == m_upgradeProgress)
        return;
    m_upgradeProgress = percent;
    emit upgradeProgressChanged(percent);
}

void CMain::beginUpdate() { m_onlineUpgrade->start(); }

void CMain::completeUpdate()
{
    setMessage(QStringLiteral(" "));
    updateProgress(0);
    m_onlineUpgrade->stop();
}

void CMain::updateFirmwareByCom(const QString &portname, int baud, const QString &filepath)
{
    // The pod's port may be the one that the link holds.
    if (m_connectionType == Serial && m_transport->isConnected())
        closeLink();
    m_localUpgrade->start(portname, baud, filepath);
}

QString CMain::localUpgradeText() const { return m_localUpgrade->statusText(); }

bool CMain::localUpgradeRunning() const { return m_localUpgrade->isRunning(); }

bool CMain::onlineUpgradeRunning() const { return m_onlineUpgrade->isRunning(); }
