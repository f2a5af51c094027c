#pragma once

#include "CommandFrameObject.h"
#include "FirmwareChunks.h"
#include "NetPacket.h"
#include "ResponseFrameObject.h"

#include <QList>
#include <QString>

#include <variant>

/// The course of a server-assisted upgrade, without a port, a socket or a clock: it is told what
/// arrived and says what is to be done, in order. The stage moves forward only by the bootloader's
/// "accepted", stays on a resend, and falls back to Refused when the bootloader says so.
class UpgradeExchange
{
public:
    enum class Stage : quint8 {
        Idle = 0,
        Refused = 1,
        StartSent = 2,
        StartAccepted = 3,
        DelaySent = 4,
        DelayAccepted = 5,
        Type15Sent = 6,
        Type15Accepted = 7,
        UuidSent = 8,
        UuidAccepted = 9,
        SignatureSent = 10,
        SignatureAccepted = 11,
        ChunkSent = 12,
        ChunkAccepted = 13,
    };

    struct SendCommand
    {
        CommandFrameObject frame;
    };

    struct SendUid
    {
        QByteArray uid;
    };

    struct Status
    {
        QString text;
    };

    struct Error
    {
        QString text;
    };

    struct Progress
    {
        int percent;
    };

    using Action = std::variant<SendCommand, SendUid, Status, Error, Progress>;
    using Actions = QList<Action>;

    struct Verdict
    {
        bool accepted = false;
        Actions actions;
    };

    static constexpr int kAnswerTimeoutMs = 500;
    static constexpr int kEndMark = 101; ///< progress told beside the last chunk's 100

    /// The port's name stands in the texts.
    explicit UpgradeExchange(QString portName);

    Stage stage() const { return m_stage; }

    /// Wakes the bootloader; nothing once the exchange is under way.
    Actions begin();

    /// True for the frame that cannot be answered before the server is connected: a sound UID.
    static bool needsServer(const CommandFrameObject &command);
    /// Whether a command of the bootloader is accepted, with what the operator is told about it.
    Verdict judge(const CommandFrameObject &command, bool serverConnected) const;
    /// What an accepted command, already answered, brings about.
    Actions carryOut(const CommandFrameObject &command);

    Actions handleResponse(ResponseFrameObject::ResponseStatus answer);
    Actions handleServerPacket(const NetPacket &packet);

private:
    Actions advance();
    Actions sendAgain();
    Actions takeServerReply(const QByteArray &payload);

    void send(Actions &actions, quint8 type, const QByteArray &data, Stage next);
    void startFrame(Actions &actions);
    void requestDelay(Actions &actions);
    void type15(Actions &actions);
    void uuid(Actions &actions);
    void signature(Actions &actions);
    void chunk(Actions &actions, const QString &text);
    Status status(const QString &text) const;

    QString m_portName;
    Stage m_stage = Stage::Idle;
    QByteArray m_uid;
    quint16 m_requestDelay = 15000;
    quint16 m_type15Value = 1;
    QByteArray m_uuid;
    QByteArray m_signature;
    FirmwareChunks m_firmware;
    int m_index =
        0; // wider than its field, so that it can pass the last chunk of the longest image
};
