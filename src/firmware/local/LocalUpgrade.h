#pragma once

#include <QByteArray>
#include <QIODevice>
#include <QObject>
#include <QString>
#include <QTimer>

#include <functional>
#include <optional>

class QSerialPort;

/// How long the upgrade waits for each answer of the bootloader, in milliseconds.
struct UpgradeTimeouts
{
    int newBootMs = 6000;      ///< after the reboot command
    int bootMeMs = 3000;       ///< after the bootloader named its product
    int blockMs = 3000;        ///< after a block; then it is sent again
    int firstEotMs = 3000;     ///< NAK after the first EOT
    int secondEotMs = 3000;    ///< ACK after the second EOT
    int finalRequestMs = 3000; ///< 'C' for the closing header
    int nullHeaderMs = 3000;   ///< ACK of the closing header
    int successMs = 20000;     ///< the bootloader's last word
    int writeMs = 1000;        ///< for the port to take what is written
};

/// Writes a firmware file into the pod through its serial bootloader: reboots the pod, unlocks the
/// bootloader, sends the file with YModem and waits for the bootloader's word of success. Runs on
/// the thread it lives on, driven by the port's readyRead and one timer; a write waits for the port
/// to take it.
///
/// An upgrade ends with success, with an aborted transfer, or with the loss of its port. While the
/// bootloader answers the unlock phrase, gets ready for the transfer or erases its flash
/// (PhraseSent, PutSent, HeaderAccepted) it may take as long as it likes: only the loss of the port
/// ends the upgrade there. Every end leaves the port closed and the object ready for the next one.
/// Failures are told by the debug log and by statusText().
class LocalUpgrade : public QObject
{
    Q_OBJECT

public:
    /// What the upgrade waits for. The values are fixed; 5 is not used.
    enum class State : quint8 {
        Idle = 0,
        WaitingForProduct = 1, ///< no start leads here; older bootloaders begin with it
        WaitingForNewBoot = 2,
        PhraseSent = 3,
        PutSent = 4,
        HeaderAccepted = 6,
        FirstEotSent = 7,
        SecondEotSent = 8,
        WaitingForFinalRequest = 9,
        NullHeaderSent = 10,
        BlockSent = 11,
        WaitingForSuccess = 12,
    };
    Q_ENUM(State)

    /// Opens the port `portName` at `baud`; false when that fails.
    using PortOpener = std::function<bool(const QString &portName, int baud)>;

    /// A block is sent at most this often.
    static constexpr int kBlockTries = 4;

    /// On a serial port of its own.
    explicit LocalUpgrade(QObject *parent = nullptr);
    /// On any sequential device, which becomes a child. `open` readies it for each upgrade; who
    /// knows of the device's loss calls handlePortLost().
    LocalUpgrade(QIODevice *port, PortOpener open, QObject *parent = nullptr);

    void setTimeouts(const UpgradeTimeouts &timeouts) { m_timeouts = timeouts; }

    /// Starts an upgrade. Refused while one is running, without a file, and when the port does not
    /// open. The file is read when the bootloader is ready for it.
    void start(const QString &portName, int baud, const QString &filePath);

    State state() const { return m_state; }

    bool isRunning() const { return m_state != State::Idle; }

    /// The step that the upgrade is at, or how the last one ended; empty before the first.
    QString statusText() const { return m_statusText; }

public slots:
    /// Ends a running upgrade for good: its port is gone.
    void handlePortLost(const QString &reason);

signals:
    /// 0 at the start of the transfer, up to 90 with the last block, 100 on success.
    void progressed(int percent);
    /// statusText() or isRunning() changed.
    void statusChanged();

private:
    struct Rule;
    static const Rule *ruleFor(State state);

    LocalUpgrade(QSerialPort *port, QObject *parent);

    template<typename Step>
    void perform(Step step);
    void takeReceived();
    void handleReadyRead();
    void handleTimeout();

    void handleProduct();
    void handleNewBoot();
    void handlePhraseAnswer();
    void handleTransferRequest();
    void handleDataRequest();
    void handleFirstEotRefused();
    void handleSecondEotAccepted();
    void handleFinalRequest();
    void handleNullHeaderAccepted();
    void handleBlockResponse();
    void handleSuccess();

    bool readFirmware();
    void beginTransfer();
    void sendBlock(int number);
    void sendNext();
    void retryBlock();
    void sendText(QLatin1String text);
    void write(const QByteArray &bytes);
    void enter(State state, int timeoutMs);
    void abort(const QString &reason);
    void closePort();

    /// Logs the line and shows it to the operator.
    void tell(const QString &text);
    void setStatusText(const QString &text);

    QIODevice *const m_port;
    const PortOpener m_open;
    QTimer m_timer;
    UpgradeTimeouts m_timeouts;

    State m_state = State::Idle;
    bool m_performing = false;         // a step is under way; see perform()
    std::optional<QString> m_portLoss; // why the port went away, until the upgrade ends for it
    QString m_statusText;
    QByteArray m_received; // since the last match, the newest kReceivedKept bytes
    char m_response = 0;   // the first byte of the last match
    QString m_filePath;
    QByteArray m_firmware;
    int m_block = 0; // 0 is the header
    int m_blockCount = 0;
    int m_timeoutsOfBlock = 0;
};
