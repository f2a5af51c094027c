// Flies the console at random, with random faults, and watches what its process holds.
// Usage: soak [--minutes N] [--seed N] [--csv FILE]

#include "Flight.h"

#include <QRandomGenerator>
#include <QTextStream>

#include <iterator>

namespace {

constexpr int kWarmUpPercent = 15; // of the time, before the first level is taken
constexpr int kSampleMs = 1000;
constexpr int kNewFormatMs = 4000; // until a stream whose format changes is lost
constexpr int kIdleMs = 33000;     // threads of a pool end after 30 s without work
constexpr int kMenuMs = 50;        // it may open, or have been open and shut
// Until a lost stream is back: a read's time-out, one open that a server gone silent holds for its
// whole bound (18.5 s), the pause before the next, and that one.
constexpr int kLongLossMs = 3000 + 18500 + 5000 + 8500;
constexpr double kGrowthPercent = 2;
constexpr double kExactMinutes = 5; // shorter runs do not wait for threads to end before they begin

class Soak : public Flight
{
public:
    Soak(double minutes, quint32 seed, const QString &csv)
        : Flight({})
        , m_minutes(minutes)
        , m_random(seed)
        , m_csv(csv)
    {
        if (!m_csv.open(QIODevice::WriteOnly))
            qFatal("soak: %s cannot be written", qPrintable(csv));
        m_csv.write("seconds,resident KiB,descriptors,threads,actions,commands\n");
        addActions();
        m_clock.start();
    }

    bool run()
    {
        connectBy(Tcp);
        flyFor(m_minutes * kWarmUpPercent / 100);
        const Vitals before = level();
        flyFor(m_minutes * (100 - kWarmUpPercent) / 100);
        const Vitals after = level();
        const double growth = 100.0 * double(after.residentKib) / double(before.residentKib) - 100;
        QTextStream(stdout) << m_clock.elapsed() / 1000 << " s, " << m_done << " actions, "
                            << record().frames() << " commands, " << record().motions()
                            << " motions; MiB | descriptors | threads: " << before.changeTo(after)
                            << " (" << growth << " %)" << Qt::endl;
        if (isExact())
            expect(growth < kGrowthPercent && after.descriptors == before.descriptors
                       && after.threads == before.threads,
                   u"it holds more or less than before"_s);
        else
            expectLevel(before);
        expectControl();
        expectRecordInOrder();
        return passed();
    }

private:
    using Action = std::function<void()>;

    bool isExact() const { return m_minutes >= kExactMinutes; }
    int below(int limit) { return m_random.bounded(limit); }
    template<typename Item>
    Item any(std::initializer_list<Item> items)
    {
        return *std::next(items.begin(), below(int(items.size())));
    }
    void nap(int limitMs) { lastFor(below(limitMs)); }

    void sample(const Vitals &now)
    {
        QTextStream(&m_csv) << m_clock.elapsed() / 1000 << ',' << now.residentKib << ','
                            << now.descriptors << ',' << now.threads << ',' << m_done << ','
                            << record().frames() << Qt::endl;
    }

    void flyFor(double minutes)
    {
        const qint64 endMs = m_clock.elapsed() + qint64(minutes * 60000);
        while (m_clock.elapsed() < endMs && lives() && passed()) {
            m_actions.at(below(int(m_actions.size())))();
            ++m_done;
            if (m_clock.elapsed() >= m_nextSampleMs) {
                m_nextSampleMs = m_clock.elapsed() + kSampleMs;
                sample(vitals());
                forget();
            }
        }
    }

    /// Connected over TCP, the stream playing, everything else at rest.
    Vitals level()
    {
        fault(u"video format 640x360 25 h264"_s);
        connectBy(Tcp);
        waitFor([this] { return !isPlaying(); }, kNewFormatMs);
        // Once the operator has started the stream anew in the middle of an attempt, the item makes
        // no more of its own, and it is his again to start it.
        if (!waitFor([this] { return isPlaying(); }, kLongLossMs) && log().contains("重连被取消"))
            restartStream();
        restore(kLongLossMs);
        if (isExact())
            lastFor(kIdleMs);
        const Vitals held = vitalsAtRest(std::ranges::min);
        sample(held);
        return held;
    }

    // The operator, at random.
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
    void pressButton()
    {
        const QString name = any({u"photobutton"_s, u"recordbutton"_s, u"zoomButton/mouseIn"_s,
                                  u"zoomButton/mouseOut"_s, u"centerbutton/mouse1"_s,
                                  u"gimbalbutton/mousefollow"_s});
        click(name.section(u'/', 0, 0));
        lastFor(kMenuMs);
        const QString entry = name.section(u'/', 1);
        const QString where = entry.isEmpty() ? entry : place(entry);
        if (!where.isEmpty())
            clickAt(where);
        input("key --delay 1 Escape");
    }
    void restartStream()
    {
        openDrawer(0);
        click("urlButton");
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
            connectBy(Tcp);
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

    /// Something that is done so often in about a hundred actions.
    void add(int weight, const Action &act) { m_actions.insert(0, weight, act); }
    void addActions()
    {
        add(30, [this] { anyKey(); });
        add(10, [this] { // two keys
            press("w");
            press("e");
            nap(100);
            release("w");
            anyKey();
            release("e");
        });
        add(15, [this] { // drag
            pointAnywhere();
            input("mousedown 1");
            for (int i = below(6); i >= 0; --i) {
                pointAnywhere();
                nap(120);
            }
            input("mouseup 1");
        });
        add(10, [this] {
            pointAnywhere();
            input(QByteArray("click --delay 0 ") + any({"1", "1", "3"}));
        });
        add(10, [this] { // wheel
            pointAnywhere();
            const QByteArray direction = any({"click --delay 0 4", "click --delay 0 5"});
            for (int i = below(8); i >= 0; --i) {
                input(direction);
                nap(60);
            }
        });
        add(10, [this] { pressButton(); });
        add(4, [this] {
            openDrawer(below(7));
            nap(300);
            closeDrawer();
        });
        add(3, [this] {
            disconnect();
            connectBy(any({Tcp, Serial}));
        });
        add(2, [this] { restartStream(); });
        add(2, [this] { // the keyboard is lost in a motion
            press("d");
            nap(60);
            input("windowfocus 0");
            nap(200);
            release("d");
            takeKeyboard();
        });
        add(3, [this] { disturbLink(); });
        add(2, [this] { disturbStream(); });
    }

    QList<Action> m_actions;
    const double m_minutes;
    QRandomGenerator m_random;
    QFile m_csv;
    QElapsedTimer m_clock;
    qint64 m_nextSampleMs = 0;
    qint64 m_done = 0;
};

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication app(argc, argv);
    Soak soak(valueOf(u"--minutes"_s, u"30"_s).toDouble(), valueOf(u"--seed"_s, u"1"_s).toUInt(),
              valueOf(u"--csv"_s, u"soak.csv"_s));
    return soak.run() ? 0 : 1;
}
