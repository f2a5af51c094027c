#pragma once

#include "ChildProcess.h"
#include "Files.h"
#include "PodRecord.h"
#include "PodSim.h"

#include <QDir>
#include <QElapsedTimer>
#include <QLocalSocket>
#include <QTemporaryDir>
#include <QThread>

#include <functional>
#include <optional>

/// What a process holds.
struct Vitals
{
    qint64 residentKib = 0;
    int descriptors = 0;
    int threads = 0;
};

/// The real console program on the display of $DISPLAY, connected to nothing yet, with a simulated
/// pod. Input reaches it as from a mouse and a keyboard; what it shows is read by a probe that Qt
/// loads into it. Every wait ends at once when the console is gone.
class Flight
{
public:
    enum Link { Tcp, Serial };

    struct Setup
    {
        QStringList podArguments = {};
        QString host = u"127.0.0.1"_s;    ///< where the console finds the pod
        QString folder = {};              ///< of the settings; empty: an own one
        QByteArray settings = {};         ///< empty: the pod's addresses
        QString launcher = {};            ///< goes before the console's command line
        QString streamUrl = {};           ///< empty: the pod's RTSP stream
        std::function<void()> spoil = {}; ///< what may happen to its surroundings
        std::function<void()> mend = {};
        QString missing = {}; ///< why it cannot fly here; else empty
    };

    static constexpr int kWaitMs = 15000;
    static constexpr int kControlMs = 1000; ///< a command must have arrived by then

    explicit Flight(const Setup &setup)
        : m_setup(setup)
        , m_pod(
              setup.podArguments
              + u"--log %1/pod.log --pty-link %1/pod-serial --size 640x360"_s.arg(m_scratch.path())
                    .split(u' '))
        , m_record(path("pod.log"))
        , m_doings(path("doings.txt"))
        , m_input(u"xdotool"_s, {u"-"_s}, ChildProcess::End::Anyhow)
    {
        const QString addresses = u"[RTSP]\nrtspIp=%1\n[TCP]\ndeviceIp=%2\ndevicePort=%3\n"_s;
        writeFile(settingsPath(),
                  !setup.settings.isEmpty()
                      ? setup.settings
                      : addresses.arg(streamUrl(), setup.host).arg(m_pod.controlPort()).toUtf8());
        if (!m_doings.open(QIODevice::WriteOnly))
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

    const Setup &setup() const { return m_setup; }
    const PodSim &pod() const { return m_pod; }
    PodRecord &record() { return m_record.update(); }
    QString settingsPath() const { return folder() + u"/device_config.ini"_s; }
    QString streamUrl() const
    {
        return m_setup.streamUrl.isEmpty() ? m_pod.rtspUrl().replace(u"0.0.0.0"_s, m_setup.host)
                                           : m_setup.streamUrl;
    }
    QByteArray log() const { return contentOf(path("console.log")); }

    bool lives() { return m_console->isRunning(); }
    /// Waits for the console to end by itself, in order.
    bool ends() { return m_console->succeeds(kWaitMs); }
    Vitals vitals() const
    {
        const QString proc = u"/proc/%1/"_s.arg(m_console->pid());
        const QByteArray status = contentOf(proc + u"status"_s);
        const auto valueOf = [&status](QByteArrayView name) {
            return status.sliced(status.indexOf(name) + name.size()).simplified().split(' ')[0];
        };
        if (status.isEmpty())
            return {};
        return {valueOf("VmRSS:").toLongLong(),
                int(QDir(proc + u"fd"_s).entryList(QDir::System | QDir::Files).size()),
                valueOf("Threads:").toInt()};
    }
    /// Copies the console's and the pod's logs, and what was done: input and faults.
    void keepLogs(const QString &target) const
    {
        QDir(target).removeRecursively();
        QDir().mkpath(target);
        for (const auto &name : {u"console.log"_s, u"pod.log"_s, u"doings.txt"_s})
            QFile::copy(m_scratch.filePath(name), QDir(target).filePath(name));
    }

    bool waitFor(const std::function<bool()> &condition, int timeoutMs = kWaitMs)
    {
        QElapsedTimer clock;
        clock.start();
        while (!condition()) {
            if (clock.elapsed() > timeoutMs || !lives())
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
    QString get(const char *object, const char *property)
    {
        return ask(u"get %1 %2"_s.arg(QLatin1StringView(object), QLatin1StringView(property)));
    }
    bool is(const char *object, const char *property) { return get(object, property) == "true"_L1; }
    bool isConnected() { return is("mainWindow", "gimbalConnected"); }
    bool isPlaying()
    {
        return get("videoRenderer", "status") == u"播放中"_s
               && get("videoRenderer", "contentRect") != "0x0"_L1;
    }
    /// Whether a text that contains this was shown since forget().
    bool said(const QString &text, int timeoutMs = kWaitMs)
    {
        return waitFor([&] { return ask(u"said"_s).contains(text); }, timeoutMs);
    }
    void forget() { ask(u"forget"_s); }

    // What the operator does - a line of xdotool, or its use on a control - and what befalls him.
    void input(const QByteArray &line)
    {
        note(line);
        m_input.writeLine(line);
    }
    void fault(const QString &line)
    {
        note("fault " + line.toUtf8());
        m_pod.fault(line);
    }
    void press(const QByteArray &key) { input("keydown --delay 0 " + key); }
    void release(const QByteArray &key) { input("keyup --delay 0 " + key); }
    void clickHere(const QByteArray &button = "1")
    {
        input("mousedown " + button);
        input("mouseup " + button);
    }
    bool click(const QString &object)
    {
        QString place;
        if (!waitFor([&] { return !(place = ask(u"where "_s + object)).isEmpty(); }))
            return false;
        input("mousemove " + place.toLatin1());
        clickHere();
        return true;
    }
    bool enter(const char *field, const QString &text)
    {
        const auto holdsText = [&] {
            return get(field, "text") == text || get(field, "editText") == text;
        };
        // On a busy machine a key may overtake the click that is to give the field the keyboard.
        for (int i = 0; i < kTypings && !holdsText(); ++i) {
            if (!click(QLatin1StringView(field))
                || !waitFor([&] { return is(field, "activeFocus"); }))
                return false;
            input("key --delay 1 ctrl+a");
            input("type --delay 1 " + text.toLatin1());
            waitFor(holdsText, kTypedMs);
        }
        return holdsText();
    }
    bool openDrawer(int page)
    {
        const auto isOpen = [this] { return is("podControlDrawer", "visible"); };
        const QString number = QString::number(page);
        return (isOpen() || (click(u"settingsImage"_s) && waitFor(isOpen)))
               && click(u"pageButton"_s + number)
               && waitFor([&] { return get("podControlDrawer", "currentPage") == number; });
    }
    void closeDrawer()
    {
        input("key --delay 1 Escape"); // a message box may be open
        const auto isClosed = [this] { return !is("podControlDrawer", "visible"); };
        if (waitFor([this] { return !is("customDialog", "visible"); }) && !isClosed()
            && click(u"settingsImage"_s))
            waitFor(isClosed);
    }
    bool connectBy(Link link)
    {
        const bool done =
            isConnectedBy(link)
            || (disconnect() && openDrawer(0)
                && (link == Tcp || enter("portslist", path("pod-serial"))) && click(buttonOf(link))
                && waitFor([&] { return isConnectedBy(link); }));
        closeDrawer();
        return done;
    }
    bool disconnect()
    {
        if (isConnected()) {
            const Link link = isConnectedBy(Tcp) ? Tcp : Serial;
            if (!openDrawer(0) || !click(buttonOf(link))
                || !waitFor([&] { return !isConnected(); }))
                return false;
            lastFor(kDisconnectGuardMs);
        }
        closeDrawer();
        return true;
    }
    void takeKeyboard()
    {
        input("search --sync --onlyvisible --name KAVROControl windowfocus getmouselocation");
        m_input.readLine(kWaitMs);
        waitFor([this] { return is("mainWindow", "active"); });
    }
    /// Presses and releases W; milliseconds until the pod had the command, or -1.
    int measureControl()
    {
        const qint64 before = record().motions();
        QElapsedTimer clock;
        clock.start();
        press("w");
        const bool inTime = waitFor([&] { return record().motions() > before; }, kControlMs);
        const int ms = int(clock.elapsed());
        release("w");
        waitFor([&] { return !record().isMoving(); }, kControlMs);
        return inTime ? ms : -1;
    }

private:
    static constexpr int kPollMs = 4;
    static constexpr int kTypings = 3;
    static constexpr int kTypedMs = 3000;
    static constexpr int kDisconnectGuardMs = 200; // the console ignores the next one for a while

    static QString buttonOf(Link link) { return link == Tcp ? u"tcpButton"_s : u"comButton"_s; }
    QString path(const char *name) const { return m_scratch.filePath(QLatin1StringView(name)); }
    QString folder() const { return m_setup.folder.isEmpty() ? m_scratch.path() : m_setup.folder; }
    bool isConnectedBy(Link link)
    {
        return isConnected() && (get("cMain", "connectionType") == "TCP"_L1) == (link == Tcp);
    }
    void note(const QByteArray &doing)
    {
        m_doings.write(doing + '\n');
        m_doings.flush();
    }

    const Setup m_setup;
    QTemporaryDir m_scratch;
    PodSim m_pod;
    PodRecord m_record;
    QFile m_doings;
    std::optional<ChildProcess> m_console;
    ChildProcess m_input;
    QLocalSocket m_probe;
};
