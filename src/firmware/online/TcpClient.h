#pragma once

#include "NetPacket.h"

#include <QAbstractSocket>
#include <QObject>
#include <QTimer>

class QTcpSocket;

/// The link to the upgrade server. Sends and delivers whole NetPackets, reports socket errors as
/// texts, and after an unexpected disconnection tries again once, kReconnectMs later; the next try
/// follows only the next disconnection. Nothing here blocks. Lives on its owner's thread.
class TcpClient : public QObject
{
    Q_OBJECT

public:
    static constexpr int kReconnectMs = 5000;
    /// Pause between dropping an old connection and opening the new one.
    static constexpr int kCleanupPauseMs = 50;

    explicit TcpClient(QObject *parent = nullptr);
    ~TcpClient() override;

    /// The result comes as connected() or errorOccurred(). A connection that exists is dropped
    /// first. Does nothing while a disconnection that was asked for is outstanding: so a
    /// disconnectFromServer() on a link that was not connected blocks every later call.
    void connectToServer(const QString &host, quint16 port);
    void disconnectFromServer();

    /// Frames and writes one packet; false when not connected or not written whole.
    bool sendPacket(const QByteArray &payload);
    /// Sends the device's UID, introduced by the bytes 01 00 00 00.
    bool sendUid(const QByteArray &uid);

    bool isUnconnected() const;
    bool isConnected() const;

    void setReconnectInterval(int ms) { m_reconnectTimer->setInterval(ms); }

signals:
    void packetReceived(NetPacket packet);
    void connected();
    void disconnected();
    /// When the socket falls back to unconnected with an error that has a text.
    void errorOccurred(QString error);

public slots:
    void onConnected();
    void onDisconnected();
    void onReadyRead();
    void onError(QAbstractSocket::SocketError code);

private:
    void createSocket();
    void replaceSocket();
    void openConnection();
    void attemptReconnect();
    void reportError(QAbstractSocket::SocketState state);

    QTcpSocket *m_socket = nullptr;
    NetPacketAssembler m_assembler;
    QTimer *m_reconnectTimer;
    QTimer *m_cleanupTimer; // the pause before a connection that replaces another
    QString m_host;
    quint16 m_port = 0;
    bool m_manualDisconnect = false; // the next disconnection was asked for
};
