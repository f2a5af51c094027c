#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>

/// The link to the pod. It moves raw bytes and reports its state and errors as texts; it knows
/// nothing of frames, never reconnects by itself, and lives on the GUI thread.
class ICommunication : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    /// Opens the link: port name and baud rate, or host address and TCP port (its low 16 bits).
    virtual bool connectTo(const QString &target, int value) = 0;
    virtual void disconnectFrom() = 0;
    virtual bool isConnected() const = 0;

    /// Sends the bytes as they are, once. Raises errorOccurred when not connected.
    virtual void sendData(const QByteArray &data) = 0;

    /// "Serial" or "TCP".
    virtual QString typeName() const = 0;

signals:
    void dataReceived(QByteArray data);
    void errorOccurred(QString error);
    void connectionChanged(bool connected);
};
