#pragma once

#include "UpgradeOptions.h"

#include <QByteArray>
#include <QObject>
#include <QTcpServer>

#include <functional>

class QTcpSocket;

/// The upgrade server: takes UID messages and answers each with UUID (A0 to AF), signature (40 to
/// 7F) and the image.
class UpgradeServer : public QObject
{
    Q_OBJECT

public:
    using Log = std::function<void(const QString &)>;

    UpgradeServer(const UpgradeOptions &options, Log log, QObject *parent = nullptr);

    bool listen(QString &error);

    quint16 port() const { return m_server.serverPort(); }

    /// Each serves the next UID alone: "magic" puts a packet of wrong magic before the reply,
    /// "join" one of an unknown code in the same write, "short" cuts the reply to 83 bytes, "code
    /// HEX" answers with that code, "silent" not at all, "disconnect" hangs up. "split N" sends
    /// every reply in pieces of N bytes; "hangup N" closes the next N connections at once. False
    /// when the line makes no sense.
    bool addFault(const QString &line);

private:
    void takeClient();
    void takeBytes(QTcpSocket *client);
    void takePacket(QTcpSocket *client, const QByteArray &payload);
    void reply(QTcpSocket *client);
    void send(QTcpSocket *client, const QByteArray &bytes);

    UpgradeOptions m_options;
    Log m_log;
    QTcpServer m_server;
    QByteArray m_image;
    QString m_nextFault;
    int m_pieceLength = 0; ///< 0: in one
    int m_hangups = 0;
};
