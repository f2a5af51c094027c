#pragma once

#include "ICommunication.h"
#include "async/Wish.h"

#include <QPointer>
#include <QTcpSocket>

#include <memory>

class Gate;

/// The pod on a TCP connection without Nagle delay. Whatever one read event delivers is passed on
/// as one block. A peer that closes ends the link quietly; other socket errors are reported.
class TCPCommunication : public ICommunication
{
    Q_OBJECT

public:
    static constexpr int kConnectTimeoutMs = 3000;

    explicit TCPCommunication(QObject *parent = nullptr);
    ~TCPCommunication() override;

    /// Closes an open connection first, then waits at most kConnectTimeoutMs for the new one,
    /// serving events meanwhile. Another connectTo or disconnectFrom then is the newer wish: this
    /// one gives up and returns false without a further word.
    bool connectTo(const QString &host, int port) override;
    void disconnectFrom() override;
    bool isConnected() const override;
    void sendData(const QByteArray &data) override;
    QString typeName() const override;

private slots:
    void handleReadyRead();
    void handleError(QAbstractSocket::SocketError error);
    void handleConnected();
    void handleDisconnected();

private:
    void createSocket();
    void closeSocket();
    bool waitForConnected(const Wishes::Wish &wish);

    Wishes m_wishes;
    std::shared_ptr<Gate> m_answered; // opened by the answer to a connect, or by a newer wish

    QPointer<QTcpSocket> m_socket;
    bool m_connected = false;
    bool m_closing = false; // nothing raises it: every disconnect is reported
    QString m_lastHost;
    int m_lastPort = 0;
};
