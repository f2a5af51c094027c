#pragma once

#include "LineCodec.h"
#include "UpgradeOptions.h"
#include "control/PtyControlLink.h"

#include <QObject>
#include <QTimer>

#include <functional>

/// The pod's bootloader in a server-assisted upgrade, on a pseudo terminal. It plays its part in a
/// fixed order, refuses what comes out of order, and begins anew with every start frame:
/// start, UID, request delay, type 15, UUID, signature, chunks.
class UpgradeBootloader : public QObject
{
    Q_OBJECT

public:
    using Log = std::function<void(const QString &)>;

    UpgradeBootloader(const UpgradeOptions &options, Log log, QObject *parent = nullptr);

    bool open(QString &error);

    QString ptyPath() const { return m_link.slavePath(); }

    /// "resend|refuse|odd|mute TYPE[/INDEX] [N]" answers the next N such frames (one without N)
    /// with status 2, 1, 7 or not at all; TYPE in hexadecimal. "garbage" puts noise before every
    /// frame. "lowercase" and "unparsable" send the next command in a form that must be refused,
    /// and then properly. "uid N" makes the UID N bytes long; "again N" repeats an unanswered UID
    /// so often. False when the line makes no sense.
    bool addFault(const QString &line);

private:
    enum class Step : quint8 {
        WantsStart,
        TellsUid,
        WantsDelay,
        WantsType15,
        AsksForUuid,
        WantsUuid,
        AsksForSignature,
        WantsSignature,
        AsksForFirmware,
        WantsChunks,
        Done,
    };
    enum class Spoil : quint8 { Nothing, LowerCase, Length };

    struct Misanswer
    {
        quint8 type;
        int index;  ///< -1: any
        int status; ///< -1: none
        int count;
    };

    void takeBytes(const QByteArray &bytes);
    void takeLine(const QByteArray &line);
    void takeResponse(const QByteArray &line);
    void takeCommand(const QByteArray &line);
    bool misanswer(const line_codec::Command &command);
    bool takeInOrder(const line_codec::Command &command);
    bool takeChunk(const line_codec::Command &command);
    void finish();
    void proceed();
    void ask(quint8 type, Step step, const QByteArray &data = QByteArray(1, '\0'));
    void answer(quint16 index, int status);
    void send(const QByteArray &line);
    bool complain(const QString &problem);

    UpgradeOptions m_options;
    Log m_log;
    PtyControlLink m_link;
    QByteArray m_line;
    Step m_step = Step::WantsStart;
    line_codec::Command m_asked; // the last command of ours, until it is answered
    QByteArray m_image;
    int m_total = 0;
    int m_taken = 0; // chunks

    QList<Misanswer> m_misanswers;
    Spoil m_spoil = Spoil::Nothing;
    bool m_garbage = false;
    int m_uidLength = 16;
    int m_repeats = 0; // of an unanswered UID
    QTimer m_again;
};
