#include "ControlProbe.h"

#include <QRandomGenerator>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <QWindow>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>

namespace bench {

namespace {

using std::chrono::duration_cast;

constexpr int kWaitMs = 30000;
constexpr qsizetype kCommandLength = 7;
constexpr int kMotionByte = 3; // of a command: 0 for stop
constexpr int kWarmUp = 20;    // holds
constexpr auto kStatusInterval = std::chrono::milliseconds(40);

// Between two events, at random, so that they meet every phase of what the GUI thread does.
constexpr int kMinPauseMs = 3;
constexpr int kMaxPauseMs = 15;

QByteArray statusFrame() { return QByteArray::fromHex("EE011D") + QByteArray(26, '\0'); }

} // namespace

void fail(const char *problem)
{
    std::fprintf(stdout, "failed: %s\n", problem);
    std::fflush(stdout);
    std::_Exit(1);
}

double milliseconds(Clock::duration duration)
{
    return std::chrono::duration<double, std::milli>(duration).count();
}

ProcessorWait::ProcessorWait()
    : m_file(open("/proc/thread-self/schedstat", O_RDONLY | O_CLOEXEC))
{
}

ProcessorWait::~ProcessorWait()
{
    if (m_file >= 0)
        close(m_file);
}

Clock::duration ProcessorWait::total() const
{
    // Nanoseconds on a processor, nanoseconds waiting for one, turns.
    std::array<char, 80> text{};
    if (m_file < 0 || pread(m_file, text.data(), text.size() - 1, 0) <= 0)
        return {};
    char *afterRunning = nullptr;
    std::strtoull(text.data(), &afterRunning, 10);
    return std::chrono::nanoseconds(std::strtoull(afterRunning, nullptr, 10));
}

PodEnd::PodEnd(const ProcessorWait &guiWait)
    : m_guiWait(guiWait)
{
    start();
    m_listening.acquire();
}

PodEnd::~PodEnd()
{
    m_quit = true;
    wait();
}

Clock::duration PodEnd::processorWait() const
{
    return m_guiWait.total() + m_ownWait.load()->total();
}

void PodEnd::run()
{
    const ProcessorWait ownWait;
    m_ownWait = &ownWait;
    QTcpServer server;
    if (!server.listen(QHostAddress::LocalHost))
        fail("no port");
    m_port = server.serverPort();
    m_listening.release();
    if (!server.waitForNewConnection(kWaitMs))
        fail("the console did not connect");
    QTcpSocket *console = server.nextPendingConnection();
    console->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    Clock::time_point nextStatus = Clock::now();
    while (!m_quit) {
        const auto rest = duration_cast<std::chrono::milliseconds>(nextStatus - Clock::now());
        if (rest.count() <= 0) {
            console->write(statusFrame());
            console->flush();
            nextStatus += kStatusInterval;
        } else {
            console->waitForReadyRead(int(rest.count()));
        }
        while (console->bytesAvailable() >= kCommandLength)
            take(console->read(kCommandLength));
    }
}

void PodEnd::take(const QByteArray &command)
{
    const Arrival arrival{Clock::now(), processorWait(), command.at(kMotionByte) == 0};
    const std::lock_guard lock(m_mutex);
    m_arrivals.push_back(arrival);
    m_came.notify_all();
}

std::optional<PodEnd::Arrival> PodEnd::nextCommand()
{
    std::unique_lock lock(m_mutex);
    if (!m_came.wait_for(lock, std::chrono::milliseconds(kWaitMs),
                         [this] { return !m_arrivals.empty(); }))
        return std::nullopt;
    const Arrival arrival = m_arrivals.front();
    m_arrivals.pop_front();
    return arrival;
}

Latencies holdKeys(QWindow &window, PodEnd &pod, int holds)
{
    Latencies latencies;
    for (int i = 0; i < kWarmUp + holds; ++i) {
        for (const QEvent::Type type : {QEvent::KeyPress, QEvent::KeyRelease}) {
            QThread::msleep(ulong(QRandomGenerator::global()->bounded(kMinPauseMs, kMaxPauseMs)));
            const Clock::duration waitedBefore = pod.processorWait();
            const Clock::time_point start = Clock::now();
            // Not QTest::keyPress, whose search for shortcuts belongs to the GUI thread.
            qt_handleKeyEvent(&window, type, Qt::Key_W, Qt::NoModifier, QStringLiteral("w"));
            const std::optional<PodEnd::Arrival> arrival = pod.nextCommand();
            if (!arrival)
                fail("a key event had no effect");
            if (arrival->isStop != (type == QEvent::KeyRelease))
                fail("a command out of turn");
            if (i < kWarmUp)
                continue;
            const Clock::duration latency = arrival->time - start;
            const Clock::duration waited = arrival->processorWait - waitedBefore;
            latencies.all.push_back(milliseconds(latency));
            latencies.net.push_back(milliseconds(std::max(latency - waited, Clock::duration{})));
        }
    }
    return latencies;
}

TurnMeter::TurnMeter(const ProcessorWait &guiWait)
    : m_guiWait(guiWait)
{
    m_timer.setTimerType(Qt::PreciseTimer);
    m_timer.setInterval(1);
    QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] { tick(); });
}

void TurnMeter::start()
{
    m_last = Clock::now();
    m_lastWait = m_guiWait.total();
    m_timer.start();
}

void TurnMeter::tick()
{
    const Clock::time_point now = Clock::now();
    const Clock::duration wait = m_guiWait.total();
    const Clock::duration gap = now - m_last;
    m_longest = std::max(m_longest, gap);
    m_longestNet = std::max(m_longestNet, gap - (wait - m_lastWait));
    m_last = now;
    m_lastWait = wait;
}

} // namespace bench
