#pragma once

#include "bootloader/AnswerQueue.h"
#include "control/PtyControlLink.h"

#include <QObject>
#include <QProcess>

/// A bootloader whose YModem is another program's: plays the greeting, gives the blocks to lrzsz's
/// `rb` and its answers to the console, and adds the NAK that a bootloader has for a first EOT and
/// the word of success.
class LrzszReceiver : public QObject
{
    Q_OBJECT

public:
    /// The file appears in `folder` under the name of the header.
    explicit LrzszReceiver(const QString &folder);
    ~LrzszReceiver() override;

    QString portName() const { return m_link.slavePath(); }

private:
    void handleReceived(const QByteArray &bytes);
    void handleAnswers();

    PtyControlLink m_link;
    AnswerQueue m_answers;
    QProcess m_rb;
    bool m_refusedEot = false;
};
