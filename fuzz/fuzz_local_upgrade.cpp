// What a bootloader may answer, and when, during a local upgrade: the sender's whole state machine
// on a port that holds it to the order and the bytes of the transfer.
// Input: which firmware file, then events, each its kind and, where it brings bytes, their number
// and the bytes: 0 bytes arrive, 1 bytes arrive within the next write, 2 the time is up, 3 the port
// is lost, 4 the operator starts again.

#include "FuzzHarness.h"
#include "firmware/local/Crc16.h"
#include "firmware/local/LocalUpgrade.h"
#include "firmware/local/YModemBlocks.h"

#include <QFile>
#include <QIODevice>
#include <QTemporaryDir>

#include <algorithm>
#include <array>
#include <utility>

namespace {

constexpr qsizetype kPhraseLength = 36;

struct Firmware
{
    QString path;
    QByteArray content;
};

/// By the input's first byte; the last two cannot be read.
const std::vector<Firmware> &firmwares()
{
    static const QTemporaryDir folder;
    static const std::vector<Firmware> all = [] {
        std::vector<Firmware> made;
        for (const qsizetype size : {1, 1024, 1025, 3000, 0}) {
            const QString path = folder.filePath(QString::number(size));
            QByteArray content(size, '\0');
            for (qsizetype i = 0; i < size; ++i)
                content[i] = char(i * 7);
            QFile file(path);
            FUZZ_REQUIRE(file.open(QIODevice::WriteOnly) && file.write(content) == size);
            made.push_back({path, content});
        }
        made.push_back({folder.filePath(QStringLiteral("missing")), {}});
        made.push_back({{}, {}});
        return made;
    }();
    return all;
}

/// Everything that is written during one upgrade, held against what may come next.
class Transcript
{
public:
    explicit Transcript(QByteArrayView firmware)
        : m_firmware(firmware)
        , m_blockCount(int(ymodem::dataBlockCount(firmware.size(), ymodem::kLongPayload)))
    {
    }

    bool isComplete() const { return m_next == Next::Nothing; }

    void take(QByteArrayView written)
    {
        if (written == QByteArrayView("\xFF\x01\x28\x00\x00\x00\x29", 7))
            advance(Next::Reboot, Next::Phrase);
        else if (written.size() == kPhraseLength)
            advance(Next::Phrase, Next::Put);
        else if (written == QByteArrayView("put\n"))
            advance(Next::Put, Next::Blocks);
        else if (written == QByteArrayView(&ymodem::kEot, 1))
            takeEot();
        else
            takeBlock(written);
    }

private:
    enum class Next : quint8 { Reboot, Phrase, Put, Blocks, SecondEot, ClosingHeader, Nothing };

    void advance(Next from, Next to)
    {
        FUZZ_REQUIRE(m_next == from);
        m_next = to;
    }

    void takeEot()
    {
        if (m_next == Next::Blocks) {
            FUZZ_REQUIRE(m_block == m_blockCount);
            m_next = Next::SecondEot;
        } else {
            advance(Next::SecondEot, Next::ClosingHeader);
        }
    }

    void takeBlock(QByteArrayView block)
    {
        const bool isShort = block.size() == ymodem::kShortPayload + ymodem::kOverhead;
        FUZZ_REQUIRE(isShort || block.size() == ymodem::kLongPayload + ymodem::kOverhead);
        FUZZ_REQUIRE(block[0] == (isShort ? ymodem::kSoh : ymodem::kStx));
        FUZZ_REQUIRE((quint8(block[1]) ^ quint8(block[2])) == 0xFF);
        FUZZ_REQUIRE(ymodem::crc16(block.sliced(ymodem::kPrefix)) == 0);
        const QByteArrayView payload =
            block.sliced(ymodem::kPrefix, block.size() - ymodem::kOverhead);
        if (m_next == Next::ClosingHeader) {
            FUZZ_REQUIRE(block == ymodem::nullHeaderBlock());
            m_next = Next::Nothing;
            return;
        }
        FUZZ_REQUIRE(m_next == Next::Blocks);
        if (quint8(block[1]) != quint8(m_block))
            FUZZ_REQUIRE(quint8(block[1]) == quint8(++m_block));
        FUZZ_REQUIRE(isShort == (m_block == 0) && m_block <= m_blockCount);
        if (m_block > 0)
            requireData(payload);
    }

    void requireData(QByteArrayView payload) const
    {
        const qsizetype start = (m_block - 1) * ymodem::kLongPayload;
        const qsizetype length = std::min(payload.size(), m_firmware.size() - start);
        FUZZ_REQUIRE(payload.first(length) == m_firmware.sliced(start, length));
        FUZZ_REQUIRE(std::ranges::all_of(payload.sliced(length),
                                         [](char byte) { return byte == ymodem::kPadding; }));
    }

    QByteArrayView m_firmware;
    int m_blockCount;
    int m_block = -1; // the last that was sent
    Next m_next = Next::Reboot;
};

class HostilePort : public QIODevice
{
public:
    bool isSequential() const override { return true; }

    qint64 bytesAvailable() const override { return m_arrived.size(); }

    bool waitForBytesWritten(int) override
    {
        if (m_withinWrites.isEmpty())
            return false;
        FUZZ_REQUIRE(!std::exchange(m_isWriting, true)); // an answer at once must not nest the next
        arrive(m_withinWrites.takeFirst());
        m_isWriting = false;
        return true;
    }

    void arrive(const QByteArray &bytes)
    {
        m_arrived += bytes;
        emit readyRead();
    }

    void arriveWithinWrite(const QByteArray &bytes) { m_withinWrites.append(bytes); }

    void expect(QByteArrayView firmware) { m_transcript = Transcript(firmware); }

    const Transcript &transcript() const { return m_transcript; }

protected:
    qint64 readData(char *data, qint64 limit) override
    {
        const qsizetype length = std::min<qsizetype>(limit, m_arrived.size());
        std::copy_n(m_arrived.constData(), length, data);
        m_arrived.remove(0, length);
        return length;
    }

    qint64 writeData(const char *data, qint64 size) override
    {
        m_transcript.take(QByteArrayView(data, size));
        return size;
    }

private:
    QByteArray m_arrived;
    QByteArrayList m_withinWrites;
    bool m_isWriting = false;
    Transcript m_transcript{{}};
};

/// One upgrade after another on one port, and the events that befall them.
class Session
{
public:
    explicit Session(const Firmware &firmware)
        : m_firmware(firmware)
    {
        m_upgrade.setTimeouts({0, 0, 0, 0, 0, 0, 0, 0, 0});
        QObject::connect(&m_upgrade, &LocalUpgrade::progressed, &m_upgrade, [this](int percent) {
            FUZZ_REQUIRE(percent >= 0 && percent <= 100);
            FUZZ_REQUIRE((percent == 100) == m_port->transcript().isComplete());
        });
        start();
    }

    void happen(fuzz::Input &input)
    {
        static constexpr std::array kEvents = {&Session::bytesArrive,
                                               &Session::bytesArriveWithinWrite, &Session::timeIsUp,
                                               &Session::portIsLost, &Session::startAgain};
        (this->*kEvents[input.byte() % kEvents.size()])(input);
        FUZZ_REQUIRE(m_upgrade.isRunning() == m_port->isOpen());
    }

    /// Whatever happened, the loss of the port ends it and leaves nothing behind.
    void end()
    {
        m_upgrade.handlePortLost(QStringLiteral("gone"));
        FUZZ_REQUIRE(!m_upgrade.isRunning() && !m_port->isOpen());
        QCoreApplication::processEvents();
        FUZZ_REQUIRE(!m_upgrade.isRunning());
    }

private:
    static QByteArray bytesOf(fuzz::Input &input)
    {
        return input.bytes(input.byte()).toByteArray();
    }

    void bytesArrive(fuzz::Input &input)
    {
        const QByteArray bytes = bytesOf(input);
        if (m_port->isOpen())
            m_port->arrive(bytes);
    }

    void bytesArriveWithinWrite(fuzz::Input &input) { m_port->arriveWithinWrite(bytesOf(input)); }

    void timeIsUp(fuzz::Input &) { QCoreApplication::processEvents(); }

    void portIsLost(fuzz::Input &) { m_upgrade.handlePortLost(QStringLiteral("pulled")); }

    void startAgain(fuzz::Input &) { start(); }

    void start()
    {
        if (!m_upgrade.isRunning())
            m_port->expect(m_firmware.content);
        m_upgrade.start(QStringLiteral("port"), 115200, m_firmware.path);
    }

    const Firmware &m_firmware;
    HostilePort *m_port = new HostilePort; // a child of m_upgrade
    LocalUpgrade m_upgrade{m_port, [this](const QString &, int) {
                               return m_port->open(QIODevice::ReadWrite | QIODevice::Unbuffered);
                           }};
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    fuzz::prepare(size);
    fuzz::Input input(data, size);
    Session session(firmwares()[input.byte() % firmwares().size()]);
    while (!input.isEmpty())
        session.happen(input);
    session.end();
    return 0;
}
