#include "Flight.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QThread>

using namespace Qt::StringLiterals;

namespace {

constexpr int kPollMs = 4;
constexpr int kTypings = 3;
constexpr qsizetype kDoingsKept = 2000;
constexpr int kTypedMs = 3000;

QStringList withLog(const QStringList &arguments, const QTemporaryDir &scratch)
{
    return arguments + QStringList{u"--log"_s,      scratch.filePath(u"pod.log"_s),
                                   u"--pty-link"_s, scratch.filePath(u"pod-serial"_s),
                                   u"--size"_s,     u"640x360"_s};
}

QString commandLine(const QString &folder, const QTemporaryDir &scratch,
                    const QStringList &launcher)
{
    return u"cd '%1' && exec env QT_MESSAGE_PATTERN='%{time hh:mm:ss.zzz} %{message}' "
           u"QT_PLUGIN_PATH='%2' QT_QPA_GENERIC_PLUGINS='podprobe:%3' "
           "%4 '%5' 2>'%6'"_s.arg(folder, QStringLiteral(PROBE_PLUGINS),
                                  scratch.filePath(u"probe"_s), launcher.join(u' '),
                                  QStringLiteral(CONSOLE_EXECUTABLE),
                                  scratch.filePath(u"console.log"_s));
}

void writeSettings(const QString &path, const QByteArray &content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("Flight: no settings file");
}

const char *buttonOf(Flight::Link link) { return link == Flight::Tcp ? "tcpButton" : "comButton"; }

} // namespace

Vitals Vitals::of(pid_t process)
{
    const QString proc = u"/proc/%1/"_s.arg(process);
    Vitals vitals;
    vitals.descriptors = int(QDir(proc + u"fd"_s).entryList(QDir::System | QDir::Files).size());
    QFile status(proc + u"status"_s);
    if (status.open(QIODevice::ReadOnly)) {
        for (const QByteArray &line : status.readAll().split('\n')) {
            const QByteArray value = line.mid(line.indexOf(':') + 1).simplified();
            if (line.startsWith("VmRSS:"))
                vitals.residentKib = value.chopped(3).toLongLong();
            else if (line.startsWith("Threads:"))
                vitals.threads = value.toInt();
        }
    }
    return vitals;
}

Flight::Flight(const Setup &setup)
    : m_pod(withLog(setup.podArguments, m_scratch))
    , m_record(m_scratch.filePath(u"pod.log"_s))
    , m_streamUrl(setup.streamUrl.isEmpty() ? m_pod.rtspUrl().replace(u"0.0.0.0"_s, setup.host)
                                            : setup.streamUrl)
    , m_folder(setup.folder.isEmpty() ? m_ownFolder.path() : setup.folder)
    , m_console((writeSettings(settingsPath(),
                               !setup.settings.isEmpty()
                                   ? setup.settings
                                   : u"[RTSP]\nrtspIp=%1\n[TCP]\ndeviceIp=%2\ndevicePort=%3\n"_s
                                         .arg(m_streamUrl, setup.host)
                                         .arg(m_pod.controlPort())
                                         .toUtf8()),
                 u"sh"_s),
                {u"-c"_s, commandLine(m_folder, m_scratch, setup.launcher)},
                ChildProcess::End::Anyhow)
    , m_input(u"xdotool"_s, {u"-"_s}, ChildProcess::End::Anyhow)
{
    const auto reached = [this] {
        m_probe.connectToServer(m_scratch.filePath(u"probe"_s));
        return m_probe.waitForConnected(kPollMs) && !ask(u"get mainWindow title"_s).isEmpty();
    };
    if (!waitFor(reached, 2 * kWaitMs))
        qFatal("Flight: the console did not start: %s", qPrintable(logTail()));
    takeKeyboard();
}

QString Flight::settingsPath() const { return m_folder + u"/device_config.ini"_s; }

QString Flight::logTail(qint64 bytes) const
{
    QFile log(m_scratch.filePath(u"console.log"_s));
    if (!log.open(QIODevice::ReadOnly))
        return {};
    log.seek(std::max<qint64>(log.size() - bytes, 0));
    return QString::fromUtf8(log.readAll());
}

void Flight::keepLogs(const QString &folder) const
{
    QDir(folder).removeRecursively();
    QDir().mkpath(folder);
    for (const auto &name : {u"console.log"_s, u"pod.log"_s})
        QFile::copy(m_scratch.filePath(name), QDir(folder).filePath(name));
    QFile doings(QDir(folder).filePath(u"doings.txt"_s));
    if (doings.open(QIODevice::WriteOnly))
        doings.write(m_doings.join('\n'));
}

void Flight::fault(const QString &line)
{
    m_doings.append("fault " + line.toUtf8());
    m_pod.fault(line);
}

void Flight::input(const QByteArray &line)
{
    if (m_doings.size() >= 2 * kDoingsKept)
        m_doings.remove(0, kDoingsKept);
    m_doings.append(line);
    m_input.writeLine(line);
}

bool Flight::waitFor(const std::function<bool()> &condition, int timeoutMs)
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

QString Flight::ask(const QString &line)
{
    m_probe.write(line.toUtf8() + '\n');
    m_probe.flush();
    const auto answered = [this] {
        return m_probe.canReadLine()
               || (m_probe.waitForReadyRead(kPollMs) && m_probe.canReadLine());
    };
    return waitFor(answered) ? QString::fromUtf8(m_probe.readLine()).trimmed() : QString();
}

QString Flight::get(const char *object, const char *property)
{
    return ask(u"get %1 %2"_s.arg(QLatin1StringView(object), QLatin1StringView(property)));
}

bool Flight::isConnectedBy(Link link)
{
    return isConnected() && (get("cMain", "connectionType") == "TCP"_L1) == (link == Tcp);
}

bool Flight::said(const QString &text, int timeoutMs)
{
    return waitFor([&] { return ask(u"said"_s).contains(text); }, timeoutMs);
}

void Flight::takeKeyboard()
{
    input("search --sync --onlyvisible --name KAVROControl windowfocus getmouselocation");
    m_input.readLine(kWaitMs);
    waitFor([this] { return get("mainWindow", "active") == "true"_L1; });
}

bool Flight::point(const char *object)
{
    QString place;
    const QString question = u"where "_s + QLatin1StringView(object);
    if (!waitFor([&] { return !(place = ask(question)).isEmpty(); }))
        return false;
    input("mousemove " + place.toLatin1());
    return true;
}

bool Flight::click(const char *object)
{
    if (!point(object))
        return false;
    input("mousedown 1");
    input("mouseup 1");
    return true;
}

bool Flight::enter(const char *field, const QString &text)
{
    const auto holdsText = [&] {
        return get(field, "text") == text || get(field, "editText") == text;
    };
    // On a busy machine a key may overtake the click that is to give the field the keyboard.
    for (int i = 0; i < kTypings && !holdsText(); ++i) {
        if (!click(field) || !waitFor([&] { return get(field, "activeFocus") == "true"_L1; }))
            return false;
        input("key --delay 1 ctrl+a");
        input("type --delay 1 " + text.toLatin1());
        waitFor(holdsText, kTypedMs);
    }
    return holdsText();
}

bool Flight::openDrawer(int page)
{
    if (!isDrawerOpen() && !(click("settingsImage") && waitFor([this] { return isDrawerOpen(); })))
        return false;
    const QString number = QString::number(page);
    return click(("pageButton" + number.toLatin1()).constData())
           && waitFor([&] { return get("podControlDrawer", "currentPage") == number; });
}

void Flight::closeDrawer()
{
    input("key --delay 1 Escape"); // a message box may be open
    if (waitFor([this] { return get("customDialog", "visible") != "true"_L1; }) && isDrawerOpen()
        && click("settingsImage"))
        waitFor([this] { return !isDrawerOpen(); });
}

bool Flight::connectBy(Link link)
{
    const bool done =
        isConnectedBy(link)
        || (disconnect() && openDrawer(0) && (link == Tcp || enter("portslist", serialPath()))
            && click(buttonOf(link)) && waitFor([&] { return isConnectedBy(link); }));
    closeDrawer();
    return done;
}

bool Flight::disconnect()
{
    for (const Link link : {Tcp, Serial}) {
        if (isConnectedBy(link) && !(openDrawer(0) && click(buttonOf(link)) && waitFor([this] {
                                         return !isConnected();
                                     })))
            return false;
    }
    closeDrawer();
    return true;
}

int Flight::measureControl()
{
    m_record.update();
    const qint64 before = m_record.motions();
    QElapsedTimer clock;
    clock.start();
    input("keydown --delay 0 w");
    const auto arrived = [&] {
        m_record.update();
        return m_record.motions() > before;
    };
    const bool inTime = waitFor(arrived, kControlMs);
    const int ms = int(clock.elapsed());
    input("keyup --delay 0 w");
    waitFor(
        [&] {
            m_record.update();
            return !m_record.isMoving();
        },
        kControlMs);
    return inTime ? ms : -1;
}
