#include "TCPCommunication.h"

#include "KeepAlive.h"
#include "async/BackgroundCall.h"
#include "log/DefaultLog.h"

#include <QDebug>

TCPCommunication::TCPCommunication(QObject *parent)
    : ICommunication(parent)
{
    createSocket();
}

TCPCommunication::~TCPCommunication()
{
    if (m_answered)
        m_answered->open();
    if (m_socket) {
        m_socket->blockSignals(true);
        m_socket->abort();
    }
}

void TCPCommunication::createSocket()
{
    m_socket = new QTcpSocket(this);
    connect(m_socket, &QTcpSocket::readyRead, this, &TCPCommunication::handleReadyRead);
    connect(m_socket, &QTcpSocket::connected, this, &TCPCommunication::handleConnected);
    connect(m_socket, &QTcpSocket::disconnected, this, &TCPCommunication::handleDisconnected);
    connect(m_socket, &QTcpSocket::errorOccurred, this, &TCPCommunication::handleError);
}

bool TCPCommunication::connectTo(const QString &host, int port)
{
    const Wishes::Wish wish = m_wishes.next();
    closeSocket();
    if (!wish.isNewest())
        return false;
    if (!m_socket)
        createSocket();
    // A peer that does not read leaves unsent bytes behind, and with them a socket that closes
    // only when they are gone; the new connection must not wait for that.
    if (m_socket->state() != QAbstractSocket::UnconnectedState)
        m_socket->abort();

    m_lastHost = host;
    m_lastPort = static_cast<quint16>(port);
    qDebug() << "正在连接TCP服务器:" << m_lastHost << ":" << m_lastPort;
    const bool answeredInTime = waitForConnected(wish);
    if (!wish.isNewest())
        return false;
    if (m_socket->state() != QAbstractSocket::ConnectedState) {
        const QString error =
            answeredInTime ? m_socket->errorString() : QTcpSocket::tr("Socket operation timed out");
        m_socket->abort();
        emit errorOccurred(error);
        return false;
    }
    m_connected = true;
    emit connectionChanged(true);
    qDebug() << "TCP连接成功";
    return wish.isNewest();
}

bool TCPCommunication::waitForConnected(const Wishes::Wish &wish)
{
    const auto answered = std::make_shared<Gate>();
    m_answered = answered;
    m_socket->connectToHost(m_lastHost, static_cast<quint16>(m_lastPort));
    const Gate::Result result = answered->waitServingEvents(kConnectTimeoutMs);
    if (wish.ownerIsAlive() && m_answered == answered)
        m_answered.reset();
    return result == Gate::Result::Opened;
}

void TCPCommunication::disconnectFrom()
{
    m_wishes.next();
    closeSocket();
}

void TCPCommunication::closeSocket()
{
    if (m_answered)
        m_answered->open();
    if (!m_socket)
        return;
    if (m_socket->state() != QAbstractSocket::UnconnectedState)
        m_socket->disconnectFromHost();
    if (m_socket->bytesAvailable() > 0)
        m_socket->readAll();
    m_connected = false;
    emit connectionChanged(false);
}

bool TCPCommunication::isConnected() const
{
    return m_connected && m_socket != nullptr
           && m_socket->state() == QAbstractSocket::ConnectedState;
}

void TCPCommunication::sendData(const QByteArray &data)
{
    if (!isConnected()) {
        emit errorOccurred(QStringLiteral("TCP未连接"));
        return;
    }
    qCDebug(defaultLog) << "TCP发送:" << data.toHex(' ').toUpper();
    m_socket->write(data);
    m_socket->flush();
}

QString TCPCommunication::typeName() const { return QStringLiteral("TCP"); }

void TCPCommunication::handleReadyRead()
{
    if (!m_socket)
        return;
    const QByteArray data = m_socket->readAll();
    if (!data.isEmpty())
        emit dataReceived(data);
}

void TCPCommunication::handleError(QAbstractSocket::SocketError error)
{
    const QString text = m_socket ? m_socket->errorString() : QString();
    qDebug() << "TCP错误:" << text;
    if (m_answered)
        m_answered->open();
    const bool reportedElsewhere = error == QAbstractSocket::RemoteHostClosedError
                                   || error == QAbstractSocket::SocketTimeoutError;
    if (reportedElsewhere || !m_connected)
        return;
    m_connected = false;
    emit connectionChanged(false);
    emit errorOccurred(text);
}

void TCPCommunication::handleConnected()
{
    // The option takes effect only on a socket that exists, which is not before now.
    m_socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    keep_alive::enable(*m_socket);
    if (m_answered)
        m_answered->open();
    if (m_connected)
        return;
    m_connected = true;
    emit connectionChanged(true);
    qDebug() << "TCP连接成功";
}

void TCPCommunication::handleDisconnected()
{
    qDebug() << "handleDisconnected called";
    if (m_closing || !m_connected)
        return;
    m_connected = false;
    emit connectionChanged(false);
    qDebug() << "TCP连接断开";
}
