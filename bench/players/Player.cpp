#include "Player.h"

#include "ControlProbe.h"
#include "Screen.h"
#include "WatchedProcess.h"

#include <QDir>
#include <QFile>

#include <unistd.h>

namespace bench {
namespace {

constexpr int kStartWaitMs = 10000;

/// The console's window is larger than what it shows of the stream, by its bars.
QStringList consoleArguments(const QString &, VideoFormat::Codec)
{
    return {QStringLiteral("-qwindowgeometry"),
            QStringLiteral("%1x%2+0+0").arg(Screen::kSize.width()).arg(Screen::kSize.height())};
}

QStringList mpvArguments(const QString &url, VideoFormat::Codec)
{
    return {QStringLiteral("--no-config"),
            QStringLiteral("--profile=low-latency"),
            QStringLiteral("--untimed"),
            QStringLiteral("--vo=x11"),
            QStringLiteral("--rtsp-transport=udp"),
            QStringLiteral("--no-audio"),
            QStringLiteral("--no-osc"),
            QStringLiteral("--no-border"),
            QStringLiteral("--geometry=1280x720+0+0"),
            url};
}

QStringList ffplayArguments(const QString &url, VideoFormat::Codec)
{
    const QString text =
        QStringLiteral("-loglevel error -fflags nobuffer -flags low_delay -framedrop -sync ext -an "
                       "-rtsp_transport udp -noborder -x 1280 -y 720 -left 0 -top 0");
    return text.split(u' ') + QStringList{url};
}

QStringList gstreamerArguments(const QString &url, VideoFormat::Codec codec)
{
    const QString decoder = codec == VideoFormat::Codec::H264
                                ? QStringLiteral("rtph264depay ! avdec_h264 max-threads=1")
                                : QStringLiteral("rtph265depay ! avdec_h265 max-threads=1");
    const QString text =
        QStringLiteral("-q rtspsrc location=%1 latency=0 protocols=udp ! %2 ! videoscale ! "
                       "videoconvert ! video/x-raw,width=1280,height=720 ! ximagesink sync=false");
    return text.arg(url, decoder).split(u' ');
}

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

Usage usageOf(qint64 pid)
{
    constexpr int kUserTime = 11; // counted from the one after the name
    const QString folder = QStringLiteral("/proc/%1/").arg(pid);
    const QByteArray stat = contents(folder + QStringLiteral("stat"));
    const QByteArrayList fields = stat.mid(stat.lastIndexOf(')') + 2).split(' ');
    Usage usage;
    if (fields.size() > kUserTime + 1)
        usage.cpuMs = (fields[kUserTime].toDouble() + fields[kUserTime + 1].toDouble()) * 1000
                      / double(sysconf(_SC_CLK_TCK));
    const QByteArray rollup = contents(folder + QStringLiteral("smaps_rollup"));
    const qsizetype share = rollup.indexOf("Pss:");
    if (share >= 0)
        usage.memoryMb = rollup.mid(share + 4).simplified().split(' ').first().toDouble() / 1024;
    return usage;
}

std::vector<PlayerKind> playerKinds(const QString &console)
{
    return {{QStringLiteral("console"), console, consoleArguments, true},
            {QStringLiteral("gstreamer"), QStringLiteral("gst-launch-1.0"), gstreamerArguments},
            {QStringLiteral("mpv"), QStringLiteral("mpv"), mpvArguments},
            {QStringLiteral("ffplay"), QStringLiteral("ffplay"), ffplayArguments}};
}

Player::Player(const PlayerKind &kind, const QString &url, VideoFormat::Codec codec,
               const QString &display)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DISPLAY"), display);
    environment.remove(QStringLiteral("QT_QPA_PLATFORM"));
    environment.remove(QStringLiteral("QT_QUICK_BACKEND"));
    environment.insert(QStringLiteral("SDL_RENDER_DRIVER"), QStringLiteral("software"));
    if (kind.isConsole) {
        QFile settings(m_folder.filePath(QStringLiteral("device_config.ini")));
        if (!settings.open(QIODevice::WriteOnly))
            fail("no settings file");
        settings.write("[RTSP]\nrtspIp=" + url.toUtf8() + '\n');
    }
    m_process.setProcessEnvironment(environment);
    m_process.setWorkingDirectory(m_folder.path());
    m_process.setStandardInputFile(QProcess::nullDevice());
    m_process.setStandardOutputFile(m_folder.filePath(QStringLiteral("out.log")));
    m_process.setStandardErrorFile(m_folder.filePath(QStringLiteral("error.log")));
    setUpWatched(m_process);
    m_process.start(kind.program, kind.arguments(url, codec));
    if (!m_process.waitForStarted(kStartWaitMs))
        fail(qPrintable(kind.name + QStringLiteral(" does not start")));
}

Player::~Player()
{
    m_process.terminate();
    if (!m_process.waitForFinished(5000)) {
        m_process.kill();
        m_process.waitForFinished();
    }
}

} // namespace bench
