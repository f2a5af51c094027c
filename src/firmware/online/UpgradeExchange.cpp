#include "UpgradeExchange.h"

#include <QDebug>
#include <QtEndian>

#include <algorithm>
#include <utility>

namespace {

namespace command_type {
constexpr quint8 Start = 0x00;
constexpr quint8 RequestDelay = 0x01;
constexpr quint8 Type15 = 0x0F;
constexpr quint8 Uid = 0x10;
constexpr quint8 WantsUuid = 0x11;
constexpr quint8 WantsSignature = 0x12;
constexpr quint8 WantsFirmware = 0x13;
constexpr quint8 Uuid = 0x21;
constexpr quint8 Signature = 0x22;
constexpr quint8 Chunk = 0x23;
} // namespace command_type

namespace progress {
constexpr int UidReceived = 1;
constexpr int UuidSent = 2;
constexpr int SignatureSent = 3; // the chunks start from here
constexpr int Complete = 100;
} // namespace progress

namespace reply_code {
constexpr quint32 Firmware = 0x00004001;
constexpr quint32 Failure = 0x80000001;
} // namespace reply_code

constexpr qsizetype kUidLength = 16;

// The server's reply: code, UUID, signature, image.
constexpr qsizetype kCodeLength = 4;
constexpr qsizetype kUuidLength = 16;
constexpr qsizetype kSignatureLength = 64;
constexpr qsizetype kSignatureAt = kCodeLength + kUuidLength;
constexpr qsizetype kFirmwareAt = kSignatureAt + kSignatureLength;

QByteArray highFirst(quint16 value)
{
    QByteArray bytes(sizeof value, Qt::Uninitialized);
    qToBigEndian(value, bytes.data());
    return bytes;
}

QString hexText(const QByteArray &bytes) { return QString::fromLatin1(bytes.toHex().toUpper()); }

} // namespace

UpgradeExchange::UpgradeExchange(QString portName)
    : m_portName(std::move(portName))
{
}

UpgradeExchange::Status UpgradeExchange::status(const QString &text) const
{
    return {QStringLiteral("串口 %1 ").arg(m_portName) + text};
}

void UpgradeExchange::send(Actions &actions, quint8 type, const QByteArray &data, Stage next)
{
    CommandFrameObject frame;
    frame.type = type;
    frame.firstValue = 1;
    frame.secondValue = 1;
    frame.data = data;
    if (type == command_type::Chunk) {
        frame.firstValue = static_cast<quint16>(m_firmware.total());
        frame.secondValue = static_cast<quint16>(m_index);
    }
    frame.setAnswerTimeoutMs(kAnswerTimeoutMs);
    actions.append(SendCommand{frame});
    m_stage = next;
}

void UpgradeExchange::startFrame(Actions &actions)
{
    send(actions, command_type::Start, {}, Stage::StartSent);
}

void UpgradeExchange::requestDelay(Actions &actions)
{
    send(actions, command_type::RequestDelay, highFirst(m_requestDelay), Stage::DelaySent);
}

void UpgradeExchange::type15(Actions &actions)
{
    send(actions, command_type::Type15, highFirst(m_type15Value), Stage::Type15Sent);
}

void UpgradeExchange::uuid(Actions &actions)
{
    send(actions, command_type::Uuid, m_uuid, Stage::UuidSent);
}

void UpgradeExchange::signature(Actions &actions)
{
    send(actions, command_type::Signature, m_signature, Stage::SignatureSent);
}

void UpgradeExchange::chunk(Actions &actions, const QString &text)
{
    if (!m_firmware.has(m_index))
        return;
    const int total = m_firmware.total();
    actions.append(status(text.arg(m_index).arg(total)));
    actions.append(Progress{std::clamp(static_cast<int>(qint64(m_index) * 100 / total),
                                       progress::SignatureSent, progress::Complete)});
    if (m_index == total)
        actions.append(Progress{kEndMark});
    send(actions, command_type::Chunk, m_firmware.at(m_index), Stage::ChunkSent);
}

UpgradeExchange::Actions UpgradeExchange::begin()
{
    Actions actions;
    if (m_stage != Stage::Idle)
        return actions;
    qDebug() << "发送启动报文";
    startFrame(actions);
    actions.append(status(QStringLiteral("发送Bootloader启动报文")));
    return actions;
}

bool UpgradeExchange::needsServer(const CommandFrameObject &command)
{
    return command.type == command_type::Uid && command.data.size() == kUidLength;
}

UpgradeExchange::Verdict UpgradeExchange::judge(const CommandFrameObject &command,
                                                bool serverConnected) const
{
    if (command.type != command_type::Uid)
        return {true, {}};
    const Status received = status(QStringLiteral("收到下位机UID %1").arg(hexText(command.data)));
    if (command.data.size() != kUidLength)
        return {false, {Error{received.text + QStringLiteral(", UID长度错误")}}};
    if (!serverConnected)
        return {false, {Error{received.text + QStringLiteral(", 客户端未连接")}}};
    return {true, {received, Progress{progress::UidReceived}}};
}

UpgradeExchange::Actions UpgradeExchange::carryOut(const CommandFrameObject &command)
{
    Actions actions;
    switch (command.type) {
    case command_type::Uid:
        m_uid = command.data;
        requestDelay(actions);
        actions.append(status(QStringLiteral("设定下位机请求延迟 %1").arg(m_requestDelay)));
        actions.append(SendUid{m_uid});
        break;
    case command_type::WantsUuid:
        uuid(actions);
        actions.append(status(QStringLiteral("发送UUID")));
        actions.append(Progress{progress::UuidSent});
        break;
    case command_type::WantsSignature:
        signature(actions);
        actions.append(status(QStringLiteral("发送签名")));
        actions.append(Progress{progress::SignatureSent});
        break;
    case command_type::WantsFirmware:
        m_index = 1;
        chunk(actions, QStringLiteral("发送固件 %1-%2"));
        break;
    default: // answered, but nothing follows from it
        break;
    }
    return actions;
}

UpgradeExchange::Actions UpgradeExchange::handleResponse(ResponseFrameObject::ResponseStatus answer)
{
    using enum ResponseFrameObject::ResponseStatus;
    switch (answer) {
    case Accepted:
        return advance();
    case Refused:
        m_stage = Stage::Refused;
        return {};
    case SendAgain:
        return sendAgain();
    case Other:
        break;
    }
    return {};
}

UpgradeExchange::Actions UpgradeExchange::advance()
{
    Actions actions;
    switch (m_stage) {
    case Stage::StartSent:
        m_stage = Stage::StartAccepted;
        break;
    case Stage::DelaySent:
        m_stage = Stage::DelayAccepted;
        type15(actions);
        break;
    case Stage::Type15Sent:
        m_stage = Stage::Type15Accepted;
        break;
    case Stage::UuidSent:
        m_stage = Stage::UuidAccepted;
        break;
    case Stage::SignatureSent:
        m_stage = Stage::SignatureAccepted;
        break;
    case Stage::ChunkSent:
        m_stage = Stage::ChunkAccepted;
        ++m_index;
        chunk(actions, QStringLiteral("发送固件 %1-%2"));
        break;
    default: // an answer to nothing
        break;
    }
    return actions;
}

UpgradeExchange::Actions UpgradeExchange::sendAgain()
{
    Actions actions;
    switch (m_stage) {
    case Stage::StartSent:
        startFrame(actions);
        actions.append(status(QStringLiteral("重发Bootloader启动报文")));
        break;
    case Stage::DelaySent:
        requestDelay(actions);
        actions.append(status(QStringLiteral("重新设定下位机请求延迟 %1").arg(m_requestDelay)));
        break;
    case Stage::Type15Sent:
        type15(actions);
        break;
    case Stage::UuidSent:
        uuid(actions);
        actions.append(status(QStringLiteral("重新发送UUID")));
        break;
    case Stage::SignatureSent:
        signature(actions);
        actions.append(status(QStringLiteral("重新发送签名")));
        break;
    case Stage::ChunkSent:
        chunk(actions, QStringLiteral("重新发送固件 %1-%2"));
        break;
    default: // nothing was sent that could be repeated
        break;
    }
    return actions;
}

UpgradeExchange::Actions UpgradeExchange::handleServerPacket(const NetPacket &packet)
{
    if (packet.length < kCodeLength || packet.payload.size() < kCodeLength)
        return {};
    const auto code = qFromLittleEndian<quint32>(packet.payload.constData());
    if (code == reply_code::Firmware)
        return takeServerReply(packet.payload);
    if (code == reply_code::Failure)
        return {Error{QStringLiteral("报文错误: 收到错误应答")}};
    return {Error{QStringLiteral("报文错误: 收到错误应答码: %1").arg(code)}};
}

UpgradeExchange::Actions UpgradeExchange::takeServerReply(const QByteArray &payload)
{
    if (payload.size() < kFirmwareAt)
        return {Error{QStringLiteral("报文错误: 收到错误数据长度: %1").arg(payload.size())}};
    const auto firmware = FirmwareChunks::cut(payload.mid(kFirmwareAt));
    if (!firmware)
        return {
            Error{QStringLiteral("报文错误: 固件过大: %1 字节").arg(payload.size() - kFirmwareAt)}};

    m_uuid = payload.mid(kCodeLength, kUuidLength);
    m_signature = payload.mid(kSignatureAt, kSignatureLength);
    m_firmware = *firmware;
    m_index = 1;
    qDebug() << "total=" << m_firmware.total() << ", index=" << m_index
             << ", fw size=" << m_firmware.imageSize();
    return {status(QStringLiteral("客户端收到服务器应答"))};
}
