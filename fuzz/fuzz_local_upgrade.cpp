// What a bootloader may answer, and when, during a local upgrade: the sender's whole state machine
// on a port that holds it to the order and the bytes of the transfer.
// Input: which firmware file, then events, each its kind and, where it brings bytes, their number
// and the bytes: 0 bytes arrive, 1 bytes arrive within the next write, 2 the time is up, 3 the port
// is lost, 4 the operator starts again.

#include "FuzzHarness.h"
#include "firmware/local/LocalUpgrade.h"
#include "firmware/local/YModemBlocks.h"

#include <QIODevice>

#include <utility>
#include <vector>

namespace {

constexpr qsizetype kHeaderAt = 3; // among the writes

struct Firmware
{
    QString path;
    QByteArrayList writes; ///< of a whole upgrade, in order
};

Firmware firmwareOf(const QString &path, QByteArrayView content)
{
    Firmware firmware{path,
                      {QByteArray("\xFF\x01\x28\x00\x00\x00\x29", 7),
                       "3f1a9c2e-7b44-11ee-9d10-0a1b2c3d4e5f", "put\n"}};
    if (content.isEmpty()) // nothing to send
        return firmware;
    QByteArrayList &writes = firmware.writes;
    writes << ymodem::headerBlock(QString::number(content.size()), content.size());
    const qsizetype blocks = ymodem::dataBlockCount(content.size(), ymodem::kLongPayload);
    for (qsizetype number = 1; number <= blocks; ++number)
        writes << ymodem::dataBlock(content, number, ymodem::kLongPayload);
    writes << "\x04"
           << "\x04" << ymodem::nullHeaderBlock();
    return firmware;
}

/// By the input's first byte; the last three cannot be sent: empty, missing, none.
std::vector<Firmware> makeFirmwares()
{
    std::vector<Firmware> made;
    for (const qsizetype size : {1, 1024, 1025, 3000, 0}) {
        const QByteArray content = mixedBytes(size);
        made.push_back(firmwareOf(fuzz::writeFile(QString::number(size), content), content));
    }
    made.push_back(firmwareOf(QStringLiteral("/missing"), {}));
    made.push_back(firmwareOf({}, {}));
    return made;
}

class HostilePort : public QIODevice
{
public:
    bool isSequential() const override { return true; }
    qint64 bytesAvailable() const override { return m_arrived.size(); }

    bool waitForBytesWritten(int) override
    {
        if (withinWrites.isEmpty())
            return false;
        FUZZ_REQUIRE(!std::exchange(m_isWriting, true)); // an answer at once must not nest the next
        arrive(withinWrites.takeFirst());
        m_isWriting = false;
        return true;
    }

    void arrive(const QByteArray &bytes)
    {
        m_arrived += bytes;
        emit readyRead();
    }

    void expect(const QByteArrayList &writes)
    {
        m_expected = writes;
        m_next = 0;
    }

    bool isComplete() const { return m_next > kHeaderAt && m_next == m_expected.size(); }

    QByteArrayList withinWrites; ///< what arrives during the next ones

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
        const QByteArrayView written(data, size);
        const bool mayRepeat = size > 1 && m_next > kHeaderAt && !isComplete(); // a block
        if (mayRepeat && written == m_expected[m_next - 1])
            return size;
        FUZZ_REQUIRE(m_next < m_expected.size() && written == m_expected[m_next]);
        ++m_next;
        return size;
    }

private:
    QByteArray m_arrived;
    QByteArrayList m_expected;
    qsizetype m_next = 0;
    bool m_isWriting = false;
};

} // namespace

void fuzz::run(Input input)
{
    static const std::vector<Firmware> firmwares = makeFirmwares();
    const Firmware &firmware = firmwares[input.byte() % firmwares.size()];
    auto *port = new HostilePort; // a child of the upgrade
    LocalUpgrade upgrade(port, [port](const QString &, int) {
        return port->open(QIODevice::ReadWrite | QIODevice::Unbuffered);
    });
    upgrade.setTimeouts({0, 0, 0, 0, 0, 0, 0, 0, 0});
    QObject::connect(&upgrade, &LocalUpgrade::progressed, port, [port](int percent) {
        FUZZ_REQUIRE(percent >= 0 && percent <= 100 && (percent == 100) == port->isComplete());
    });
    const auto bytes = [&input] { return input.bytes(input.byte()).toByteArray(); };
    const auto start = [&] {
        if (!upgrade.isRunning())
            port->expect(firmware.writes);
        upgrade.start(QStringLiteral("port"), 115200, firmware.path);
    };
    for (start(); !input.isEmpty(); FUZZ_REQUIRE(upgrade.isRunning() == port->isOpen())) {
        switch (input.byte() % 5) {
        case 0:
            if (const QByteArray arriving = bytes(); port->isOpen())
                port->arrive(arriving);
            break;
        case 1:
            port->withinWrites.append(bytes());
            break;
        case 2:
            QCoreApplication::processEvents();
            break;
        case 3:
            upgrade.handlePortLost(QStringLiteral("pulled"));
            break;
        default:
            start();
        }
    }
    // Whatever happened, the loss of the port ends it and leaves nothing behind.
    upgrade.handlePortLost(QStringLiteral("gone"));
    FUZZ_REQUIRE(!upgrade.isRunning() && !port->isOpen());
    QCoreApplication::processEvents();
    FUZZ_REQUIRE(!upgrade.isRunning());
}
