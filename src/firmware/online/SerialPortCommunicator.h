#pragma once

#include "SignalGate.h"
#include "serial/SerialLine.h"

#include <QDateTime>
#include <QObject>
#include <QSerialPort>
#include <QSerialPortInfo>
#include <QTimer>
#include <QVariant>

/// A serial port at the bootloader's line setting, with states and errors as signals, traffic
/// counters and, where it is switched on, one try to reopen after an error that took the device
/// away. Lives on one thread, as its port does; every operation takes the object's lock for its
/// whole length, and its signals are emitted after the lock is free (SignalGate).
///
/// The port's errors come out as errorOccurred; only an owner that routes them on to
/// onErrorOccurred has them counted and acted upon. A device that vanishes is told once, as
/// ResourceError, and leaves the port closed.
class SerialPortCommunicator : public QObject
{
    Q_OBJECT

public:
    enum class SerialStatus : quint8 { Closed = 0, Opening = 1, Open = 2, Error = 3 };
    Q_ENUM(SerialStatus)

    struct PortSettings
    {
        serial_line::Settings line = {};
        bool autoReconnect = false;
        int readTimeoutMs = 3000; ///< kept for the owner, as the next; not used here
        int writeTimeoutMs = 5000;
        int reconnectIntervalMs = 5000;
        qint64 readBufferSize = 1048576; ///< bytes
    };

    struct Statistics
    {
        qint64 bytesWritten = 0;
        qint64 bytesReceived = 0;
        qint64 writeEvents = 0;
        qint64 readEvents = 0;
        qint64 errors = 0;
    };

    struct ActivityTimes
    {
        QDateTime opened; ///< last successful opening; before it, the construction
        QDateTime written;
        QDateTime read;
    };

    static constexpr int kRestartPauseMs = 100;
    static constexpr int kBreakMs = 250;

    explicit SerialPortCommunicator(const QString &portName, QObject *parent = nullptr);
    ~SerialPortCommunicator() override;

    /// False, with connectionError, when the port cannot be had; false, with a warning alone, when
    /// it is open already. Of the settings only the line, reconnection and buffer size are
    /// applied, and the line is not remembered for a later open().
    bool open(const PortSettings &settings);

    bool open() { return open(m_portSettings); }

    void close();
    bool isOpen() const;
    /// Bytes taken for writing, or -1 when the port is not open.
    qint64 write(const QByteArray &bytes);

    QString errorString() const;

    QString portName() const { return m_portName; }

    SerialStatus status() const;
    Statistics statistics() const;
    ActivityTimes activityTimes() const;

signals:
    void opened(QString portName);
    void closed(QString portName);
    void connectionError(QString portName, QString error);
    void statusChanged(SerialPortCommunicator::SerialStatus status);
    void errorOccurred(QSerialPort::SerialPortError error);
    void dataReceived(QByteArray data);
    void dataWritten(qint64 bytes);
    void readyRead();
    void statisticsUpdated(SerialPortCommunicator::Statistics stats);
    void customSignal(QString signalName, QVariant value);

public slots:
    void clearBuffers();
    void flush();
    /// Closes at once and opens with the stored settings kRestartPauseMs later; a close() in
    /// between calls it off.
    void restart();
    /// Holds the line in the break state for `durationMs`, without waiting for its end.
    void sendBreak(int durationMs = kBreakMs);

    void handleError() {}

    void onReadyRead();
    void onBytesWritten(qint64 bytes);
    void onErrorOccurred(QSerialPort::SerialPortError error);
    void onReconnectTimeout();

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    void createPort();
    void passErrorOn(QSerialPort::SerialPortError error);
    void findPortInfo();
    void applySettings(const PortSettings &settings);
    void openLocked();
    void failLocked(const QString &error);
    void setStatusLocked(SerialStatus status);
    void scheduleReconnection();

    mutable SignalGate m_gate; // guards everything below
    const QString m_portName;
    QSerialPort *m_port = nullptr;
    QSerialPortInfo m_portInfo;
    PortSettings m_portSettings;
    SerialStatus m_status = SerialStatus::Closed;
    bool m_autoReconnect = false;
    bool m_readingEnabled = true;
    QString m_hangupText; // of a device that vanished
    QTimer *m_reconnectTimer = nullptr;
    QTimer *m_restartTimer = nullptr;
    QTimer *m_breakTimer = nullptr;
    int m_timerId = 0;
    Statistics m_statistics;
    ActivityTimes m_times;
};
Q_DECLARE_METATYPE(SerialPortCommunicator::Statistics)
