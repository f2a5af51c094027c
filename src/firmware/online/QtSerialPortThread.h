#pragma once

#include "LineFrameAssembler.h"
#include "SendQueue.h"
#include "TcpClient.h"
#include "UpgradeExchange.h"

#include <QSerialPort>
#include <QThread>
#include <QTimer>

#include <optional>

class SerialPortCommunicator;

/// Carries out a server-assisted upgrade: it relays between the pod's bootloader on a serial port
/// and the upgrade server. What is to be done when, UpgradeExchange knows; this class moves the
/// frames.
///
/// The object, the port and the server link live on one thread, the GUI's, and never block it. The
/// thread that it is runs only the sending: it takes one frame a pass from the queue, has the port
/// write it on the port's own thread, and watches over the answer. serialError may therefore come
/// from either thread; everything else comes from the GUI's, but for dataSent.
///
/// An upgrade is run once. stop() ends it at any stage, at once, and after it no signal follows;
/// it may be called from a slot of any of the signals, but the object must outlive that signal.
class QtSerialPortThread : public QThread
{
    Q_OBJECT

public:
    struct Settings
    {
        QString serverAddress = defaultServerAddress();
        quint16 serverPort = kServerPort;
        int settleMs = 2000;      ///< from the connecting of the server to the opening of the port
        int serverWaitMs = 15000; ///< how long a UID waits for the server's connection
        int reconnectMs = TcpClient::kReconnectMs;
    };

    static constexpr quint16 kServerPort = 7003;
    static constexpr int kPassMs = 10;

    /// Chosen when the console was built.
    static QString defaultServerAddress();

    /// The port must outlive the worker.
    QtSerialPortThread(SerialPortCommunicator *port, Settings settings, QObject *parent = nullptr);
    ~QtSerialPortThread() override;

    /// Connects the server and, after the settling time, opens the port and wakes the bootloader.
    /// Returns at once; upgradeStarted tells the outcome.
    void beginUpgrade();
    /// Ends the thread and waits for it, two passes at most; leaves port and server link alone
    /// from then on. The port stays open.
    void stop();

    UpgradeExchange::Stage stage() const { return m_exchange.stage(); }

signals:
    /// False when the port could not be opened; serialError has told why.
    void upgradeStarted(bool started);
    void frameReceived(FrameType type, QByteArray frameData);
    void commandFrameReceived(quint8 type, QByteArray data);
    void responseFrameReceived(ResponseFrameObject::ResponseStatus status);
    void serialError(QString error);
    void serialStatus(QString status);
    /// A line handed to the port, and how long it stood in the queue. From the worker thread.
    void dataSent(QByteArray line, qint64 queuedUs);
    void dataReceived(QByteArray data);
    /// Percent, then UpgradeExchange::kEndMark.
    void progressStatus(int percent);
    /// From the worker thread to the port's own: a line is cleared for writing.
    void lineCleared(QPrivateSignal);

public slots:
    void handleReadyRead(const QByteArray &data);
    void handleError(QSerialPort::SerialPortError error);

protected:
    void run() override;

private:
    bool openPort();
    void writeClearedLine();

    void processFrame(const QByteArray &line);
    void processResponse(const QByteArray &raw);
    void processCommand(const QByteArray &raw);
    void answerCommand(const CommandFrameObject &command);
    void answerWaitingUid();
    void handlePacket(const NetPacket &packet);

    void perform(const UpgradeExchange::Actions &actions);
    bool queueCommand(const CommandFrameObject &command);
    void queueResponse(quint16 index, ResponseFrameObject::ResponseStatus status);

    SerialPortCommunicator *m_port;
    const Settings m_settings;
    SendQueue m_queue; // shared with the thread; all the rest is the GUI thread's
    TcpClient m_server;
    LineFrameAssembler m_assembler;
    UpgradeExchange m_exchange;
    QTimer m_settleTimer;
    QTimer m_serverWaitTimer;
    std::optional<CommandFrameObject> m_waitingUid; // not answered until the server is connected
};
