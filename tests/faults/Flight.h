#pragma once

#include "ChildProcess.h"
#include "Files.h"
#include "PodRecord.h"
#include "PodSim.h"
#include "Vitals.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QLocalSocket>
#include <QTemporaryDir>
#include <QThread>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <optional>

/// The real console program on the display of $DISPLAY, connected to nothing yet, with a simulated
/// pod. Input reaches it as from a mouse and a keyboard; what it shows is read by a probe that Qt
/// loads into it. The first expectation that does not hold is printed and keeps the logs; after it
/// nothing more is awaited, judged or put in. Nor does a wait last when the console is gone.
class Flight
{
public:
    enum Link { Tcp, Serial };
    using Condition = std::function<bool()>;
    using Name = QAnyStringView;

    struct Setup
    {
        QStringList podArguments = {};
        QString host = u"127.0.0.1"_s; ///< where the console finds the pod
        QString folder = {};           ///< of the settings; empty: an own one
        QByteArray settings = {};      ///< empty: the pod's addresses
        QString launcher = {};         ///< goes before the console's command line
        QString streamUrl = {};        ///< empty: the pod's RTSP stream
        QString make = {};             ///< shell that makes its surroundings
        QString undo = {};
    };

    static constexpr int kWaitMs = 15000;
    static constexpr int kAtOnceMs = 1000; ///< for a command to arrive and a window to answer
    static constexpr int kLossMs = 20000;  ///< a lost stream: noticed in 3 s, tried again after 5 s
    /// For what a first loss adds, up to 8.5 MiB, and later ones hardly do: pages of the fonts that
    /// draw its texts (2.5) and a stream's buffers in the heap of another thread (1 to 5).
    static constexpr int kSlackKib = 12288;

    explicit Flight(const Setup &setup)
        : m_setup(setup)
        , m_pod(setup.podArguments + kPodArguments.arg(m_scratch.path()).split(u' '))
        , m_record(path("pod.log"))
        , m_doings(path("doings.txt"))
        , m_input(u"xdotool"_s, {u"-"_s}, ChildProcess::End::Anyhow)
    {
        const QString addresses = u"[RTSP]\nrtspIp=%1\n[TCP]\ndeviceIp=%2\ndevicePort=%3\n"_s;
        writeFile(settingsPath(),
                  !setup.settings.isEmpty()
                      ? setup.settings
                      : addresses.arg(streamUrl(), setup.host).arg(m_pod.controlPort()).toUtf8());
        if (!m_doings.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
            qFatal("Flight: no notes of what is done");
        const QString command = QStringLiteral(
            "cd '%1' && exec env QT_MESSAGE_PATTERN='%{time hh:mm:ss.zzz} %{message}' "
            "QT_PLUGIN_PATH='" PROBE_PLUGINS "' QT_QPA_GENERIC_PLUGINS='podprobe:%2/probe' "
            "%3 '" CONSOLE_EXECUTABLE "' 2>'%2/console.log'");
        m_console.emplace(
            u"sh"_s, QStringList{u"-c"_s, command.arg(folder(), m_scratch.path(), setup.launcher)},
            ChildProcess::End::Anyhow);
        const auto isReached = [this] {
            m_probe.connectToServer(path("probe"));
            return m_probe.waitForConnected(kPollMs) && !get("mainWindow", "title").isEmpty();
        };
        if (!waitFor(isReached, 2 * kWaitMs))
            qFatal("Flight: the console did not start: %s", log().constData());
        takeKeyboard();
    }

    const PodSim &pod() const { return m_pod; }
    PodRecord &record() { return m_record.update(); }
    QString settingsPath() const { return folder() + u"/device_config.ini"_s; }
    QString streamUrl() const
    {
        return m_setup.streamUrl.isEmpty() ? m_pod.rtspUrl().replace(u"0.0.0.0"_s, m_setup.host)
                                           : m_setup.streamUrl;
    }
    QByteArray log() const { return contentOf(path("console.log")); }
    bool passed() const { return m_passed; }
    /// What was found: the outcome, the texts shown, the longest way of a command in milliseconds.
    QString outcome() const
    {
        return u"%1 | %2 | %3"_s
            .arg(m_passed ? u"held"_s : u"**failed**"_s,
                 m_shown.isEmpty() ? u"–"_s : m_shown.join(u"; "_s))
            .arg(m_worstMs);
    }

    bool lives() { return m_console->isRunning(); }
    /// Waits for the console to end by itself, in order.
    bool ends() { return m_console->succeeds(kWaitMs); }
    Vitals vitals() const { return Vitals::of(m_console->pid()); }
    /// Of the memory the most or the least in a while: picture buffers come and go.
    Vitals vitalsAtRest(auto choose)
    {
        Vitals taken = vitals();
        for (const QDeadlineTimer end(kRestMs); !end.hasExpired(); QThread::msleep(kPollMs))
            taken.residentKib = choose(taken.residentKib, vitals().residentKib);
        return taken;
    }

    bool waitFor(const Condition &condition, int timeoutMs = kWaitMs)
    {
        const QDeadlineTimer end(timeoutMs);
        while (!condition()) {
            if (end.hasExpired() || !m_passed || !lives())
                return false;
            QThread::msleep(kPollMs);
        }
        return true;
    }
    /// Lets what was begun last so long.
    void lastFor(int ms)
    {
        waitFor([] { return false; }, ms);
    }

    // What the operator sees.
    QString ask(const QString &line, int timeoutMs = kWaitMs)
    {
        m_probe.write(line.toUtf8() + '\n');
        m_probe.flush();
        const auto isAnswered = [this] {
            return m_probe.canReadLine()
                   || (m_probe.waitForReadyRead(kPollMs) && m_probe.canReadLine());
        };
        return waitFor(isAnswered, timeoutMs) ? QString::fromUtf8(m_probe.readLine()).trimmed()
                                              : QString();
    }
    QString get(Name object, Name property)
    {
        return ask(u"get %1 %2"_s.arg(object.toString(), property.toString()));
    }
    bool is(Name object, Name property) { return get(object, property) == "true"_L1; }
    bool isConnected() { return is("mainWindow", "gimbalConnected"); }
    bool isPlaying()
    {
        return get("videoRenderer", "status") == u"播放中"_s
               && get("videoRenderer", "contentRect") != "0x0"_L1;
    }
    /// Where a control stands that can be used; else empty.
    QString place(Name object) { return ask(u"where "_s + object.toString()); }
    /// Whether a text that contains this was shown since forget().
    bool said(const QString &text) { return ask(u"said"_s).contains(text); }
    void forget() { ask(u"forget"_s); }

    // What befalls the console, and what the operator does: a line of xdotool, or its use on a
    // control, which must come to what he wants.
    void fault(const QString &line)
    {
        m_doings.write("fault " + line.toUtf8() + '\n');
        m_pod.fault(line);
    }
    void input(const QByteArray &line)
    {
        if (!m_passed)
            return;
        m_doings.write(line + '\n');
        m_input.writeLine(line);
    }
    void press(const QByteArray &key) { input("keydown --delay 0 " + key); }
    void release(const QByteArray &key) { input("keyup --delay 0 " + key); }
    void clickAt(const QString &where)
    {
        input("mousemove " + where.toLatin1() + " click --delay 0 1");
    }
    void click(Name object)
    {
        QString where;
        expectSoon([&] { return !(where = place(object)).isEmpty(); },
                   object.toString() + u" cannot be clicked"_s);
        clickAt(where);
    }
    void enter(Name field, const QString &text)
    {
        const auto holdsText = [&] {
            return get(field, "text") == text || get(field, "editText") == text;
        };
        // On a busy machine a key may overtake the click that is to give the field the keyboard.
        for (int i = 0; i < kTypings && !holdsText(); ++i) {
            click(field);
            expectSoon([&] { return is(field, "activeFocus"); }, u"no field for text"_s);
            input("key --delay 1 ctrl+a type --delay 1 " + text.toLatin1());
            waitFor(holdsText, kTypedMs);
        }
        expect(holdsText(), field.toString() + u" does not hold "_s + text);
    }
    void openDrawer(int page)
    {
        const QString number = QString::number(page);
        if (!is("podControlDrawer", "visible"))
            click("settingsImage");
        click(u"pageButton"_s + number);
        expectSoon([&] { return get("podControlDrawer", "currentPage") == number; },
                   u"the drawer's page did not open"_s);
    }
    void closeDrawer()
    {
        // Closes the topmost: a list, a message box, at last the drawer.
        const auto pressEscape = [this] {
            input("key --delay 1 Escape");
            return !is("customDialog", "visible") && !is("podControlDrawer", "visible");
        };
        expectSoon(pressEscape, u"the drawer is left"_s);
    }
    void connectBy(Link link)
    {
        if (!isConnectedBy(link)) {
            disconnect();
            openDrawer(0);
            if (link == Serial)
                enter("portslist", path("pod-serial"));
            click(kButtons[link]);
            expectSoon([&] { return isConnectedBy(link); }, u"no connection"_s);
        }
        closeDrawer();
    }
    void disconnect()
    {
        if (isConnected()) {
            openDrawer(0);
            click(kButtons[isConnectedBy(Tcp) ? Tcp : Serial]);
            expectSoon([this] { return !isConnected(); }, u"no disconnection"_s);
            lastFor(kDisconnectGuardMs);
        }
        closeDrawer();
    }
    void takeKeyboard()
    {
        input("search --sync --onlyvisible --name KAVROControl windowfocus getmouselocation");
        m_input.readLine(kWaitMs);
        waitFor([this] { return is("mainWindow", "active"); });
    }
    /// Connected over TCP with the stream running and nothing moving.
    void restore(int lossMs = kLossMs)
    {
        connectBy(Tcp);
        expectSoon([this] { return isPlaying(); }, u"no video"_s, lossMs);
        expectControl();
    }
    /// What it holds after once around, as what is made at the first use is no growth; what was
    /// found up to here does not count.
    Vitals takeLevel()
    {
        restore();
        disconnect();
        openDrawer(0);
        click("urlButton");
        expectSoon([this] { return !isPlaying(); }, u"no new start"_s);
        restore();
        const Vitals level = vitalsAtRest(std::ranges::max);
        forget();
        m_shown.clear();
        m_worstMs = 0;
        return level;
    }

    // What must hold.
    void expect(bool holds, const QString &what)
    {
        if (holds || !m_passed)
            return;
        m_passed = false;
        m_scratch.setAutoRemove(false);
        std::printf("failed: %s; logs and doings are in %s\n", qPrintable(what),
                    qPrintable(m_scratch.path()));
        std::fflush(stdout);
    }
    void expectSoon(const Condition &condition, const QString &what, int timeoutMs = kWaitMs)
    {
        expect(waitFor(condition, timeoutMs), what);
    }
    void expectShown(const QString &text, int timeoutMs = kWaitMs)
    {
        expectSoon([&] { return said(text); }, text + u" was not shown"_s, timeoutMs);
        m_shown.removeAll(text);
        m_shown.append(text);
    }
    /// A press of W reaches the pod in time.
    void expectControl()
    {
        const qint64 before = record().motions();
        QElapsedTimer clock;
        clock.start();
        press("w");
        expectSoon([&] { return record().motions() > before; }, u"a command came late"_s,
                   kAtOnceMs);
        m_worstMs = std::max(m_worstMs, int(clock.elapsed()));
        release("w");
        waitFor([&] { return !record().isMoving(); }, kAtOnceMs);
    }
    /// The window answers, and with it everything on its thread.
    void expectAnswer()
    {
        expect(!ask(u"get mainWindow title"_s, kAtOnceMs).isEmpty(), u"the window is stuck"_s);
    }
    /// The pod has a motion without its stop, or none.
    void expectMoving(bool wanted, int timeoutMs = kAtOnceMs)
    {
        expectSoon([&] { return record().isMoving() == wanted; },
                   wanted ? u"the pod does not move"_s : u"a motion is left without its stop"_s,
                   timeoutMs);
    }
    void expectRecordInOrder()
    {
        expect(record().faults().isEmpty(), record().faults().join(u", "_s));
        expectMoving(false, 0);
    }
    /// No more is held than at the level, but for what a thread that ended since had: of Qt's, each
    /// has a descriptor. To be called after restore(); returns what is held.
    Vitals expectLevel(const Vitals &level)
    {
        Vitals now;
        const auto isBack = [&] {
            now = vitals();
            return now.descriptors - now.threads <= level.descriptors - level.threads
                   && now.threads <= level.threads
                   && now.residentKib - level.residentKib < kSlackKib;
        };
        const bool isLevel = waitFor(isBack, kLevelMs);
        expect(isLevel, u"left over: "_s + level.changeTo(now));
        return now;
    }

private:
    static constexpr int kPollMs = 4;
    static constexpr int kRestMs = 1000;
    static constexpr int kLevelMs = 45000; // threads of a pool end after 30 s without work
    static constexpr int kTypings = 3;
    static constexpr int kTypedMs = 3000;
    static constexpr int kDisconnectGuardMs = 200; // the console ignores the next one for a while
    static constexpr std::array kButtons = {"tcpButton", "comButton"}; // by Link
    static inline const QString kPodArguments =
        u"--log %1/pod.log --pty-link %1/pod-serial --size 640x360"_s;

    QString path(const char *name) const { return m_scratch.filePath(QLatin1StringView(name)); }
    QString folder() const { return m_setup.folder.isEmpty() ? m_scratch.path() : m_setup.folder; }
    bool isConnectedBy(Link link)
    {
        return isConnected() && (get("cMain", "connectionType") == "TCP"_L1) == (link == Tcp);
    }

    const Setup m_setup;
    QTemporaryDir m_scratch;
    PodSim m_pod;
    PodRecord m_record;
    QFile m_doings;
    std::optional<ChildProcess> m_console;
    ChildProcess m_input;
    QLocalSocket m_probe;
    bool m_passed = true;
    QStringList m_shown;
    int m_worstMs = 0;
};

/// What follows the option on the command line.
inline QString valueOf(const QString &option, const QString &byDefault = {})
{
    const QStringList arguments = QCoreApplication::arguments();
    const qsizetype index = arguments.indexOf(option);
    return index < 0 ? byDefault : arguments.value(index + 1);
}
