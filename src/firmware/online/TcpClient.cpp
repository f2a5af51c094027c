#include "TcpClient.h"

#include <QDebug>
#include <QTcpSocket>

namespace {

const QByteArray kUidMessageType = QByteArrayLiteral("\x01\x00\x00\x00");

} // namespace

TcpClient::TcpClient(QObject *parent)
    : QObject(parent)
    , m_reconnectTimer(new QTimer(this))
    , m_cleanupTimer(new QTimer(this))
{
    createSocket();
    m_reconnectTimer->setTimerType(Qt::PreciseTimer);
    m_cleanupTimer->setTimerType(Qt::PreciseTimer);
    m_reconnectTimer->setSingleShot(true);
    m_reconnectTimer->setInterval(kReconnectMs);
    connect(m_reconnectTimer, &QTimer::timeout, this, &TcpClient::attemptReconnect);
    m_cleanupTimer->setSingleShot(true);
    m_cleanupTimer->setInterval(kCleanupPauseMs);
    connect(m_cleanupTimer, &QTimer::timeout, this, &TcpClient::openConnection);
}

TcpClient::~TcpClient()
{
    disconnectFromServer();
    // The socket dies after this object's members and must not report its end to them.
    m_socket->disconnect();
}

void TcpClient::createSocket()
{
    m_socket = new QTcpSocket(this);
    connect(m_socket, &QTcpSocket::connected, this, &TcpClient::onConnected);
    connect(m_socket, &QTcpSocket::disconnected, this, &TcpClient::onDisconnected);
    connect(m_socket, &QTcpSocket::readyRead, this, &TcpClient::onReadyRead);
    connect(m_socket, &QTcpSocket::stateChanged, this, &TcpClient::reportError,
            Qt::DirectConnection);
}

void TcpClient::connectToServer(const QString &host, quint16 port)
{
    if (m_manualDisconnect) {
        qDebug() << "手动断连，跳过自动重连";
        return;
    }
    m_host = host;
    m_port = port;
    m_cleanupTimer->stop();
    if (m_socket->state() == QAbstractSocket::UnconnectedState) {
        openConnection();
        return;
    }
    replaceSocket();
    m_cleanupTimer->start();
}

void TcpClient::replaceSocket()
{
    qDebug() << "清理旧连接...";
    m_socket->disconnect(this);
    m_socket->abort();
    m_socket->deleteLater();
    createSocket();
}

void TcpClient::openConnection()
{
    qDebug() << "Connecting to server:" << m_host << ":" << m_port;
    m_socket->connectToHost(m_host, m_port, QIODevice::ReadWrite, QAbstractSocket::AnyIPProtocol);
}

void TcpClient::disconnectFromServer()
{
    m_manualDisconnect = true;
    m_reconnectTimer->stop();
    m_cleanupTimer->stop();
    m_socket->disconnectFromHost();
}

bool TcpClient::isUnconnected() const
{
    return m_socket->state() == QAbstractSocket::UnconnectedState;
}

bool TcpClient::isConnected() const { return m_socket->state() == QAbstractSocket::ConnectedState; }

bool TcpClient::sendPacket(const QByteArray &payload)
{
    if (!isConnected())
        return false;
    const QByteArray bytes = NetPacket::of(payload).toBytes();
    const qint64 written = m_socket->write(bytes);
    if (written == -1) {
        qWarning() << "Failed to write data to socket";
        return false;
    }
    m_socket->flush();
    qDebug() << "Sent packet, payload size:" << payload.size() << ", total size:" << bytes.size();
    return written == bytes.size();
}

bool TcpClient::sendUid(const QByteArray &uid)
{
    qDebug() << "2tcp send uid:" << uid.toHex();
    return sendPacket(kUidMessageType + uid);
}

void TcpClient::onConnected()
{
    qDebug() << "Connected to server";
    m_assembler.reset();
    emit connected();
}

void TcpClient::onDisconnected()
{
    qDebug() << "Disconnected from server";
    m_assembler.reset();
    if (!m_manualDisconnect && !m_reconnectTimer->isActive()) {
        qDebug() << "连接丢失，尝试重连...";
        m_reconnectTimer->start();
    }
    m_manualDisconnect = false;
    emit disconnected();
}

void TcpClient::attemptReconnect()
{
    if (m_host.isEmpty() || m_port == 0)
        return;
    qDebug() << "Attempting to reconnect...";
    connectToServer(m_host, m_port);
}

void TcpClient::reportError(QAbstractSocket::SocketState state)
{
    if (state != QAbstractSocket::UnconnectedState)
        return;
    const QString text = m_socket->errorString();
    if (text.isEmpty() || text == QLatin1String("Unknown error"))
        return;
    qWarning() << "Socket error:" << text;
    emit errorOccurred(text);
}

void TcpClient::onError(QAbstractSocket::SocketError code)
{
    const QString text = m_socket->errorString();
    qWarning() << "Socket error:" << code << text;
    emit errorOccurred(text);
}

void TcpClient::onReadyRead()
{
    m_assembler.append(m_socket->readAll());
    while (true) {
        const NetPacketAssembler::Step step = m_assembler.next();
        if (std::holds_alternative<NetPacketAssembler::NeedsMore>(step))
            return;
        if (const auto *header = std::get_if<NetPacketAssembler::HeaderRead>(&step)) {
            qDebug() << "Expecting payload of length:" << header->length;
        } else if (const auto *magic = std::get_if<NetPacketAssembler::InvalidMagic>(&step)) {
            qWarning() << "Invalid packet header:" << QString::number(magic->magic, 16);
        } else if (const auto *tooLong = std::get_if<NetPacketAssembler::InvalidLength>(&step)) {
            qWarning() << "Invalid packet header:"
                       << "length" << tooLong->length;
        } else if (const auto *packet = std::get_if<NetPacket>(&step)) {
            emit packetReceived(*packet);
            qDebug() << "Received packet, payload size:" << packet->payload.size();
        }
    }
}
