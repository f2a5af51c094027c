#include "UpgradeBootloader.h"

#include <QFile>

#include <array>
#include <utility>

namespace {

constexpr qsizetype kFrameLineMax = 1024; // bytes
constexpr int kAgainMs = 50;
constexpr qsizetype kChunkLength = 116; // bytes

constexpr quint8 kStart = 0x00;
constexpr quint8 kDelay = 0x01;
constexpr quint8 kType15 = 0x0F;
constexpr quint8 kTellUid = 0x10;
constexpr quint8 kAskUuid = 0x11;
constexpr quint8 kAskSignature = 0x12;
constexpr quint8 kAskFirmware = 0x13;
constexpr quint8 kUuid = 0x21;
constexpr quint8 kSignature = 0x22;
constexpr quint8 kChunk = 0x23;

constexpr int kAccepted = 0;
constexpr int kRefused = 1;

QByteArray uidOf(int length)
{
    QByteArray uid;
    for (int i = 0; i < length; ++i)
        uid.append(char(0xD0 + i));
    return uid;
}

QString hex(quint8 type) { return QStringLiteral("%1").arg(type, 2, 16, QLatin1Char('0')); }

} // namespace

UpgradeBootloader::UpgradeBootloader(const UpgradeOptions &options, Log log, QObject *parent)
    : QObject(parent)
    , m_options(options)
    , m_log(std::move(log))
{
    connect(&m_link, &ControlLink::received, this, &UpgradeBootloader::takeBytes);
    m_again.setInterval(kAgainMs);
    connect(&m_again, &QTimer::timeout, this, [this] {
        if (--m_repeats <= 0)
            m_again.stop();
        send(line_codec::build(m_asked));
    });
}

bool UpgradeBootloader::open(QString &error) { return m_link.open(m_options.ptyLink, error); }

bool UpgradeBootloader::addFault(const QString &line)
{
    static constexpr std::array<std::pair<const char *, int>, 4> kStatuses = {
        {{"resend", 2}, {"refuse", kRefused}, {"odd", 7}, {"mute", -1}}};
    const QStringList words = line.split(u' ', Qt::SkipEmptyParts);
    const QString &what = words.value(0);
    bool ok = true;
    for (const auto &[word, status] : kStatuses) {
        if (what != QLatin1String(word))
            continue;
        const QStringList target = words.value(1).split(u'/');
        const uint type = target.value(0).toUInt(&ok, 16);
        const int index = target.size() > 1 ? target.at(1).toInt() : -1;
        const int count = words.size() > 2 ? words.at(2).toInt() : 1;
        m_misanswers.append({quint8(type), index, status, count});
        return ok && type <= 0xFF && count > 0;
    }
    if (what == QLatin1String("garbage"))
        m_garbage = true;
    else if (what == QLatin1String("lowercase"))
        m_spoil = Spoil::LowerCase;
    else if (what == QLatin1String("unparsable"))
        m_spoil = Spoil::Length;
    else if (what == QLatin1String("uid"))
        m_uidLength = words.value(1).toInt(&ok);
    else if (what == QLatin1String("again"))
        m_repeats = words.value(1).toInt(&ok);
    else
        return false;
    return ok && m_uidLength > 0 && m_uidLength <= 256;
}

bool UpgradeBootloader::complain(const QString &problem)
{
    m_log(QStringLiteral("error: ") + problem);
    return false;
}

void UpgradeBootloader::takeBytes(const QByteArray &bytes)
{
    for (const char byte : bytes) {
        if (m_line.isEmpty() && byte != '~' && byte != '#') {
            complain(QStringLiteral("stray byte %1").arg(hex(quint8(byte))));
            continue;
        }
        m_line.append(byte);
        if (byte == '\r')
            takeLine(std::exchange(m_line, {}));
        else if (m_line.size() >= kFrameLineMax)
            m_line.clear();
    }
}

void UpgradeBootloader::takeLine(const QByteArray &line)
{
    if (line.startsWith('#'))
        takeResponse(line);
    else
        takeCommand(line);
}

void UpgradeBootloader::takeResponse(const QByteArray &line)
{
    line_codec::Response response;
    QString error;
    if (!line_codec::parse(line, response, error)) {
        complain(error);
        return;
    }
    m_again.stop();
    m_log(QStringLiteral("answered %1 index %2 status %3")
              .arg(hex(m_asked.type))
              .arg(response.index)
              .arg(response.status));
    if (m_spoil != Spoil::Nothing) {
        m_spoil = Spoil::Nothing;
        send(line_codec::build(m_asked));
        return;
    }
    if (response.index != m_asked.second)
        complain(QStringLiteral("answer to index %1").arg(response.index));
    else if (response.status == kAccepted)
        proceed();
}

void UpgradeBootloader::takeCommand(const QByteArray &line)
{
    line_codec::Command command;
    QString error;
    if (!line_codec::parse(line, command, error)) {
        complain(error);
        return;
    }
    m_log(QStringLiteral("command %1 %2/%3 %4")
              .arg(hex(command.type))
              .arg(command.second)
              .arg(command.first)
              .arg(command.type == kChunk ? QString::number(command.data.size())
                                          : QString::fromLatin1(command.data.toHex())));
    if (misanswer(command))
        return;
    const bool taken = takeInOrder(command);
    answer(command.second, taken ? kAccepted : kRefused);
    if (!taken)
        return;
    if (command.type == kType15)
        QTimer::singleShot(m_options.askDelayMs, this, &UpgradeBootloader::proceed);
    else
        proceed();
}

bool UpgradeBootloader::misanswer(const line_codec::Command &command)
{
    for (qsizetype i = 0; i < m_misanswers.size(); ++i) {
        Misanswer &rule = m_misanswers[i];
        if (rule.type != command.type || (rule.index >= 0 && rule.index != command.second))
            continue;
        const int status = rule.status;
        if (--rule.count == 0)
            m_misanswers.removeAt(i);
        if (status >= 0)
            answer(command.second, status);
        return true;
    }
    return false;
}

bool UpgradeBootloader::takeInOrder(const line_codec::Command &command)
{
    struct Expected
    {
        quint8 type;
        Step step;
        qsizetype length;
    };

    static constexpr std::array<Expected, 4> kPlain = {{{kDelay, Step::WantsDelay, 2},
                                                        {kType15, Step::WantsType15, 2},
                                                        {kUuid, Step::WantsUuid, 16},
                                                        {kSignature, Step::WantsSignature, 64}}};
    if (command.type == kStart) {
        m_step = Step::WantsStart;
        return true;
    }
    if (command.type == kChunk && m_step == Step::WantsChunks)
        return takeChunk(command);
    for (const Expected &expected : kPlain) {
        if (expected.type == command.type && expected.step == m_step)
            return command.data.size() == expected.length
                   || complain(QStringLiteral("length of %1").arg(hex(command.type)));
    }
    return complain(QStringLiteral("%1 out of order").arg(hex(command.type)));
}

bool UpgradeBootloader::takeChunk(const line_codec::Command &command)
{
    if (m_taken == 0)
        m_total = command.first;
    const bool isLast = command.second == m_total;
    if (command.first != m_total || command.second != m_taken + 1)
        return complain(QStringLiteral("chunk %1 of %2").arg(command.second).arg(command.first));
    if (command.data.size() > kChunkLength || (!isLast && command.data.size() != kChunkLength))
        return complain(QStringLiteral("chunk of %1 bytes").arg(command.data.size()));
    m_image.append(command.data);
    ++m_taken;
    return true;
}

void UpgradeBootloader::finish()
{
    m_step = Step::Done;
    if (!m_options.imageFile.isEmpty()) {
        QFile file(m_options.imageFile);
        if (!file.open(QIODevice::WriteOnly) || file.write(m_image) != m_image.size())
            complain(QStringLiteral("cannot write %1").arg(m_options.imageFile));
    }
    m_log(QStringLiteral("image %1 bytes").arg(m_image.size()));
}

void UpgradeBootloader::proceed()
{
    switch (m_step) {
    case Step::WantsStart:
        ask(kTellUid, Step::TellsUid, uidOf(m_uidLength));
        if (m_repeats > 0)
            m_again.start();
        break;
    case Step::TellsUid:
        m_step = Step::WantsDelay;
        break;
    case Step::WantsDelay:
        m_step = Step::WantsType15;
        break;
    case Step::WantsType15:
        ask(kAskUuid, Step::AsksForUuid);
        break;
    case Step::AsksForUuid:
        m_step = Step::WantsUuid;
        break;
    case Step::WantsUuid:
        ask(kAskSignature, Step::AsksForSignature);
        break;
    case Step::AsksForSignature:
        m_step = Step::WantsSignature;
        break;
    case Step::WantsSignature:
        ask(kAskFirmware, Step::AsksForFirmware);
        break;
    case Step::AsksForFirmware:
        m_image.clear();
        m_taken = 0;
        m_step = Step::WantsChunks;
        break;
    case Step::WantsChunks:
        if (m_taken == m_total)
            finish();
        break;
    case Step::Done:
        break;
    }
}

void UpgradeBootloader::ask(quint8 type, Step step, const QByteArray &data)
{
    m_step = step;
    m_asked = {type, 1, type, data}; // a second value of its own for each, so that answers tell
    QByteArray line = line_codec::build(m_asked);
    if (m_spoil == Spoil::LowerCase)
        line = line.toLower();
    else if (m_spoil == Spoil::Length)
        line.replace(11, 2, "FE");
    send(line);
}

void UpgradeBootloader::answer(quint16 index, int status)
{
    send(line_codec::build(line_codec::Response{index, quint8(status)}));
}

void UpgradeBootloader::send(const QByteArray &line)
{
    if (m_garbage)
        m_link.send(QByteArray::fromHex("00ff410d0a"));
    m_link.send(line);
}
