// How fast a server-assisted upgrade moves its chunks over a pseudo terminal, and what of each
// chunk's time is the console's own: from the bootloader's answer to the next chunk on the line,
// with the sending thread's pass taken out.

#include "firmware/online/CommandFrameObject.h"
#include "firmware/online/LineCoding.h"
#include "firmware/online/NetPacket.h"
#include "firmware/online/QtSerialPortThread.h"
#include "firmware/online/ResponseFrameObject.h"
#include "firmware/online/SerialPortCommunicator.h"

#include <QCoreApplication>
#include <QTcpServer>
#include <QTcpSocket>

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kChunks = 1000;
constexpr int kReadWaitMs = 10000;

double milliseconds(Clock::duration duration)
{
    return std::chrono::duration<double, std::milli>(duration).count();
}

/// A bootloader on a thread of its own, so that the console's event loop does not delay its clock.
class Bootloader
{
public:
    explicit Bootloader(int master)
        : m_master(master)
    {
    }

    /// Plays through; false when the line falls silent.
    bool run()
    {
        if (!readCommand()) // the start frame
            return false;
        answer();
        ask(0x10, QByteArray(16, '\x11'));
        for (int i = 0; i < 2 && readCommand(); ++i) // request delay, type 15
            answer();
        std::this_thread::sleep_for(std::chrono::milliseconds(300)); // the server's turn
        for (const quint8 type : std::to_array<quint8>({0x11, 0x12, 0x13})) {
            ask(type, QByteArray(1, '\0'));
            if (type != 0x13 && readCommand())
                answer();
        }
        for (int chunk = 1; chunk <= kChunks; ++chunk) {
            if (!readCommand())
                return false;
            const Clock::time_point now = Clock::now();
            if (chunk > 1)
                turnarounds.push_back(now - m_answeredAt);
            else
                m_firstChunkAt = now;
            answer();
        }
        total = m_answeredAt - m_firstChunkAt;
        return true;
    }

    std::vector<Clock::duration> turnarounds; ///< answer written to next chunk complete
    Clock::duration total{};

private:
    void put(const QByteArray &raw)
    {
        const QByteArray line = upgrade::encodeLine(raw).value();
        if (write(m_master, line.constData(), size_t(line.size())) != line.size())
            std::perror("write");
    }

    void answer()
    {
        ResponseFrameObject response;
        response.index = 1;
        m_answeredAt = Clock::now();
        put(response.toBytes());
    }

    void ask(quint8 type, const QByteArray &data)
    {
        CommandFrameObject command;
        command.type = type;
        command.data = data;
        put(command.toBytes());
    }

    /// The next command; responses are skipped.
    bool readCommand()
    {
        while (true) {
            const qsizetype end = m_received.indexOf('\r');
            if (end >= 0) {
                const bool isCommand = m_received.startsWith('~');
                m_received.remove(0, end + 1);
                if (isCommand)
                    return true;
                continue;
            }
            pollfd waiting{m_master, POLLIN, 0};
            std::array<char, 4096> buffer{};
            if (poll(&waiting, 1, kReadWaitMs) <= 0)
                return false;
            const ssize_t count = read(m_master, buffer.data(), buffer.size());
            if (count <= 0)
                return false;
            m_received.append(buffer.data(), count);
        }
    }

    int m_master;
    QByteArray m_received;
    Clock::time_point m_answeredAt;
    Clock::time_point m_firstChunkAt;
};

int openTerminal(QString &slavePath)
{
    const int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    std::array<char, 128> name{};
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0
        || ptsname_r(master, name.data(), name.size()) != 0) {
        std::perror("pseudo terminal");
        std::exit(1);
    }
    slavePath = QString::fromLocal8Bit(name.data());
    termios settings{};
    tcgetattr(master, &settings);
    cfmakeraw(&settings);
    tcsetattr(master, TCSANOW, &settings);
    return master;
}

void serveImage(QTcpServer &server)
{
    server.listen(QHostAddress::LocalHost, 0);
    QObject::connect(&server, &QTcpServer::newConnection, &server, [&server] {
        QTcpSocket *client = server.nextPendingConnection();
        QObject::connect(client, &QTcpSocket::readyRead, client, [client] {
            client->readAll();
            const QByteArray head = QByteArray::fromHex("01400000") + QByteArray(80, 'k');
            const QByteArray image(kChunks * FirmwareChunks::kChunkLength, 'x');
            client->write(NetPacket::of(head + image).toBytes());
        });
    });
}

void print(const char *what, std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const auto at = [&values](double share) {
        return values[size_t(double(values.size() - 1) * share)];
    };
    std::printf("%-44s median %8.3f ms   p99 %8.3f ms   max %8.3f ms\n", what, at(0.5), at(0.99),
                values.back());
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    QString slavePath;
    Bootloader bootloader(openTerminal(slavePath));
    QTcpServer server;
    serveImage(server);

    SerialPortCommunicator port(slavePath);
    QtSerialPortThread::Settings settings;
    settings.serverAddress = QStringLiteral("127.0.0.1");
    settings.serverPort = server.serverPort();
    settings.settleMs = 100;
    QtSerialPortThread worker(&port, settings);
    std::vector<qint64> queuedUs; // written by the worker's thread alone, read after its end
    QObject::connect(
        &worker, &QtSerialPortThread::dataSent, &worker,
        [&queuedUs](const QByteArray &, qint64 us) { queuedUs.push_back(us); },
        Qt::DirectConnection);

    bool complete = false;
    std::thread far([&] {
        complete = bootloader.run();
        QMetaObject::invokeMethod(&app, &QCoreApplication::quit, Qt::QueuedConnection);
    });
    worker.beginUpgrade();
    QCoreApplication::exec();
    far.join();
    worker.stop();
    if (!complete || queuedUs.size() < bootloader.turnarounds.size()) {
        std::fputs("the upgrade did not come through\n", stderr);
        return 1;
    }

    // The last items of the queue are the chunks, in the order of the turnarounds.
    const size_t skipped = queuedUs.size() - bootloader.turnarounds.size();
    std::vector<double> turnaround;
    std::vector<double> queued;
    std::vector<double> own;
    for (size_t i = 0; i < bootloader.turnarounds.size(); ++i) {
        turnaround.push_back(milliseconds(bootloader.turnarounds[i]));
        queued.push_back(double(queuedUs[skipped + i]) / 1000);
        own.push_back(turnaround.back() - queued.back());
    }
    std::printf("%d chunks of %d bytes: %.1f chunks a second\n", kChunks,
                int(FirmwareChunks::kChunkLength), kChunks / milliseconds(bootloader.total) * 1000);
    print("answer to next chunk on the line", turnaround);
    print("of it in the queue (the pass of the thread)", queued);
    print("of it the console's own", own);
    return 0;
}
