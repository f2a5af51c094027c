#include "LrzszReceiver.h"

#include "firmware/local/YModemBlocks.h"

LrzszReceiver::LrzszReceiver(const QString &folder)
    : m_answers(m_link)
{
    QString error;
    if (!m_link.open({}, error))
        qFatal("no pseudo terminal: %s", qPrintable(error));
    m_link.holdSlave();
    m_rb.setWorkingDirectory(folder);
    m_rb.setProgram(QStringLiteral("rb"));
    m_rb.setArguments({QStringLiteral("-q")});
    connect(&m_link, &ControlLink::received, this, &LrzszReceiver::handleReceived);
    connect(&m_rb, &QProcess::readyReadStandardOutput, this, &LrzszReceiver::handleAnswers);
    connect(&m_rb, &QProcess::finished, this, [this](int exitCode) {
        if (exitCode == 0)
            m_answers.put("Ostrel_thread->Update success!\r\n");
    });
}

LrzszReceiver::~LrzszReceiver()
{
    m_rb.QObject::disconnect(this);
    m_rb.kill();
    m_rb.waitForFinished();
}

void LrzszReceiver::handleReceived(const QByteArray &bytes)
{
    if (m_rb.state() != QProcess::NotRunning) {
        const bool isEot = bytes == QByteArray(1, ymodem::kEot);
        if (isEot && !std::exchange(m_refusedEot, true))
            m_answers.put(QByteArray(1, ymodem::kNak));
        else
            m_rb.write(bytes);
    } else if (bytes.startsWith('\xFF')) {
        m_answers.put("NEWBOOT");
    } else if (bytes == "put\n") {
        m_rb.start();
    } else {
        m_answers.put("unlocked");
    }
}

void LrzszReceiver::handleAnswers()
{
    for (const char byte : m_rb.readAllStandardOutput())
        m_answers.put(QByteArray(1, byte));
}
