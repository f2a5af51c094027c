// Flies the console at random, with random faults, and watches what its process holds.
// Usage: soak [--minutes N] [--seed N] [--csv FILE]

#include "Trial.h"

#include <QFileInfo>
#include <QRandomGenerator>
#include <QTextStream>

#include <iterator>

namespace {

constexpr int kWarmUpPercent = 15; // of the time, before the first level is taken
constexpr int kIntervalMs = 1000;
constexpr int kRestMs = 2000;
constexpr int kIdleMs = 33000; // threads of a pool end after 30 s without work
// Until a lost stream is back: a read's time-out, one open that a server gone silent holds for its
// whole bound (18.5 s), the pause before the next, and that one.
constexpr int kLongLossMs = 3000 + 18500 + 5000 + 8500;
constexpr double kGrowthPercent = 2;
constexpr double kExactMinutes = 5; // shorter runs do not wait for threads to end before they begin

class Soak : public Trial
{
public:
    Soak(double minutes, quint32 seed, const QString &csv)
        : Trial({}, QFileInfo(csv).path() + u"/soak-failure"_s)
        , m_minutes(minutes)
        , m_random(seed)
        , m_csv(csv)
    {
        if (!m_csv.open(QIODevice::WriteOnly))
            qFatal("soak: %s cannot be written", qPrintable(csv));
        m_csv.write("seconds,resident KiB,descriptors,threads,actions,commands\n");
        m_clock.start();
    }

    bool run()
    {
        expectConnection(Tcp);
        flyFor(m_minutes * kWarmUpPercent / 100);
        const Vitals before = level();
        flyFor(m_minutes * (100 - kWarmUpPercent) / 100);
        Vitals after = level();
        const auto isBack = [&] {
            after.descriptors = vitals().descriptors;
            after.threads = vitals().threads;
            return after.descriptors <= before.descriptors && after.threads <= before.threads;
        };
        waitFor(isBack, isExact() ? 0 : kIdleMs);
        judge(before, after);
        expectControl();
        expectRecordInOrder();
        expect(lives(), u"the console is gone"_s);
        return passed();
    }

    // The operator, at random.
    int below(int limit) { return m_random.bounded(limit); }
    template<typename Item>
    Item any(std::initializer_list<Item> items)
    {
        return *std::next(items.begin(), below(int(items.size())));
    }
    void nap(int limitMs) { lastFor(below(limitMs)); }
    void pointAnywhere()
    {
        input(u"mousemove %1 %2"_s.arg(60 + below(540)).arg(90 + below(560)).toLatin1());
    }
    void anyKey()
    {
        const QByteArray key = any({"w", "a", "s", "d", "q", "e"});
        press(key);
        nap(150);
        release(key);
    }
    void restartStream()
    {
        expect(openDrawer(0) && click(u"urlButton"_s), u"no stream button"_s);
        closeDrawer();
    }
    void disturbLink()
    {
        const bool isMoving = below(2) == 0;
        if (isMoving)
            press("a");
        nap(60);
        fault(any({u"control drop rst"_s, u"control drop fin"_s, u"control unplug"_s,
                   u"control corrupt 9"_s, u"control split on"_s, u"control join on"_s,
                   u"status rate 5000"_s}));
        nap(500);
        if (isMoving)
            release("a");
        for (const auto &line : {u"control replug"_s, u"control split off"_s, u"control join off"_s,
                                 u"status rate 25"_s})
            fault(line);
        waitFor([this] { return !isConnected(); }, 200);
        if (!isConnected())
            expectConnection(Tcp);
    }
    void disturbStream()
    {
        const QString size = any({u"640x360"_s, u"480x360"_s, u"320x240"_s});
        const QString codec = any({u"h264"_s, u"h264"_s, u"h265"_s});
        fault(any({u"video end"_s, u"video stall"_s, u"video kill"_s, u"video resize "_s + size,
                   u"video garbage on"_s, u"video format %1 25 %2"_s.arg(size, codec)}));
        for (int i = below(30); i >= 0; --i)
            anyKey();
        for (const auto &line : {u"video resume"_s, u"video garbage off"_s, u"video restart"_s})
            fault(line);
    }
    void pressButton()
    {
        const QString name = any({u"photobutton"_s, u"recordbutton"_s, u"zoomButton/mouseIn"_s,
                                  u"zoomButton/mouseOut"_s, u"centerbutton/mouse1"_s,
                                  u"gimbalbutton/mousefollow"_s});
        click(name.section(u'/', 0, 0));
        lastFor(kMenuMs);
        const QString entry = name.section(u'/', 1);
        if (!entry.isEmpty() && !ask(u"where "_s + entry).isEmpty())
            click(entry);
        input("key --delay 1 Escape");
    }

private:
    static constexpr int kMenuMs = 50; // it may open, or have been open and shut

    bool isExact() const { return m_minutes >= kExactMinutes; }

    Vitals sample()
    {
        const Vitals now = vitals();
        QTextStream(&m_csv) << m_clock.elapsed() / 1000 << ',' << now.residentKib << ','
                            << now.descriptors << ',' << now.threads << ',' << m_actions << ','
                            << record().frames() << Qt::endl;
        return now;
    }

    void flyFor(double minutes);

    /// Connected over TCP, the stream playing, everything else at rest.
    Vitals level()
    {
        fault(u"video format 640x360 25 h264"_s);
        expectConnection(Tcp);
        const auto plays = [this] { return isPlaying(); };
        waitFor([&] { return !plays(); }, 4 * kIntervalMs);
        // Once the operator has started the stream anew in the middle of an attempt, the item makes
        // no more of its own, and it is his again to start it.
        if (!waitFor(plays, kLongLossMs) && log().contains("重连被取消"))
            restartStream();
        restore(kLongLossMs);
        if (isExact() && passed())
            lastFor(kIdleMs);
        Vitals lowest = sample();
        const auto takeLowest = [&] { // picture buffers come and go
            lowest.residentKib = std::min(lowest.residentKib, vitals().residentKib);
            return false;
        };
        waitFor(takeLowest, kRestMs);
        return lowest;
    }

    void judge(const Vitals &before, const Vitals &after)
    {
        const qint64 growthKib = after.residentKib - before.residentKib;
        const double growth = 100.0 * double(growthKib) / double(before.residentKib);
        QTextStream(stdout) << m_clock.elapsed() / 1000 << " s, " << m_actions << " actions, "
                            << record().frames() << " commands, " << record().motions()
                            << " motions; MiB | descriptors | threads: " << held(before, after)
                            << " (" << growth << " %)" << Qt::endl;
        expect(growth < kGrowthPercent || (!isExact() && growthKib < kSlackKib), u"memory grew"_s);
        const int descriptors = after.descriptors - before.descriptors;
        const int threads = after.threads - before.threads;
        expect(descriptors <= 0 && threads <= 0
                   && (!isExact() || (descriptors == 0 && threads == 0)),
               u"descriptors or threads are left over"_s);
    }

    const double m_minutes;
    QRandomGenerator m_random;
    QFile m_csv;
    QElapsedTimer m_clock;
    qint64 m_nextSampleMs = 0;
    qint64 m_actions = 0;
};

struct Action
{
    int weight = 0;
    void (*act)(Soak &) = nullptr;
};

const auto kActions = std::to_array<Action>({
    {30, [](Soak &p) { p.anyKey(); }},
    {10,
     [](Soak &p) { // two keys
         p.press("w");
         p.press("e");
         p.nap(100);
         p.release("w");
         p.anyKey();
         p.release("e");
     }},
    {15,
     [](Soak &p) { // drag
         p.pointAnywhere();
         p.input("mousedown 1");
         for (int i = p.below(6); i >= 0; --i) {
             p.pointAnywhere();
             p.nap(120);
         }
         p.input("mouseup 1");
     }},
    {10,
     [](Soak &p) {
         p.pointAnywhere();
         p.clickHere(p.any({"1", "1", "3"}));
     }},
    {10,
     [](Soak &p) { // wheel
         p.pointAnywhere();
         const QByteArray direction = p.any({"4", "5"});
         for (int i = p.below(8); i >= 0; --i) {
             p.clickHere(direction);
             p.nap(60);
         }
     }},
    {10, [](Soak &p) { p.pressButton(); }},
    {4,
     [](Soak &p) {
         p.expect(p.openDrawer(p.below(7)), u"the drawer did not open"_s);
         p.nap(300);
         p.closeDrawer();
     }},
    {3,
     [](Soak &p) {
         p.expect(p.disconnect(), u"no disconnection"_s);
         p.expectConnection(p.any({Flight::Tcp, Flight::Serial}));
     }},
    {2, [](Soak &p) { p.restartStream(); }},
    {2,
     [](Soak &p) { // the keyboard is lost in a motion
         p.press("d");
         p.nap(60);
         p.input("windowfocus 0");
         p.nap(200);
         p.release("d");
         p.takeKeyboard();
     }},
    {3, [](Soak &p) { p.disturbLink(); }},
    {2, [](Soak &p) { p.disturbStream(); }},
});

void Soak::flyFor(double minutes)
{
    int weights = 0;
    for (const Action &action : kActions)
        weights += action.weight;
    const qint64 endMs = m_clock.elapsed() + qint64(minutes * 60000);
    while (m_clock.elapsed() < endMs && lives() && passed()) {
        int left = below(weights);
        const Action *action = kActions.data();
        while (left >= action->weight)
            left -= (action++)->weight;
        action->act(*this);
        ++m_actions;
        if (m_clock.elapsed() >= m_nextSampleMs) {
            m_nextSampleMs = m_clock.elapsed() + kIntervalMs;
            sample();
            forget();
        }
    }
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication app(argc, argv);
    Soak soak(valueOf(u"--minutes"_s, u"30"_s).toDouble(), valueOf(u"--seed"_s, u"1"_s).toUInt(),
              valueOf(u"--csv"_s, u"soak.csv"_s));
    return soak.run() ? 0 : 1;
}
