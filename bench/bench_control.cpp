// How long a key press in the window takes to the pod's socket, and a status frame to the reading
// over the video.

#include "BenchReport.h"
#include "UiHarness.h"

#include <QGuiApplication>
#include <QSemaphore>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <QThread>
#include <QtEndian>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kSamples = 2000;
constexpr int kWarmUp = 50;
constexpr int kWaitMs = 10000;
constexpr int kRestMs = 2; // between samples, so that each finds both threads asleep
constexpr qsizetype kCommandLength = 7;

double microseconds(Clock::duration duration)
{
    return std::chrono::duration<double, std::micro>(duration).count();
}

[[noreturn]] void fail(const char *problem)
{
    std::fprintf(stderr, "bench_control: %s\n", problem);
    std::exit(1);
}

/// The pod: on a thread of its own, with blocking calls and nothing between them and the clock.
class Pod : public QThread
{
public:
    quint16 port = 0;
    QSemaphore listening;
    QSemaphore stamped; ///< `stamp` holds the time of the last command's arrival, or of a send
    QSemaphore wanted;  ///< one for each status frame to send
    std::atomic<Clock::time_point> stamp;

    void run() override
    {
        QTcpServer server;
        if (!server.listen(QHostAddress::LocalHost))
            fail("no port");
        port = server.serverPort();
        listening.release();
        if (!server.waitForNewConnection(kWaitMs))
            fail("the console did not connect");
        QTcpSocket *console = server.nextPendingConnection();
        console->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        // A press and a release for each sample.
        for (int i = 0; i < 2 * (kSamples + kWarmUp); ++i)
            takeCommand(*console);
        for (int i = 0; i < kSamples + kWarmUp; ++i)
            sendStatus(*console, i);
        wanted.acquire();
    }

private:
    void takeCommand(QTcpSocket &console)
    {
        while (console.bytesAvailable() < kCommandLength) {
            if (!console.waitForReadyRead(kWaitMs))
                fail("a command did not arrive");
        }
        stamp = Clock::now();
        console.read(kCommandLength);
        stamped.release();
    }

    void sendStatus(QTcpSocket &console, int index)
    {
        QByteArray frame = QByteArray::fromHex("EE011D") + QByteArray(26, '\0');
        qToLittleEndian(static_cast<qint16>(index % 1800 + 1), frame.data() + 9); // yaw
        wanted.acquire();
        msleep(kRestMs);
        stamp = Clock::now();
        console.write(frame);
        console.flush();
    }
};

std::vector<double> pressKeys(QWindow &window, Pod &pod)
{
    std::vector<double> latencies;
    for (int i = 0; i < kSamples + kWarmUp; ++i) {
        QThread::msleep(kRestMs);
        const auto pressed = Clock::now();
        QTest::keyPress(&window, Qt::Key_W);
        if (!pod.stamped.tryAcquire(1, kWaitMs))
            fail("the key press had no effect");
        if (i >= kWarmUp)
            latencies.push_back(microseconds(pod.stamp.load() - pressed));
        QTest::keyRelease(&window, Qt::Key_W);
        pod.stamped.acquire();
    }
    return latencies;
}

std::vector<double> receiveStatus(UiHarness &ui, Pod &pod)
{
    // The window's bindings are notified before any slot: this is when both have changed.
    const CMain &backend = ui.backend();
    const QObject *reading = ui.object(QStringLiteral("yawValue"));
    Clock::time_point changed;
    bool seen = false;
    const QMetaObject::Connection connection =
        QObject::connect(&backend, &CMain::attitudeChanged, ui.window(), [&] {
            changed = Clock::now();
            seen = true;
        });
    std::vector<double> latencies;
    for (int i = 0; i < kSamples + kWarmUp; ++i) {
        seen = false;
        pod.wanted.release();
        while (!seen)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        if (reading->property("text").toString() != QString::number(backend.yaw(), 'f', 1))
            fail("the reading lags behind the property");
        if (i >= kWarmUp)
            latencies.push_back(microseconds(changed - pod.stamp.load()));
    }
    QObject::disconnect(connection);
    return latencies;
}

// The backend's log lines are put together, as in the console, but not printed.
void swallow(QtMsgType, const QMessageLogContext &, const QString &) {}

} // namespace

int main(int argc, char *argv[])
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        qputenv("QT_QUICK_BACKEND", "software");
    }
    QGuiApplication app(argc, argv);
    qInstallMessageHandler(swallow);
    UiHarness::prepare();

    Pod pod;
    pod.start();
    pod.listening.acquire();
    UiHarness ui(UiHarness::kNoStream, false);
    if (!ui.backend().connectTCP(QStringLiteral("127.0.0.1"), pod.port))
        fail("cannot connect");

    bench::printHeader(
        "Control latency",
        "The whole interface in its window, no video. Loopback TCP, the pod on a thread\n"
        "of its own; a rest of 2 ms before each sample. Keys enter at the platform's\n"
        "key event, commands are stamped when the pod's read returns; status frames\n"
        "are stamped before the pod's write.");
    bench::printLatencies("key press to command at the pod's socket", pressKeys(*ui.window(), pod));
    bench::printLatencies("status frame to changed property and reading", receiveStatus(ui, pod));
    pod.wanted.release();
    pod.wait();
    return 0;
}
