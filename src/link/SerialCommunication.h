#pragma once

#include "ICommunication.h"

#include <QPointer>
#include <QSerialPort>

/// The pod on a serial port, 8N1 without flow control. Every read event yields exactly one block
/// of 37 bytes, the length of the pod's status frame: longer reads are cut, shorter ones padded
/// with zero bytes. A vanished device ends the link; other port errors are only reported.
class SerialCommunication : public ICommunication
{
    Q_OBJECT

public:
    static constexpr qsizetype kBlockLength = 37;
    /// How long closing waits for the last bytes to leave.
    static constexpr int kLastBytesMs = 100;

    explicit SerialCommunication(QObject *parent = nullptr);
    ~SerialCommunication() override;

    bool connectTo(const QString &portName, int baudRate) override;
    void disconnectFrom() override;
    bool isConnected() const override;
    void sendData(const QByteArray &data) override;
    QString typeName() const override;

private slots:
    void handleReadyRead();
    void handleError(QSerialPort::SerialPortError error);

private:
    void createPort();
    void closePort();

    QPointer<QSerialPort> m_port;
    bool m_connected = false;
};
