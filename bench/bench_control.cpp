// How long a key press takes to reach the pod's socket, and a status frame to reach the interface.

#include "BenchReport.h"
#include "backend/CMain.h"

#include <QDir>
#include <QGuiApplication>
#include <QQmlContext>
#include <QQuickItem>
#include <QQuickView>
#include <QSemaphore>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryFile>
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

// Keys and readings as the window has them.
constexpr const char *kScene = R"(
import QtQuick

Rectangle {
    focus: true
    function sendPtzCommand(command) {
        if (command === "up")
            cMain.moveUp(cMain.moveSpeed)
        else
            cMain.stopMove()
    }
    Keys.onPressed: (event) => { if (!event.isAutoRepeat && event.key === Qt.Key_W) sendPtzCommand("up") }
    Keys.onReleased: (event) => { if (!event.isAutoRepeat && event.key === Qt.Key_W) sendPtzCommand("stop") }
    Text {
        text: cMain.yaw.toFixed(1)
    }
}
)";

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

std::vector<double> pressKeys(QQuickView &window, Pod &pod)
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

std::vector<double> receiveStatus(CMain &backend, const QQuickView &window, Pod &pod)
{
    // The scene's bindings are notified before any slot: this is when both have changed.
    const auto *text = window.rootObject()->findChild<QQuickItem *>();
    Clock::time_point changed;
    bool seen = false;
    const QMetaObject::Connection connection =
        QObject::connect(&backend, &CMain::attitudeChanged, &window, [&] {
            changed = Clock::now();
            seen = true;
        });
    std::vector<double> latencies;
    for (int i = 0; i < kSamples + kWarmUp; ++i) {
        seen = false;
        pod.wanted.release();
        while (!seen)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        if (text->property("text").toString() != QString::number(backend.yaw(), 'f', 1))
            fail("the scene lags behind the property");
        if (i >= kWarmUp)
            latencies.push_back(microseconds(changed - pod.stamp.load()));
    }
    QObject::disconnect(connection);
    return latencies;
}

// The backend's log lines are put together, as in the console, but not printed.
void swallow(QtMsgType, const QMessageLogContext &, const QString &) {}

void loadScene(QQuickView &window, CMain &backend)
{
    window.rootContext()->setContextProperty(QStringLiteral("cMain"), &backend);
    QTemporaryFile scene(QDir::tempPath() + QStringLiteral("/XXXXXX.qml"));
    if (!scene.open())
        fail("cannot write the scene");
    scene.write(kScene);
    scene.close();
    window.setSource(QUrl::fromLocalFile(scene.fileName()));
    if (window.status() != QQuickView::Ready)
        fail("the scene does not load");
    window.show();
    if (!QTest::qWaitForWindowExposed(&window))
        fail("no window");
}

} // namespace

int main(int argc, char *argv[])
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    qInstallMessageHandler(swallow);

    Pod pod;
    pod.start();
    pod.listening.acquire();
    CMain backend;
    QQuickView window;
    loadScene(window, backend);
    if (!backend.connectTCP(QStringLiteral("127.0.0.1"), pod.port))
        fail("cannot connect");

    bench::printHeader("Control latency",
                       "Loopback TCP, the pod on a thread of its own; a rest of 2 ms before each\n"
                       "sample. Keys enter at the platform's key event, commands are stamped when\n"
                       "the pod's read returns; status frames are stamped before the pod's write.");
    bench::printLatencies("key press to command at the pod's socket", pressKeys(window, pod));
    bench::printLatencies("status frame to changed property and text",
                          receiveStatus(backend, window, pod));
    pod.wanted.release();
    pod.wait();
    return 0;
}
