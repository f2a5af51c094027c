#include "LocalUpgrade.h"

#include "UpgradeLog.h"
#include "YModemBlocks.h"
#include "protocol/ShortFrame.h"
#include "serial/SerialLine.h"

#include <QFile>
#include <QFileInfo>
#include <QSerialPort>

#include <algorithm>
#include <array>
#include <utility>

using upgrade_log::logBytes;
using upgrade_log::logLine;

namespace {

constexpr quint8 kRebootCommand = 0x28;
constexpr QLatin1String kUnlockPhrase("3f1a9c2e-7b44-11ee-9d10-0a1b2c3d4e5f");
constexpr QLatin1String kPutCommand("put\n");
constexpr qsizetype kPayload = ymodem::kLongPayload;
constexpr int kTransferPercent = 90; // the rest is for the bootloader's word of success
constexpr int kDonePercent = 100;

// Nothing that is waited for is longer than a few dozen bytes and every read is examined, so that
// older bytes cannot matter: a chattering line must not eat memory in a state without time-out.
constexpr qsizetype kReceivedKept = 4096;

QString hexByte(char byte)
{
    return QStringLiteral("%1").arg(quint8(byte), 2, 16, QLatin1Char('0'));
}

bool openSerialPort(QSerialPort &port, const QString &name, int baud)
{
    port.setPortName(name);
    serial_line::apply({.baudRate = baud}, port);
    return port.open(QIODevice::ReadWrite);
}

} // namespace

/// What a state waits for, what follows when it comes and what when it does not.
struct LocalUpgrade::Rule
{
    enum Match : quint8 {
        Anything,   // and it stays in the buffer
        Containing, // the text, anywhere
        Exactly,    // the text and nothing else
        OneByte,    // any one, alone
    };

    State state = State::Idle;
    Match match = Anything;
    QByteArrayView text;
    void (LocalUpgrade::*follow)() = nullptr;
    /// What did not come in time, for the reason; none where no time-out ends the upgrade.
    const char *missing = nullptr;

    bool matches(QByteArrayView received) const
    {
        switch (match) {
        case Anything:
            return true;
        case Containing:
            return received.indexOf(text) >= 0;
        case Exactly:
            return received == text;
        case OneByte:
            return received.size() == 1;
        }
        return false;
    }
};

const LocalUpgrade::Rule *LocalUpgrade::ruleFor(State state)
{
    static constexpr auto kRules = std::to_array<Rule>({
        {State::WaitingForProduct, Rule::Containing, "PRODUCT_ID: Bootloader(mini)",
         &LocalUpgrade::handleProduct, "'product'"},
        {State::WaitingForNewBoot, Rule::Containing, "NEWBOOT", &LocalUpgrade::handleNewBoot,
         "'NEWBOOT'"},
        {State::PhraseSent, Rule::Anything, {}, &LocalUpgrade::handlePhraseAnswer, nullptr},
        {State::PutSent, Rule::Containing, "C", &LocalUpgrade::handleTransferRequest, nullptr},
        {State::HeaderAccepted, Rule::Exactly, "C", &LocalUpgrade::handleDataRequest, nullptr},
        {State::FirstEotSent, Rule::Exactly, "\x15", &LocalUpgrade::handleFirstEotRefused, "'NAK'"},
        {State::SecondEotSent, Rule::Exactly, "\x06", &LocalUpgrade::handleSecondEotAccepted,
         "'ACK'"},
        {State::WaitingForFinalRequest, Rule::Exactly, "C", &LocalUpgrade::handleFinalRequest,
         "'C'"},
        {State::NullHeaderSent, Rule::Exactly, "\x06", &LocalUpgrade::handleNullHeaderAccepted,
         "second 'ACK'"},
        {State::BlockSent, Rule::OneByte, {}, &LocalUpgrade::handleBlockResponse, nullptr},
        {State::WaitingForSuccess, Rule::Containing, "Ostrel_thread->Update success!",
         &LocalUpgrade::handleSuccess, "'success'"},
    });
    const auto rule = std::ranges::find(kRules, state, &Rule::state);
    return rule == kRules.end() ? nullptr : &*rule;
}

LocalUpgrade::LocalUpgrade(QObject *parent)
    : LocalUpgrade(new QSerialPort, parent)
{
}

LocalUpgrade::LocalUpgrade(QSerialPort *port, QObject *parent)
    : LocalUpgrade(
        port, [port](const QString &name, int baud) { return openSerialPort(*port, name, baud); },
        parent)
{
    connect(port, &QSerialPort::errorOccurred, this,
            [this, port](QSerialPort::SerialPortError error) {
                if (const auto loss = serial_line::loss(*port, error))
                    handlePortLost(*loss);
            });
    serial_line::watch(*port);
}

LocalUpgrade::LocalUpgrade(QIODevice *port, PortOpener open, QObject *parent)
    : QObject(parent)
    , m_port(port)
    , m_open(std::move(open))
{
    m_port->setParent(this);
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(m_port, &QIODevice::readyRead, this, &LocalUpgrade::handleReadyRead);
    connect(&m_timer, &QTimer::timeout, this, &LocalUpgrade::handleTimeout);
}

void LocalUpgrade::start(const QString &portName, int baud, const QString &filePath)
{
    if (isRunning())
        return tell(QStringLiteral("Transfer already in progress"));
    m_filePath = filePath;
    if (m_filePath.isEmpty())
        return tell(QStringLiteral("Please select firmware file first!"));
    if (!m_open(portName, baud))
        return tell(QStringLiteral("Failed to open serial port!"));

    m_portLoss.reset();
    m_received.clear();
    perform([this] {
        tell(QStringLiteral("Serial port opened"));
        const QByteArray reboot = protocol::buildShortFrame(kRebootCommand, 0, 0, 0);
        write(reboot);
        logLine(QStringLiteral("Sent command: ") + QString::fromLatin1(reboot.toHex()));
        enter(State::WaitingForNewBoot, m_timeouts.newBootMs);
        tell(QStringLiteral("Waiting for NEWBOOT..."));
    });
}

// A write waits for the port and may find new bytes, or the loss of the port, while it does. None
// of that is looked at before the step that writes is over: each step finds the state that the one
// before it has left.
template<typename Step>
void LocalUpgrade::perform(Step step)
{
    const bool outermost = !std::exchange(m_performing, true);
    step();
    if (!outermost)
        return;
    while (isRunning()) {
        if (m_portLoss)
            abort(*std::exchange(m_portLoss, std::nullopt));
        else if (m_port->bytesAvailable() > 0)
            takeReceived();
        else
            break;
    }
    m_performing = false;
}

void LocalUpgrade::handleReadyRead()
{
    perform([] {});
}

void LocalUpgrade::handlePortLost(const QString &reason)
{
    m_portLoss = reason;
    perform([] {});
}

void LocalUpgrade::takeReceived()
{
    m_received += m_port->readAll();
    logBytes(m_received);
    const Rule *const rule = ruleFor(m_state);
    if (!rule || !rule->matches(m_received)) {
        m_received = m_received.right(kReceivedKept);
        return;
    }
    if (rule->match != Rule::Anything) {
        m_timer.stop();
        m_response = m_received.front();
        m_received.clear();
    }
    (this->*rule->follow)();
}

void LocalUpgrade::handleTimeout()
{
    perform([this] {
        const Rule *const rule = ruleFor(m_state);
        if (m_state == State::BlockSent)
            retryBlock();
        else if (rule && rule->missing)
            abort(QStringLiteral("Timeout: waiting for ") + QString::fromLatin1(rule->missing));
    });
}

void LocalUpgrade::handleProduct()
{
    enter(State::WaitingForNewBoot, m_timeouts.bootMeMs);
    tell(QStringLiteral("Received 'PRODUCT_ID: Bootloader(mini)', waiting for 'BOOT_ME'..."));
}

void LocalUpgrade::handleNewBoot()
{
    logLine(QStringLiteral("Received 'NEWBOOT', sending '%1'...").arg(kUnlockPhrase));
    setStatusText(QStringLiteral("Received 'NEWBOOT', sending the unlock phrase..."));
    m_state = State::PhraseSent;
    sendText(kUnlockPhrase);
}

void LocalUpgrade::handlePhraseAnswer()
{
    tell(QStringLiteral("Sending 'put'..."));
    m_state = State::PutSent;
    sendText(kPutCommand);
}

void LocalUpgrade::handleTransferRequest()
{
    tell(QStringLiteral("Received 'C', Starting YModem transfer..."));
    m_state = State::BlockSent;
    beginTransfer();
}

void LocalUpgrade::beginTransfer()
{
    if (!readFirmware())
        return;
    m_blockCount = int(ymodem::dataBlockCount(m_firmware.size(), kPayload));
    m_timeoutsOfBlock = 0;
    emit progressed(0);
    tell(QStringLiteral("Starting YModem transfer (%1 packets)...").arg(m_blockCount));
    sendBlock(0);
}

bool LocalUpgrade::readFirmware()
{
    QFile file(m_filePath);
    if (file.open(QIODevice::ReadOnly))
        m_firmware = file.readAll();
    if (file.error() != QFileDevice::NoError)
        abort(QStringLiteral("Cannot read firmware file: ") + file.errorString());
    else if (m_firmware.isEmpty())
        abort(QStringLiteral("File is empty"));
    return isRunning();
}

void LocalUpgrade::sendBlock(int number)
{
    m_block = number;
    if (number == 0) {
        write(ymodem::headerBlock(QFileInfo(m_filePath).fileName(), m_firmware.size()));
    } else {
        const QByteArray block = ymodem::dataBlock(m_firmware, number, kPayload);
        emit progressed(int(qint64(number) * kTransferPercent / m_blockCount));
        write(block);
    }
    enter(State::BlockSent, m_timeouts.blockMs);
    logLine(QStringLiteral("Sent YModem packet %1 (%2)")
                .arg(QString::number(number),
                     number == 0 ? QLatin1String("HEADER") : QLatin1String("DATA")));
}

void LocalUpgrade::handleBlockResponse()
{
    logLine(QStringLiteral("Received response: 0x") + hexByte(m_response));
    switch (m_response) {
    case ymodem::kAck:
        m_timeoutsOfBlock = 0;
        sendNext();
        break;
    case ymodem::kCrcRequest:
        logLine(QStringLiteral("Receiver requests CRC mode"));
        sendBlock(m_block);
        break;
    default:
        abort(QStringLiteral("Unexpected response: 0x") + hexByte(m_response));
    }
}

void LocalUpgrade::sendNext()
{
    if (m_block == 0) {
        m_state = State::HeaderAccepted;
        tell(QStringLiteral("Header accepted, waiting for 'C'"));
    } else if (m_block < m_blockCount) {
        sendBlock(m_block + 1);
    } else {
        tell(QStringLiteral("Sending EOT..."));
        write(QByteArray(1, ymodem::kEot));
        enter(State::FirstEotSent, m_timeouts.firstEotMs);
        tell(QStringLiteral("Waiting for NAK"));
    }
}

void LocalUpgrade::retryBlock()
{
    ++m_timeoutsOfBlock;
    if (m_timeoutsOfBlock >= kBlockTries)
        return abort(QStringLiteral("Retry limit reached"));
    tell(QStringLiteral("retry package %1").arg(m_block));
    sendBlock(m_block);
}

void LocalUpgrade::handleDataRequest()
{
    tell(QStringLiteral("Received 'C', starting data transfer..."));
    sendBlock(1);
}

void LocalUpgrade::handleFirstEotRefused()
{
    tell(QStringLiteral("Sending second EOT..."));
    write(QByteArray(1, ymodem::kEot));
    enter(State::SecondEotSent, m_timeouts.secondEotMs);
    tell(QStringLiteral("Waiting for ACK"));
}

void LocalUpgrade::handleSecondEotAccepted()
{
    enter(State::WaitingForFinalRequest, m_timeouts.finalRequestMs);
    tell(QStringLiteral("Waiting for C"));
}

void LocalUpgrade::handleFinalRequest()
{
    write(ymodem::nullHeaderBlock());
    enter(State::NullHeaderSent, m_timeouts.nullHeaderMs);
    tell(QStringLiteral("Sent null header,Waiting for ACK"));
}

void LocalUpgrade::handleNullHeaderAccepted()
{
    enter(State::WaitingForSuccess, m_timeouts.successMs);
    tell(QStringLiteral("Transfer complete,Waiting for SUCCESS"));
}

void LocalUpgrade::handleSuccess()
{
    const QString success = QStringLiteral("Transfer complete successfully!");
    logLine(success);
    closePort();
    logLine(QStringLiteral("Serial port closed"));
    emit progressed(kDonePercent);
    setStatusText(success);
}

void LocalUpgrade::abort(const QString &reason)
{
    const QString text = QStringLiteral("Transfer Abort: ") + reason;
    m_timer.stop();
    logLine(text);
    closePort();
    setStatusText(text);
}

void LocalUpgrade::closePort()
{
    m_state = State::Idle;
    m_firmware.clear();
    if (m_port->isOpen())
        m_port->close();
}

void LocalUpgrade::sendText(QLatin1String text)
{
    write(QByteArray(text.data(), text.size()));
    logLine(QStringLiteral("Send: ") + text);
}

void LocalUpgrade::write(const QByteArray &bytes)
{
    m_port->write(bytes);
    m_port->waitForBytesWritten(m_timeouts.writeMs);
}

void LocalUpgrade::enter(State state, int timeoutMs)
{
    m_state = state;
    m_timer.start(timeoutMs);
}

void LocalUpgrade::tell(const QString &text)
{
    logLine(text);
    setStatusText(text);
}

void LocalUpgrade::setStatusText(const QString &text)
{
    m_statusText = text;
    emit statusChanged();
}
