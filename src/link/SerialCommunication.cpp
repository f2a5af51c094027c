#include "SerialCommunication.h"

#include "log/DefaultLog.h"
#include "serial/SerialLine.h"

#include <QDebug>
#include <QMetaType>
#include <QSignalBlocker>

SerialCommunication::SerialCommunication(QObject *parent)
    : ICommunication(parent)
{
    createPort();
}

SerialCommunication::~SerialCommunication() { closePort(); }

void SerialCommunication::createPort()
{
    m_port = new QSerialPort(this);
    connect(m_port, &QSerialPort::readyRead, this, &SerialCommunication::handleReadyRead);
    connect(m_port, &QSerialPort::errorOccurred, this, &SerialCommunication::handleError);
    serial_line::watch(*m_port);
}

bool SerialCommunication::connectTo(const QString &portName, int baudRate)
{
    if (!m_port)
        createPort();
    if (m_port->isOpen()) {
        qDebug() << "串口还在打开状态，强制关闭";
        closePort();
    }
    m_port->setPortName(portName);
    serial_line::apply({.baudRate = baudRate}, *m_port);
    if (!m_port->open(QIODevice::ReadWrite)) {
        const QString error = m_port->errorString();
        qDebug() << "串口连接失败:" << error;
        m_connected = false;
        emit connectionChanged(false);
        emit errorOccurred(error);
        return false;
    }
    m_connected = true;
    emit connectionChanged(true);
    qDebug() << "串口连接成功:" << portName;
    return true;
}

void SerialCommunication::disconnectFrom()
{
    closePort();
    m_connected = false;
    emit connectionChanged(false);
    qDebug() << "串口已断开";
}

void SerialCommunication::closePort()
{
    if (!m_port || !m_port->isOpen())
        return;
    // A port that we close ourselves has no errors to report any more.
    const QSignalBlocker quiet(m_port);
    // Closing discards what has not been written yet, and that may be a stop.
    if (m_port->bytesToWrite() > 0)
        m_port->waitForBytesWritten(kLastBytesMs);
    m_port->close();
}

bool SerialCommunication::isConnected() const
{
    return m_connected && m_port != nullptr && m_port->isOpen();
}

void SerialCommunication::sendData(const QByteArray &data)
{
    if (!isConnected()) {
        emit errorOccurred(QStringLiteral("串口未连接，无法发送数据"));
        return;
    }
    qCDebug(defaultLog) << "Serial write:" << data.toHex();
    m_port->write(data);
}

QString SerialCommunication::typeName() const { return QStringLiteral("Serial"); }

void SerialCommunication::handleReadyRead()
{
    if (!m_port || !m_port->isOpen())
        return;
    QByteArray block = m_port->readAll();
    block.resize(kBlockLength, '\0');
    qCDebug(defaultLog) << "串口收到数据:" << block.size() << "字节";
    emit dataReceived(block);
}

void SerialCommunication::handleError(QSerialPort::SerialPortError error)
{
    if (error == QSerialPort::NoError)
        return;
    const auto loss = m_port ? serial_line::loss(*m_port, error) : std::nullopt;
    const QString text =
        loss ? *loss : (m_port ? m_port->errorString() : QStringLiteral("未知错误"));
    qDebug() << "串口错误:" << text << "错误码:" << error;

    if (!loss && error != QSerialPort::OpenError) {
        qDebug() << "串口其他错误，连接可能仍在";
        emit errorOccurred(text);
        return;
    }
    if (m_port && m_port->isOpen()) {
        m_port->close();
        qDebug() << "串口已强制关闭";
    }
    if (m_connected) {
        m_connected = false;
        emit connectionChanged(false);
    }
    emit errorOccurred(QStringLiteral("串口连接丢失: ") + text);
}
