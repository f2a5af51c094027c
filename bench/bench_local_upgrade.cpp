// How close a firmware transfer comes to the rate of its line, beside lrzsz's sender on the same
// pseudo terminal. Prints a table; see printMethod() for what the columns mean.

#include "bootloader/AnswerQueue.h"
#include "bootloader/YModemReceiver.h"
#include "control/PtyControlLink.h"
#include "firmware/local/LocalUpgrade.h"
#include "firmware/local/UpgradeLog.h"
#include "firmware/local/YModemBlocks.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QSerialPort>
#include <QSysInfo>
#include <QTemporaryDir>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <optional>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using Samples = std::vector<double>; // microseconds

constexpr int kLineBaud = 115200;
constexpr int kBitsPerByte = 10;
constexpr qsizetype kBlockBytes = ymodem::kLongPayload + ymodem::kOverhead;
constexpr int kAckBytes = 1;
constexpr int kInvitationMs = 500;
constexpr int kRunLimitMs = 600000;

double microseconds(Clock::duration duration)
{
    return std::chrono::duration<double, std::micro>(duration).count();
}

double percentile(Samples samples, double share)
{
    if (samples.empty())
        return 0;
    const auto nth = samples.begin() + std::ptrdiff_t(double(samples.size() - 1) * share);
    std::nth_element(samples.begin(), nth, samples.end());
    return *nth;
}

double lineSeconds(qsizetype blocks)
{
    return double(blocks * (kBlockBytes + kAckBytes) * kBitsPerByte) / kLineBaud;
}

/// The far end of the line, on a thread of its own. Takes our upgrade with its greeting, and, once
/// invite() was called, a bare YModem sender.
class Receiver : public QObject
{
public:
    explicit Receiver(int baud)
        : m_answers(m_link)
    {
        m_answers.setLineBaud(baud);
        QString error;
        if (!m_link.open({}, error))
            qFatal("no pseudo terminal: %s", qPrintable(error));
        m_link.holdSlave();
        connect(&m_link, &ControlLink::received, this, &Receiver::handleReceived);
        connect(&m_invitation, &QTimer::timeout, this, [this] { m_answers.put("C"); });
    }

    QString portName() const { return m_link.slavePath(); }

    const YModemReceiver &ymodem() const { return m_ymodem; }

    const Samples &turnarounds() const { return m_turnarounds; }

    double transferSeconds() const { return microseconds(m_eotAt - m_firstBlockAt) / 1e6; }

    /// A sender that comes up flushes its line: the invitation goes out until it is taken.
    void invite()
    {
        m_transferring = true;
        m_answers.put("C");
        m_invitation.start(kInvitationMs);
    }

private:
    void handleReceived(const QByteArray &bytes)
    {
        const Clock::time_point now = Clock::now();
        m_answers.noteReceived(bytes.size());
        m_invitation.stop();
        if (!m_transferring)
            return greet(bytes);
        if (m_ackSentAt)
            m_turnarounds.push_back(microseconds(now - *std::exchange(m_ackSentAt, std::nullopt)));
        if (std::exchange(m_dataIsNext, false))
            m_firstBlockAt = now;
        for (const YModemReceiver::Reply &reply : m_ymodem.feed(bytes))
            answer(reply, now);
        if (m_ymodem.isComplete())
            m_answers.put("Ostrel_thread->Update success!");
    }

    void greet(const QByteArray &bytes)
    {
        if (bytes == "put\n")
            invite();
        else
            m_answers.put(bytes.startsWith('\xFF') ? "NEWBOOT" : "unlocked");
    }

    void answer(const YModemReceiver::Reply &reply, Clock::time_point now)
    {
        m_answers.put(QByteArray(1, reply.byte));
        m_dataIsNext = reply.moment == BootMoment::Ready;
        if (reply.moment == BootMoment::FirstEot)
            m_eotAt = now;
        // On a slow line the answer leaves later than now; the turnaround is not for printing then.
        m_ackSentAt.reset();
        if (reply.moment == BootMoment::Block)
            m_ackSentAt = Clock::now();
    }

    PtyControlLink m_link;
    AnswerQueue m_answers;
    YModemReceiver m_ymodem{YModemReceiver::Header::MoreFields};
    QTimer m_invitation;
    bool m_transferring = false;
    bool m_dataIsNext = false;
    Clock::time_point m_firstBlockAt;
    Clock::time_point m_eotAt;
    std::optional<Clock::time_point> m_ackSentAt;
    Samples m_turnarounds;
};

/// A serial port that notes how long after a read the block that answers it is on the line.
class TimedPort : public QSerialPort
{
public:
    TimedPort()
    {
        // The first to hear of new bytes, before the upgrade does.
        connect(this, &QIODevice::readyRead, this, [this] { m_readAt = Clock::now(); });
    }

    bool waitForBytesWritten(int ms) override
    {
        const bool written = QSerialPort::waitForBytesWritten(ms);
        if (m_writtenSize == kBlockBytes)
            m_idle.push_back(microseconds(Clock::now() - m_readAt));
        return written;
    }

    const Samples &idle() const { return m_idle; }

protected:
    qint64 writeData(const char *data, qint64 size) override
    {
        m_writtenSize = size;
        return QSerialPort::writeData(data, size);
    }

private:
    Clock::time_point m_readAt;
    qint64 m_writtenSize = 0;
    Samples m_idle;
};

struct Outcome
{
    bool intact = false;
    double seconds = 0;  // first data block to EOT, at the receiver
    Samples turnarounds; // at the receiver
    Samples idle;        // at the sender, where we can look inside
};

void runUpgrade(const QString &portName, const QString &path, Samples &idle)
{
    auto *const port = new TimedPort;
    LocalUpgrade upgrade(port, [port](const QString &name, int baud) {
        port->setPortName(name);
        port->setBaudRate(baud);
        return port->open(QIODevice::ReadWrite);
    });
    QEventLoop loop;
    QObject::connect(&upgrade, &LocalUpgrade::statusChanged, &loop, [&] {
        if (!upgrade.isRunning())
            loop.quit();
    });
    upgrade.start(portName, kLineBaud, path);
    if (upgrade.isRunning())
        loop.exec();
    idle = port->idle();
}

void runLrzsz(Receiver &receiver, const QString &path)
{
    QProcess process;
    process.start(QStringLiteral("sh"),
                  {QStringLiteral("-c"),
                   QStringLiteral("exec sb -k -q \"$1\" <\"$2\" >\"$2\" 2>/dev/null"),
                   QStringLiteral("sh"), path, receiver.portName()});
    process.waitForStarted();
    QMetaObject::invokeMethod(&receiver, [&receiver] { receiver.invite(); });
    process.waitForFinished(kRunLimitMs);
}

enum class Sender : quint8 { Ours, Lrzsz };

Outcome measure(Sender sender, int baud, const QByteArray &content, const QString &path)
{
    Outcome outcome;
    QThread thread;
    QObject there; // stands for the thread: what it is called with runs on it
    there.moveToThread(&thread);
    thread.start();
    std::unique_ptr<Receiver> receiver;
    QMetaObject::invokeMethod(
        &there, [&] { receiver = std::make_unique<Receiver>(baud); }, Qt::BlockingQueuedConnection);
    if (sender == Sender::Ours)
        runUpgrade(receiver->portName(), path, outcome.idle);
    else
        runLrzsz(*receiver, path);
    QMetaObject::invokeMethod(
        &there,
        [&] {
            const YModemReceiver &ymodem = receiver->ymodem();
            outcome.intact = ymodem.isComplete() && ymodem.image() == content;
            outcome.seconds = receiver->transferSeconds();
            outcome.turnarounds = receiver->turnarounds();
            receiver.reset();
        },
        Qt::BlockingQueuedConnection);
    thread.quit();
    thread.wait();
    return outcome;
}

void printMethod()
{
    QFile cpu(QStringLiteral("/proc/cpuinfo"));
    QString model = QStringLiteral("unknown processor");
    if (cpu.open(QIODevice::ReadOnly)) {
        for (const QByteArray &line : cpu.readAll().split('\n')) {
            if (line.startsWith("model name"))
                model = QString::fromLatin1(line.mid(line.indexOf(':') + 1).trimmed());
        }
    }
    QFile load(QStringLiteral("/proc/loadavg"));
    const QByteArray average = load.open(QIODevice::ReadOnly) ? load.readAll().trimmed() : "?";
    std::printf("%s, %d cores, load %s, %s, Qt %s\n", qPrintable(model),
                QThread::idealThreadCount(), average.constData(),
                qPrintable(QSysInfo::prettyProductName()), qVersion());
    std::puts(
        "Sender and receiver on one pseudo terminal, the receiver on a thread of its own; it\n"
        "checks every block. Times from the first data block to the EOT.\n"
        "  at once   the receiver answers as soon as it has a block; line share: what the\n"
        "            turnarounds would leave of a 115200-baud line, 1029 bytes and an ACK a block\n"
        "  line      the receiver answers when such a line would have carried the bytes; line\n"
        "            share: measured\n"
        "  turn      ACK written to first byte of the next block read, seen by the receiver\n"
        "  idle      ACK read to next block written, inside our sender\n");
}

void printRow(const char *sender, bool paced, const Outcome &outcome, qsizetype blocks)
{
    const double ideal = lineSeconds(blocks);
    const double share = paced ? ideal / outcome.seconds : ideal / (ideal + outcome.seconds);
    std::printf("%-10s %-8s %-7s %8.3f s %9.2f %%", sender, paced ? "line" : "at once",
                outcome.intact ? "intact" : "BROKEN", outcome.seconds, 100 * share);
    for (const Samples *samples : {&outcome.turnarounds, &outcome.idle}) {
        if (samples->empty() || paced)
            std::printf(" %8s %8s", "-", "-");
        else
            std::printf(" %8.0f %8.0f", percentile(*samples, 0.5), percentile(*samples, 0.99));
    }
    std::puts("");
}

double logLineMicroseconds()
{
    constexpr int kLines = 20000;
    const Clock::time_point start = Clock::now();
    for (int i = 0; i < kLines; ++i)
        upgrade_log::logLine(QStringLiteral("Sent YModem packet 1023 (DATA)"));
    return microseconds(Clock::now() - start) / kLines;
}

void compare(qsizetype kib, int baud, const QTemporaryDir &folder)
{
    QByteArray content(kib * 1024, '\0');
    QRandomGenerator random(1);
    std::ranges::generate(content, [&] { return char(random.bounded(256)); });
    const QString path = folder.filePath(QStringLiteral("firmware.bin"));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("cannot write %s", qPrintable(path));
    file.close();
    const qsizetype blocks = ymodem::dataBlockCount(content.size(), ymodem::kLongPayload);
    std::printf("%lld KiB:\n", static_cast<long long>(kib));
    printRow("podconsole", baud > 0, measure(Sender::Ours, baud, content, path), blocks);
    printRow("sb -k", baud > 0, measure(Sender::Lrzsz, baud, content, path), blocks);
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addOption({QStringLiteral("kib"), QStringLiteral("Size of the firmware."),
                      QStringLiteral("kib"), QStringLiteral("1024")});
    parser.addOption({QStringLiteral("line-kib"),
                      QStringLiteral("Size on the slow line, 11 KiB a second; 0 for none."),
                      QStringLiteral("kib"), QStringLiteral("128")});
    parser.process(app);

    const QTemporaryDir folder;
    const QString log = folder.filePath(QStringLiteral("log"));
    // The upgrade logs every block, as it does in the console; the lines go to a file.
    if (std::freopen(qPrintable(log), "w", stderr) == nullptr)
        return 1;
    printMethod();
    std::printf("%-10s %-8s %-7s %10s %11s %8s %8s %8s %8s\n", "sender", "answers", "file", "time",
                "line share", "turn p50", "p99 us", "idle p50", "p99 us");
    compare(parser.value(QStringLiteral("kib")).toInt(), 0, folder);
    if (const int kib = parser.value(QStringLiteral("line-kib")).toInt(); kib > 0)
        compare(kib, kLineBaud, folder);
    std::printf("One line of the upgrade's log takes %.1f us; each block logs three.\n",
                logLineMicroseconds());
    return 0;
}
