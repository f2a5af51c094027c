#pragma once

#include "ChildProcess.h"
#include "PodRecord.h"
#include "PodSim.h"

#include <QLocalSocket>
#include <QTemporaryDir>

#include <functional>

/// What a process holds.
struct Vitals
{
    qint64 residentKib = 0;
    int descriptors = 0;
    int threads = 0;

    static Vitals of(pid_t process);
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
        QString host = QStringLiteral("127.0.0.1"); ///< where the console finds the pod
        QString folder = {};                        ///< of the settings; empty: an own one
        QByteArray settings = {};                   ///< empty: the pod's addresses
        QStringList launcher = {};                  ///< goes before the console's command line
        QString streamUrl = {};                     ///< empty: the pod's RTSP stream
    };

    static constexpr int kWaitMs = 15000;
    static constexpr int kControlMs = 1000; ///< a command must have arrived by then

    explicit Flight(const Setup &setup);

    PodSim &pod() { return m_pod; }
    void fault(const QString &line);
    PodRecord &record() { return m_record; }
    QString serialPath() const { return m_scratch.filePath(QStringLiteral("pod-serial")); }
    QString streamUrl() const { return m_streamUrl; }
    QString settingsPath() const;

    bool lives() { return m_console.isRunning(); }
    /// Waits for the console to end by itself, in order.
    bool ends(int timeoutMs) { return m_console.succeeds(timeoutMs); }
    Vitals vitals() const { return Vitals::of(m_console.pid()); }
    /// Copies the console's and the pod's logs, and writes what was done last: input and faults.
    void keepLogs(const QString &folder) const;
    /// The end of the console's own log.
    QString logTail(qint64 bytes = 1500) const;

    bool waitFor(const std::function<bool()> &condition, int timeoutMs = kWaitMs);

    // What the operator sees.
    QString ask(const QString &line);
    QString get(const char *object, const char *property);
    bool isConnected() { return get("mainWindow", "gimbalConnected") == QLatin1String("true"); }
    bool isPlaying() { return get("videoRenderer", "status") == QStringLiteral("播放中"); }
    bool isDrawerOpen() { return get("podControlDrawer", "visible") == QLatin1String("true"); }
    /// Whether a text that contains this was shown since forget().
    bool said(const QString &text, int timeoutMs = kWaitMs);
    void forget() { ask(QStringLiteral("forget")); }

    // What the operator does: a line of xdotool, or its use on a control.
    void input(const QByteArray &line);
    bool point(const char *object);
    bool click(const char *object);
    bool enter(const char *field, const QString &text);
    bool openDrawer(int page);
    void closeDrawer();
    bool connectBy(Link link);
    bool disconnect();
    void takeKeyboard();
    /// Presses and releases W; milliseconds until the pod had the command, or -1.
    int measureControl();

private:
    bool isConnectedBy(Link link);

    QTemporaryDir m_scratch;
    PodSim m_pod;
    PodRecord m_record;
    QString m_streamUrl;
    QTemporaryDir m_ownFolder;
    QString m_folder;
    ChildProcess m_console;
    ChildProcess m_input;
    QByteArrayList m_doings; // the newest
    QLocalSocket m_probe;
};
