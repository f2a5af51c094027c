// Flies the console at random, with random faults, and watches what its process holds.
// Usage: soak [--minutes N] [--seed N] [--csv FILE]

#include "Flight.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QThread>

#include <algorithm>
#include <cstdio>
#include <iterator>

using namespace Qt::StringLiterals;

namespace {

constexpr int kWarmUpPercent = 15; // of the time, before the first level is taken
constexpr int kSampleMs = 1000;
constexpr int kIdleMs = 33000; // threads of a pool end after 30 s without work
constexpr qint64 kWholeLog = 1 << 30;
// Until a lost stream is back: a read's time-out, one open that a server gone silent holds for its
// whole bound (18.5 s), the pause before the next, and that one.
constexpr int kLossMs = 3000 + 18500 + 5000 + 8500;
constexpr double kGrowthPercent = 2;
constexpr int kLeastSlackKib = 12288; // of a short run, which is all warm-up
constexpr int kExactMinutes = 5; // shorter runs do not wait for threads to end before they begin

class Soak
{
public:
    Soak(double minutes, quint32 seed, const QString &csv)
        : m_minutes(minutes)
        , m_random(seed)
        , m_csv(csv)
        , m_failureFolder(QFileInfo(csv).dir().filePath(u"soak-failure"_s))
        , m_flight({})
    {
        if (!m_csv.open(QIODevice::WriteOnly))
            qFatal("soak: %s cannot be written", qPrintable(csv));
        m_csv.write("seconds,resident KiB,descriptors,threads,actions,commands\n");
    }

    int run();

private:
    struct Action
    {
        int weight;
        void (Soak::*act)();
    };
    static const Action kActions[];

    bool isExact() const { return m_minutes >= kExactMinutes; }
    int below(int limit) { return m_random.bounded(limit); }
    template<typename List>
    auto any(const List &list)
    {
        return *std::next(std::begin(list), below(int(std::size(list))));
    }
    QByteArray somewhere()
    {
        return u"mousemove %1 %2"_s.arg(60 + below(540)).arg(90 + below(560)).toLatin1();
    }

    void input(const QByteArray &line) { m_flight.input(line); }
    void fault(const QString &line) { m_flight.fault(line); }
    void nap(int ms) { QThread::msleep(ulong(ms)); }

    void flyFor(double minutes);
    void sample();
    void check(bool holds, const QString &what);
    Vitals level();

    // What the operator does.
    void key();
    void twoKeys();
    void drag();
    void clickPicture();
    void wheel();
    void press();
    void visitDrawer();
    void changeLink();
    void restartStream();
    void loseKeyboard();
    // What happens to him.
    void disturbLink();
    void disturbStream();

    double m_minutes;
    QRandomGenerator m_random;
    QFile m_csv;
    QString m_failureFolder;
    Flight m_flight;
    QElapsedTimer m_clock;
    qint64 m_nextSampleMs = 0;
    qint64 m_actions = 0;
    int m_failures = 0;
};

const Soak::Action Soak::kActions[] = {
    {30, &Soak::key},          {10, &Soak::twoKeys},    {15, &Soak::drag},
    {10, &Soak::clickPicture}, {10, &Soak::wheel},      {10, &Soak::press},
    {4, &Soak::visitDrawer},   {3, &Soak::changeLink},  {2, &Soak::restartStream},
    {2, &Soak::loseKeyboard},  {3, &Soak::disturbLink}, {2, &Soak::disturbStream},
};

void Soak::key()
{
    const QByteArray key = any(QList<QByteArray>{"w", "a", "s", "d", "q", "e"});
    input("keydown --delay 0 " + key);
    nap(below(150));
    input("keyup --delay 0 " + key);
}

void Soak::twoKeys()
{
    input("keydown --delay 0 w");
    input("keydown --delay 0 e");
    nap(below(100));
    input("keyup --delay 0 w");
    key();
    input("keyup --delay 0 e");
}

void Soak::drag()
{
    input(somewhere());
    input("mousedown 1");
    for (int i = below(6); i >= 0; --i) {
        input(somewhere());
        nap(below(120));
    }
    input("mouseup 1");
}

void Soak::clickPicture()
{
    input(somewhere());
    const QByteArray button = any(QList<QByteArray>{"1", "1", "3"});
    input("mousedown " + button);
    input("mouseup " + button);
}

void Soak::wheel()
{
    input(somewhere());
    const QByteArray direction = any(QList<QByteArray>{"4", "5"});
    for (int i = below(8); i >= 0; --i) {
        input("mousedown " + direction);
        input("mouseup " + direction);
        nap(below(60));
    }
}

void Soak::press()
{
    const auto [button, entry] = any(QList<std::pair<const char *, const char *>>{
        {"photobutton", nullptr},
        {"recordbutton", nullptr},
        {"zoomButton", "mouseIn"},
        {"zoomButton", "mouseOut"},
        {"centerbutton", "mouse1"},
        {"gimbalbutton", "mousefollow"},
    });
    m_flight.click(button);
    if (entry) {
        nap(50);
        if (!m_flight.ask(u"where "_s + QLatin1StringView(entry)).isEmpty())
            m_flight.click(entry);
    }
    input("key --delay 1 Escape");
}

void Soak::visitDrawer()
{
    check(m_flight.openDrawer(below(7)), u"the drawer did not open"_s);
    nap(below(300));
    m_flight.closeDrawer();
}

void Soak::changeLink()
{
    check(m_flight.disconnect(), u"no disconnection"_s);
    const auto link = any(QList<Flight::Link>{Flight::Tcp, Flight::Serial});
    check(m_flight.connectBy(link), u"no connection"_s);
}

void Soak::restartStream()
{
    check(m_flight.openDrawer(0) && m_flight.click("urlButton"), u"no stream button"_s);
    m_flight.closeDrawer();
}

void Soak::loseKeyboard()
{
    input("keydown --delay 0 d");
    nap(below(60));
    input("windowfocus 0");
    nap(below(200));
    input("keyup --delay 0 d");
    m_flight.takeKeyboard();
}

void Soak::disturbLink()
{
    const bool moving = below(2) == 0;
    if (moving)
        input("keydown --delay 0 a");
    nap(below(60));
    fault(any(QStringList{u"control drop rst"_s, u"control drop fin"_s, u"control unplug"_s,
                          u"control corrupt 9"_s, u"control split on"_s, u"control join on"_s,
                          u"status rate 5000"_s}));
    nap(below(500));
    if (moving)
        input("keyup --delay 0 a");
    for (const auto *line :
         {"control replug", "control split off", "control join off", "status rate 25"})
        fault(QLatin1StringView(line));
    m_flight.waitFor([this] { return !m_flight.isConnected(); }, 200);
    check(m_flight.isConnected() || m_flight.connectBy(Flight::Tcp), u"no connection"_s);
}

void Soak::disturbStream()
{
    const QString size = any(QStringList{u"640x360"_s, u"480x360"_s, u"320x240"_s});
    const QString codec = any(QStringList{u"h264"_s, u"h264"_s, u"h265"_s});
    fault(any(QStringList{u"video end"_s, u"video stall"_s, u"video kill"_s,
                          u"video resize "_s + size, u"video garbage on"_s,
                          u"video format %1 25 %2"_s.arg(size, codec)}));
    for (int i = below(30); i >= 0; --i)
        key();
    for (const auto *line : {"video resume", "video garbage off", "video restart"})
        fault(QLatin1StringView(line));
}

void Soak::check(bool holds, const QString &what)
{
    if (holds)
        return;
    if (m_failures++ > 0)
        return; // the first says it all
    m_flight.keepLogs(m_failureFolder);
    std::printf("failed after %lld s: %s; logs and last doings are in %s\n",
                m_clock.elapsed() / 1000, qPrintable(what), qPrintable(m_failureFolder));
    std::fflush(stdout);
}

void Soak::sample()
{
    const Vitals vitals = m_flight.vitals();
    m_flight.record().update();
    m_csv.write(u"%1,%2,%3,%4,%5,%6\n"_s.arg(m_clock.elapsed() / 1000)
                    .arg(vitals.residentKib)
                    .arg(vitals.descriptors)
                    .arg(vitals.threads)
                    .arg(m_actions)
                    .arg(m_flight.record().frames())
                    .toLatin1());
    m_csv.flush();
}

void Soak::flyFor(double minutes)
{
    int weights = 0;
    for (const Action &action : kActions)
        weights += action.weight;
    const qint64 endMs = m_clock.elapsed() + qint64(minutes * 60000);
    while (m_clock.elapsed() < endMs && m_flight.lives() && m_failures == 0) {
        int left = below(weights);
        const Action *action = kActions;
        while (left >= action->weight)
            left -= (action++)->weight;
        (this->*action->act)();
        ++m_actions;
        if (m_clock.elapsed() >= m_nextSampleMs) {
            m_nextSampleMs = m_clock.elapsed() + kSampleMs;
            sample();
            m_flight.forget();
        }
    }
}

/// Connected over TCP, the stream playing, everything else at rest.
Vitals Soak::level()
{
    fault(u"video format 640x360 25 h264"_s);
    check(m_flight.connectBy(Flight::Tcp), u"no connection"_s);
    m_flight.waitFor([this] { return !m_flight.isPlaying(); }, 4 * kSampleMs);
    const auto plays = [this] { return m_flight.isPlaying(); };
    // Once the operator has started the stream anew in the middle of an attempt, the item makes no
    // more of its own, and it is his again to start it.
    if (!m_flight.waitFor(plays, kLossMs) && m_flight.logTail(kWholeLog).contains(u"重连被取消"_s))
        restartStream();
    check(m_flight.waitFor(plays, kLossMs), u"no video"_s);
    if (isExact() && m_failures == 0)
        nap(kIdleMs);
    Vitals lowest = m_flight.vitals(); // picture buffers come and go
    for (int i = 0; i < 50; ++i) {
        nap(40);
        lowest.residentKib = std::min(lowest.residentKib, m_flight.vitals().residentKib);
    }
    sample();
    return lowest;
}

int Soak::run()
{
    m_clock.start();
    check(m_flight.connectBy(Flight::Tcp), u"no connection"_s);
    flyFor(m_minutes * kWarmUpPercent / 100);
    const Vitals before = level();
    flyFor(m_minutes * (100 - kWarmUpPercent) / 100);
    Vitals after = level();
    const auto isBack = [&] {
        after.descriptors = m_flight.vitals().descriptors;
        after.threads = m_flight.vitals().threads;
        return after.descriptors <= before.descriptors && after.threads <= before.threads;
    };
    m_flight.waitFor(isBack, isExact() ? 0 : kIdleMs);
    if (m_failures > 0)
        return 1;
    const int controlMs = m_flight.measureControl();
    m_flight.record().update();

    const double growth =
        100.0 * double(after.residentKib - before.residentKib) / double(before.residentKib);
    const bool small = growth < kGrowthPercent
                       || (!isExact() && after.residentKib - before.residentKib < kLeastSlackKib);
    std::printf("%lld s, %lld actions, %lld commands, %lld motions\n"
                "resident %.1f -> %.1f MiB (%+.2f %%), descriptors %d -> %d, threads %d -> %d\n",
                m_clock.elapsed() / 1000, m_actions, m_flight.record().frames(),
                m_flight.record().motions(), double(before.residentKib) / 1024,
                double(after.residentKib) / 1024, growth, before.descriptors, after.descriptors,
                before.threads, after.threads);
    check(m_flight.lives(), u"the console is gone"_s);
    check(small, u"memory grew"_s);
    check(isBack()
              && (!isExact()
                  || (after.descriptors == before.descriptors && after.threads == before.threads)),
          u"descriptors or threads are left over"_s);
    check(controlMs >= 0, u"the pod cannot be controlled"_s);
    check(!m_flight.record().isMoving(), u"a motion is left without its stop"_s);
    check(m_flight.record().faults().isEmpty(), m_flight.record().faults().join(u", "_s));
    return m_failures == 0 ? 0 : 1;
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const auto valueOf = [&](const QString &option, const QString &byDefault) {
        const qsizetype index = arguments.indexOf(option);
        return index < 0 ? byDefault : arguments.value(index + 1);
    };
    Soak soak(valueOf(u"--minutes"_s, u"30"_s).toDouble(), valueOf(u"--seed"_s, u"1"_s).toUInt(),
              valueOf(u"--csv"_s, u"soak.csv"_s));
    return soak.run();
}
