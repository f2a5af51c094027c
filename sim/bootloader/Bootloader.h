#pragma once

#include "AnswerQueue.h"
#include "BootFaults.h"
#include "BootOptions.h"
#include "SimMode.h"
#include "YModemReceiver.h"
#include "control/PtyControlLink.h"

#include <QObject>

/// The pod as seen by a local firmware upgrade: the reboot command starts the bootloader, which
/// wants the unlock phrase and "put", receives the firmware with YModem and says that all is well.
/// The reboot command begins anew at any time, as pulling the pod's plug would.
class Bootloader : public QObject, public SimMode
{
    Q_OBJECT

public:
    explicit Bootloader(const BootOptions &options, QObject *parent = nullptr);

    bool start(QString &error) override;
    QStringList endpoints() const override;
    QString execute(const QString &faultLine) override;

    // What the fault lines work on.
    BootFaults faults;
    void clearFaults();

    /// Damages the byte that arrives after `offset` others.
    void garble(qsizetype offset) { m_garbleIn = offset; }

    void makeNoise(const QByteArray &bytes) { m_answers.put(bytes); }

    void hangUp();

    void setLineBaud(int baud) { m_answers.setLineBaud(baud); }

    /// The state as compact JSON: stage, images written, name of the last, rejections since the
    /// reboot.
    QString stateText() const;

private:
    enum class Stage : quint8 { Application, Locked, Unlocked, Receiving };

    void handleReceived(QByteArray bytes);
    void reboot();
    void handleText(const QByteArray &bytes);
    void handleBlocks(const QByteArray &bytes);
    void finish();
    void answer(BootMoment moment, const QByteArray &bytes, int block = 0);
    bool writeImage() const;
    void damage(QByteArray &bytes);

    const BootOptions m_options;
    PtyControlLink m_link;
    AnswerQueue m_answers;
    Stage m_stage = Stage::Application;
    QByteArray m_text; // of the console, until it makes a command
    YModemReceiver m_receiver;
    qsizetype m_garbleIn = -1; // bytes to come before the damaged one; -1 for none
    int m_images = 0;
};
