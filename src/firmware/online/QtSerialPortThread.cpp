#include "QtSerialPortThread.h"

#include "LineCoding.h"
#include "SerialPortCommunicator.h"

#include <QDebug>

#include <utility>

namespace {

template<class... Ts>
struct Overloaded : Ts...
{
    using Ts::operator()...;
};
template<class... Ts>
Overloaded(Ts...) -> Overloaded<Ts...>; // clang learnt to do without in version 17

} // namespace

QString QtSerialPortThread::defaultServerAddress()
{
    return QStringLiteral(PODCONSOLE_UPGRADE_SERVER);
}

QtSerialPortThread::QtSerialPortThread(SerialPortCommunicator *port, Settings settings,
                                       QObject *parent)
    : QThread(parent)
    , m_port(port)
    , m_settings(std::move(settings))
    , m_exchange(port->portName())
{
    m_server.setReconnectInterval(m_settings.reconnectMs);
    // A coarse timer is up to a twentieth early or late: of 15 s too much.
    m_settleTimer.setTimerType(Qt::PreciseTimer);
    m_serverWaitTimer.setTimerType(Qt::PreciseTimer);
    m_settleTimer.setSingleShot(true);
    connect(&m_settleTimer, &QTimer::timeout, this, [this] { emit upgradeStarted(openPort()); });
    m_serverWaitTimer.setSingleShot(true);
    connect(&m_serverWaitTimer, &QTimer::timeout, this, &QtSerialPortThread::answerWaitingUid);
    connect(&m_server, &TcpClient::connected, this, &QtSerialPortThread::answerWaitingUid);
    connect(this, &QtSerialPortThread::lineCleared, this, &QtSerialPortThread::writeClearedLine,
            Qt::QueuedConnection);
}

QtSerialPortThread::~QtSerialPortThread() { stop(); }

void QtSerialPortThread::beginUpgrade()
{
    m_server.connectToServer(m_settings.serverAddress, m_settings.serverPort);
    m_settleTimer.start(m_settings.settleMs);
}

bool QtSerialPortThread::openPort()
{
    if (m_port->isOpen())
        m_port->close();
    if (!m_port->open()) {
        emit serialError(
            QStringLiteral("无法打开串口 %1: %2").arg(m_port->portName(), m_port->errorString()));
        return false;
    }
    connect(m_port, &SerialPortCommunicator::dataReceived, this,
            &QtSerialPortThread::handleReadyRead);
    connect(m_port, &SerialPortCommunicator::errorOccurred, m_port,
            &SerialPortCommunicator::onErrorOccurred);
    connect(m_port, &SerialPortCommunicator::errorOccurred, this, &QtSerialPortThread::handleError);
    connect(&m_server, &TcpClient::packetReceived, this, &QtSerialPortThread::handlePacket);
    emit serialStatus(QStringLiteral("串口 %1 已打开").arg(m_port->portName()));
    if (m_queue.isStopped())
        return false;
    start();
    perform(m_exchange.begin());
    return true;
}

void QtSerialPortThread::stop()
{
    m_queue.stop();
    wait();
    m_settleTimer.stop();
    m_serverWaitTimer.stop();
    m_waitingUid.reset();
    m_server.QObject::disconnect(this);
    m_server.disconnectFromServer();
    m_port->QObject::disconnect(this);
}

void QtSerialPortThread::run()
{
    while (!m_queue.isStopped()) {
        if (const auto item = m_queue.takeOrWait()) {
            emit lineCleared(QPrivateSignal());
            const auto queued = SendQueue::Clock::now() - item->enqueuedAt;
            emit dataSent(item->line,
                          std::chrono::duration_cast<std::chrono::microseconds>(queued).count());
        }
        if (m_queue.takeOverdueAnswer())
            emit serialError(QStringLiteral("应答超时"));
        msleep(kPassMs);
    }
    qDebug() << "线程退出";
}

void QtSerialPortThread::writeClearedLine()
{
    const auto line = m_queue.takeClearedLine();
    if (!line)
        return;
    qDebug() << "1串口发送数据" << *line;
    m_port->write(*line);
    m_port->flush();
}

void QtSerialPortThread::handleError(QSerialPort::SerialPortError error)
{
    if (error == QSerialPort::NoError)
        return;
    emit serialError(QStringLiteral("串口错误: %1").arg(m_port->errorString()));
}

void QtSerialPortThread::handleReadyRead(const QByteArray &data)
{
    emit dataReceived(data);
    const QByteArrayList frames = m_assembler.push(data);
    for (const QByteArray &frame : frames) {
        if (m_queue.isStopped())
            return;
        processFrame(frame);
    }
}

void QtSerialPortThread::processFrame(const QByteArray &line)
{
    const bool isResponse = line.startsWith(upgrade::kResponseStart);
    emit frameReceived(isResponse ? FrameType::Response : FrameType::Command, line);
    const auto raw = upgrade::decodeLine(line);
    if (isResponse)
        processResponse(raw.value_or(QByteArray()));
    else if (raw)
        processCommand(*raw);
    else
        queueResponse(0, ResponseFrameObject::ResponseStatus::Refused);
}

void QtSerialPortThread::processResponse(const QByteArray &raw)
{
    m_queue.answerArrived();
    ResponseFrameObject response;
    if (!response.fromBytes(raw))
        return;
    emit responseFrameReceived(response.status);
    perform(m_exchange.handleResponse(response.status));
}

void QtSerialPortThread::processCommand(const QByteArray &raw)
{
    CommandFrameObject command;
    if (!command.fromBytes(raw)) {
        qDebug() << "解析报文失败";
        queueResponse(0, ResponseFrameObject::ResponseStatus::SendAgain);
        return;
    }
    if (!UpgradeExchange::needsServer(command) || m_server.isConnected()) {
        answerCommand(command);
        return;
    }
    // A repeated UID takes the place of the one that waits; the time does not start anew.
    m_waitingUid = command;
    if (!m_serverWaitTimer.isActive())
        m_serverWaitTimer.start(m_settings.serverWaitMs);
}

void QtSerialPortThread::answerWaitingUid()
{
    m_serverWaitTimer.stop();
    if (const auto command = std::exchange(m_waitingUid, std::nullopt))
        answerCommand(*command);
}

void QtSerialPortThread::answerCommand(const CommandFrameObject &command)
{
    using enum ResponseFrameObject::ResponseStatus;
    const auto [accepted, actions] = m_exchange.judge(command, m_server.isConnected());
    perform(actions);
    queueResponse(command.secondValue, accepted ? Accepted : Refused);
    emit commandFrameReceived(command.type, command.data);
    if (accepted)
        perform(m_exchange.carryOut(command));
}

void QtSerialPortThread::handlePacket(const NetPacket &packet)
{
    perform(m_exchange.handleServerPacket(packet));
}

void QtSerialPortThread::perform(const UpgradeExchange::Actions &actions)
{
    const auto carryOut = Overloaded{
        [this](const UpgradeExchange::SendCommand &action) { queueCommand(action.frame); },
        [this](const UpgradeExchange::SendUid &action) { m_server.sendUid(action.uid); },
        [this](const UpgradeExchange::Status &action) { emit serialStatus(action.text); },
        [this](const UpgradeExchange::Error &action) { emit serialError(action.text); },
        [this](const UpgradeExchange::Progress &action) { emit progressStatus(action.percent); },
    };
    for (const UpgradeExchange::Action &action : actions) {
        if (m_queue.isStopped()) // by a slot of the action before
            return;
        std::visit(carryOut, action);
    }
}

bool QtSerialPortThread::queueCommand(const CommandFrameObject &command)
{
    const auto line = upgrade::encodeLine(command.toBytes());
    if (line)
        m_queue.append(*line, command.answerTimeoutMs());
    return line.has_value();
}

void QtSerialPortThread::queueResponse(quint16 index, ResponseFrameObject::ResponseStatus status)
{
    ResponseFrameObject response;
    response.index = index;
    response.status = status;
    const QByteArray raw = response.toBytes();
    qDebug() << "idx=" << index << "status=" << static_cast<int>(status);
    qDebug() << "应答原始数据：" << raw.toHex();
    const auto line = upgrade::encodeLine(raw);
    if (!line) {
        qDebug() << "应答未发送：" << raw.toHex();
        return;
    }
    m_queue.append(*line, 0);
    qDebug() << "发送应答：" << *line;
}
