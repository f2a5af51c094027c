#include "Bootloader.h"

#include "BootFaultTable.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <array>

namespace {

constexpr std::array<char, 7> kRebootFrame = {'\xFF', 0x01, 0x28, 0, 0, 0, 0x29};
constexpr const char *kPhrase = "3f1a9c2e-7b44-11ee-9d10-0a1b2c3d4e5f";
constexpr const char *kPut = "put\n";
constexpr const char *kSuccess = "Ostrel_thread->Update success!\r\n";
constexpr std::array kStageNames = {"application", "locked", "unlocked", "receiving"};

} // namespace

Bootloader::Bootloader(const BootOptions &options, QObject *parent)
    : QObject(parent)
    , m_options(options)
    , m_answers(m_link)
{
    m_answers.setLineBaud(options.lineBaud);
    connect(&m_link, &ControlLink::received, this, &Bootloader::handleReceived);
}

bool Bootloader::start(QString &error)
{
    if (!m_link.open(m_options.ptyLink, error))
        return false;
    m_link.holdSlave();
    return true;
}

QStringList Bootloader::endpoints() const
{
    return {QStringLiteral("bootloader pty %1").arg(m_link.slavePath())};
}

QString Bootloader::execute(const QString &faultLine) { return faults::execute(*this, faultLine); }

void Bootloader::clearFaults()
{
    faults.clear();
    m_garbleIn = -1;
    m_answers.setLineBaud(m_options.lineBaud);
}

QString Bootloader::stateText() const
{
    const QJsonObject state{
        {QStringLiteral("stage"), QString::fromLatin1(kStageNames.at(std::size_t(m_stage)))},
        {QStringLiteral("images"), m_images},
        {QStringLiteral("name"), m_receiver.name()},
        {QStringLiteral("rejections"), QJsonArray::fromStringList(m_receiver.rejections())},
    };
    return QString::fromUtf8(QJsonDocument(state).toJson(QJsonDocument::Compact));
}

void Bootloader::hangUp()
{
    m_answers.clear();
    m_link.hangUp();
}

void Bootloader::handleReceived(QByteArray bytes)
{
    m_answers.noteReceived(bytes.size());
    damage(bytes);
    // The console sends the frame alone, right after it opened the port.
    if (bytes == QByteArrayView(kRebootFrame.data(), kRebootFrame.size()))
        reboot();
    else if (m_stage == Stage::Receiving)
        handleBlocks(bytes);
    else if (m_stage != Stage::Application)
        handleText(bytes);
}

void Bootloader::damage(QByteArray &bytes)
{
    if (m_garbleIn < 0)
        return;
    if (m_garbleIn < bytes.size())
        bytes[m_garbleIn] = static_cast<char>(bytes[m_garbleIn] ^ 0x10);
    m_garbleIn = m_garbleIn < bytes.size() ? -1 : m_garbleIn - bytes.size();
}

void Bootloader::reboot()
{
    m_answers.clear();
    m_link.discardUnfetched();
    m_receiver = YModemReceiver();
    m_text.clear();
    m_stage = Stage::Locked;
    answer(BootMoment::NewBoot, "NEWBOOT\r\n");
}

void Bootloader::handleText(const QByteArray &bytes)
{
    m_text += bytes;
    if (m_stage == Stage::Locked && m_text == kPhrase) {
        m_text.clear();
        m_stage = Stage::Unlocked;
        answer(BootMoment::Phrase, "OK\r\n");
    } else if (m_stage == Stage::Unlocked && m_text == kPut) {
        m_text.clear();
        m_stage = Stage::Receiving;
        answer(BootMoment::Put, "C");
    }
}

void Bootloader::handleBlocks(const QByteArray &bytes)
{
    for (const YModemReceiver::Reply &reply : m_receiver.feed(bytes))
        answer(reply.moment, QByteArray(1, reply.byte), reply.block);
    if (m_receiver.isComplete())
        finish();
}

void Bootloader::finish()
{
    m_stage = Stage::Application;
    if (!writeImage()) {
        answer(BootMoment::Success, "Ostrel_thread->Update failed!\r\n");
        return;
    }
    ++m_images;
    answer(BootMoment::Success, kSuccess);
}

bool Bootloader::writeImage() const
{
    if (m_options.imagePath.isEmpty())
        return true;
    QFile file(m_options.imagePath);
    const QByteArrayView image = m_receiver.image();
    return file.open(QIODevice::WriteOnly) && file.write(image.data(), image.size()) == image.size()
           && file.flush();
}

void Bootloader::answer(BootMoment moment, const QByteArray &bytes, int block)
{
    using Effect = BootFaults::Effect;
    const auto fault = faults.take(moment, block);
    if (!fault) {
        m_answers.put(bytes);
        return;
    }
    switch (fault->effect) {
    case Effect::Silent:
        break;
    case Effect::Wrong:
        m_answers.put(fault->bytes);
        break;
    case Effect::Late:
        m_answers.put(bytes, fault->delayMs);
        break;
    case Effect::Twice:
        m_answers.put(bytes);
        m_answers.put(bytes);
        break;
    case Effect::Joined:
        m_answers.put(bytes + fault->bytes);
        break;
    case Effect::Noise:
        m_answers.put(fault->bytes);
        m_answers.put(bytes);
        break;
    case Effect::Die:
        hangUp();
        break;
    }
}
