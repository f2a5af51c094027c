#include "SerialPortCommunicator.h"

#include "PodPortFinder.h"

#include <QDebug>
#include <QTimerEvent>

namespace {

constexpr qint64 kReadBufferSize = 4096; // bytes; frames are short and read at once

[[maybe_unused]] const bool kMetaTypesRegistered = [] {
    qRegisterMetaType<SerialPortCommunicator::SerialStatus>();
    qRegisterMetaType<SerialPortCommunicator::Statistics>();
    return true;
}();

QTimer *makeSingleShot(QObject *parent)
{
    auto *timer = new QTimer(parent);
    timer->setTimerType(Qt::PreciseTimer);
    timer->setSingleShot(true);
    return timer;
}

} // namespace

SerialPortCommunicator::SerialPortCommunicator(const QString &portName, QObject *parent)
    : QObject(parent)
    , m_portName(portName)
{
    createPort();
    m_reconnectTimer = makeSingleShot(this);
    connect(m_reconnectTimer, &QTimer::timeout, this, &SerialPortCommunicator::onReconnectTimeout);
    m_restartTimer = makeSingleShot(this);
    connect(m_restartTimer, &QTimer::timeout, this, [this] { open(); });
    m_breakTimer = makeSingleShot(this);
    connect(m_breakTimer, &QTimer::timeout, this, [this] {
        const SignalGate::Operation operation(m_gate);
        if (m_port->isOpen())
            m_port->setBreakEnabled(false);
    });
    findPortInfo();
}

SerialPortCommunicator::~SerialPortCommunicator()
{
    m_reconnectTimer->stop();
    m_port->disconnect(this);
    if (m_port->isOpen())
        m_port->close();
}

void SerialPortCommunicator::createPort()
{
    m_port = new QSerialPort(m_portName, this);
    qDebug() << "设定串口：" << m_portName;
    m_portSettings.readBufferSize = kReadBufferSize;
    applySettings(m_portSettings);
    m_port->setReadBufferSize(kReadBufferSize);
    connect(m_port, &QSerialPort::readyRead, this, &SerialPortCommunicator::onReadyRead);
    connect(m_port, &QSerialPort::bytesWritten, this, &SerialPortCommunicator::onBytesWritten);
    connect(m_port, &QSerialPort::errorOccurred, this, &SerialPortCommunicator::passErrorOn);
    serial_line::watch(*m_port);
    m_times.opened = QDateTime::currentDateTime();
}

void SerialPortCommunicator::passErrorOn(QSerialPort::SerialPortError error)
{
    const SignalGate::Operation operation(m_gate);
    const auto loss = serial_line::loss(*m_port, error);
    if (loss && (error == QSerialPort::ReadError || error == QSerialPort::ResourceError)) {
        error = QSerialPort::ResourceError;
        m_hangupText = *loss;
        m_port->close(); // or the error is repeated without end
    }
    m_gate.post([this, error] { emit errorOccurred(error); });
}

void SerialPortCommunicator::findPortInfo()
{
    for (const QSerialPortInfo &info : QSerialPortInfo::availablePorts()) {
        if (info.portName() != m_portName)
            continue;
        qDebug().noquote() << "got serial info pid,vid:"
                           << QStringLiteral("0x") + pod_port::idText(info.productIdentifier())
                           << QStringLiteral("0x") + pod_port::idText(info.vendorIdentifier());
        m_portInfo = info;
        return;
    }
}

void SerialPortCommunicator::applySettings(const PortSettings &settings)
{
    const SignalGate::Operation operation(m_gate);
    m_portSettings.reconnectIntervalMs = settings.reconnectIntervalMs;
    m_portSettings.readBufferSize = settings.readBufferSize;
    serial_line::apply(settings.line, *m_port);
    m_autoReconnect = settings.autoReconnect;
}

bool SerialPortCommunicator::open(const PortSettings &settings)
{
    const SignalGate::Operation operation(m_gate);
    applySettings(settings);
    if (m_port->isOpen() && m_status == SerialStatus::Open) {
        qWarning() << "Serial port" << m_portName << "is already open or connecting";
        return false;
    }
    m_status = SerialStatus::Opening;
    m_hangupText.clear();
    openLocked();
    return m_status == SerialStatus::Open;
}

void SerialPortCommunicator::openLocked()
{
    // An error leaves the port open; only a closed one can be opened again.
    if (m_port->isOpen())
        m_port->close();
    if (!m_port->open(QIODevice::ReadWrite)) {
        const QString error = m_port->errorString();
        failLocked(error);
        qWarning() << "Failed to open serial port" << m_portName << ":" << error;
        scheduleReconnection();
        return;
    }
    m_port->setReadBufferSize(m_portSettings.readBufferSize);
    m_times.opened = QDateTime::currentDateTime();
    m_gate.post([this] { emit opened(m_portName); });
    setStatusLocked(SerialStatus::Open);
    qDebug() << "Serial port" << m_portName << "opened successfully";
}

void SerialPortCommunicator::failLocked(const QString &error)
{
    m_gate.post([this, error] { emit connectionError(m_portName, error); });
    setStatusLocked(SerialStatus::Error);
}

void SerialPortCommunicator::setStatusLocked(SerialStatus status)
{
    m_status = status;
    m_gate.post([this, status] { emit statusChanged(status); });
}

void SerialPortCommunicator::close()
{
    const SignalGate::Operation operation(m_gate);
    m_restartTimer->stop();
    m_breakTimer->stop();
    m_reconnectTimer->stop();
    if (!m_port->isOpen())
        return;
    m_port->close();
    m_gate.post([this] { emit closed(m_portName); });
    setStatusLocked(SerialStatus::Closed);
    qDebug() << "Serial port" << m_portName << "closed";
}

bool SerialPortCommunicator::isOpen() const
{
    const SignalGate::Operation operation(m_gate);
    return m_port->isOpen();
}

qint64 SerialPortCommunicator::write(const QByteArray &bytes)
{
    const SignalGate::Operation operation(m_gate);
    return m_port->isOpen() ? m_port->write(bytes) : -1;
}

QString SerialPortCommunicator::errorString() const
{
    const SignalGate::Operation operation(m_gate);
    return m_hangupText.isEmpty() ? m_port->errorString() : m_hangupText;
}

SerialPortCommunicator::SerialStatus SerialPortCommunicator::status() const
{
    const SignalGate::Operation operation(m_gate);
    return m_status;
}

SerialPortCommunicator::Statistics SerialPortCommunicator::statistics() const
{
    const SignalGate::Operation operation(m_gate);
    return m_statistics;
}

SerialPortCommunicator::ActivityTimes SerialPortCommunicator::activityTimes() const
{
    const SignalGate::Operation operation(m_gate);
    return m_times;
}

void SerialPortCommunicator::clearBuffers()
{
    const SignalGate::Operation operation(m_gate);
    if (m_port->isOpen())
        m_port->clear(QSerialPort::AllDirections);
}

void SerialPortCommunicator::flush()
{
    const SignalGate::Operation operation(m_gate);
    if (m_port->isOpen())
        m_port->flush();
}

void SerialPortCommunicator::restart()
{
    const SignalGate::Operation operation(m_gate);
    close();
    m_restartTimer->start(kRestartPauseMs);
}

void SerialPortCommunicator::sendBreak(int durationMs)
{
    const SignalGate::Operation operation(m_gate);
    if (!m_port->isOpen())
        return;
    m_port->setBreakEnabled(true);
    m_breakTimer->start(durationMs);
}

void SerialPortCommunicator::onReadyRead()
{
    const SignalGate::Operation operation(m_gate);
    if (!m_readingEnabled || m_port->bytesAvailable() <= 0)
        return;
    m_gate.post([this] { emit readyRead(); });
    const QByteArray data = m_port->readAll();
    if (data.isEmpty())
        return;
    m_statistics.bytesReceived += data.size();
    ++m_statistics.readEvents;
    m_times.read = QDateTime::currentDateTime();
    m_gate.post([this, data, statistics = m_statistics] {
        emit statisticsUpdated(statistics);
        emit dataReceived(data);
    });
}

void SerialPortCommunicator::onBytesWritten(qint64 bytes)
{
    const SignalGate::Operation operation(m_gate);
    if (bytes <= 0)
        return;
    m_statistics.bytesWritten += bytes;
    ++m_statistics.writeEvents;
    m_times.written = QDateTime::currentDateTime();
    m_gate.post([this, bytes, statistics = m_statistics] {
        emit statisticsUpdated(statistics);
        emit dataWritten(bytes);
    });
}

void SerialPortCommunicator::onErrorOccurred(QSerialPort::SerialPortError error)
{
    if (error == QSerialPort::NoError)
        return;
    const SignalGate::Operation operation(m_gate);
    ++m_statistics.errors;
    const QString text = errorString();
    qWarning() << "Serial port error:" << m_portName << "-" << text;
    if (!serial_line::meansLoss(error))
        return;
    failLocked(text);
    scheduleReconnection();
}

void SerialPortCommunicator::scheduleReconnection()
{
    m_reconnectTimer->stop();
    if (m_autoReconnect && m_portSettings.reconnectIntervalMs >= 1)
        m_reconnectTimer->start(m_portSettings.reconnectIntervalMs);
}

void SerialPortCommunicator::onReconnectTimeout()
{
    qDebug() << "Attempting to reconnect serial port:" << m_portName;
    open();
}

void SerialPortCommunicator::timerEvent(QTimerEvent *event)
{
    if (event->timerId() == m_timerId)
        onReconnectTimeout();
    QObject::timerEvent(event);
}
