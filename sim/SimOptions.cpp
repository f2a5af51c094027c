#include "SimOptions.h"

#include <QCommandLineParser>

#include <cstdio>
#include <cstdlib>
#include <optional>

namespace {

[[noreturn]] void refuse(const QString &problem)
{
    std::fprintf(stderr, "podsim: %s\n", qPrintable(problem));
    std::exit(2);
}

int number(const QCommandLineParser &parser, const QString &name, int low, int high)
{
    bool ok = false;
    const int value = parser.value(name).toInt(&ok);
    if (!ok || value < low || value > high)
        refuse(QStringLiteral("--%1 takes a number from %2 to %3").arg(name).arg(low).arg(high));
    return value;
}

quint16 port(const QCommandLineParser &parser, const QString &name)
{
    return static_cast<quint16>(number(parser, name, 0, 65535));
}

void declare(QCommandLineParser &parser)
{
    const auto add = [&](const char *name, const char *text, const char *value = "",
                         const char *byDefault = "") {
        parser.addOption({QString::fromLatin1(name), QString::fromLatin1(text),
                          QString::fromLatin1(value), QString::fromLatin1(byDefault)});
    };
    add("bind", "Address of the TCP servers.", "ip", "127.0.0.1");
    add("port", "TCP control port; 0 takes any free one, as with every port.", "port", "2000");
    add("pty", "Also offer the control link on a pseudo terminal.");
    add("pty-link", "Symbolic link to the pseudo terminal; implies --pty.", "path");
    add("status", "Type of the status frames: 01 or 03.", "type", "01");
    add("rate", "Status frames a second, 0 for none.", "hz", "25");
    add("b7n-address-only", "Answer encoder queries with the address alone.");
    add("model", "Model code told in the version reply.", "code", "45");
    add("no-video", "Serve no video.");
    add("rtsp-port", "Port of the RTSP server.", "port", "8554");
    add("rtsp-path", "Path of the stream.", "path", "/live0");
    add("rtsp-tcp-only", "Refuse RTSP over UDP, as some servers do.");
    add("codec", "h264 or h265.", "codec", "h264");
    add("size", "Picture size.", "WxH", "1280x720");
    add("fps", "Pictures a second.", "fps", "25");
    add("sender",
        "Instead of the pod, serve the streams in a folder over RTSP; the query of an address says "
        "how they are cut into packets.",
        "folder");
    add("replay",
        "Serve a recording's video, unchanged, and its telemetry as status frames; 'replay' lines "
        "of "
        "the fault port pause it, seek, and set its speed.",
        "file");
    add("export",
        "Write the track of a recording beside it, as GeoJSON and CSV, and do nothing else.",
        "file");
    add("udp", "Also send the video as MPEG-TS over UDP.", "host:port");
    add("bootloader", "Be the pod's serial bootloader, on a pseudo terminal, and nothing else.");
    add("image", "Where the bootloader puts the firmware it receives.", "file");
    add("line-baud", "Answer as slowly as on a line of this rate; 0 answers at once.", "baud", "0");
    add("fault-port", "Port for fault lines; send it 'help'.", "port", "2100");
    add("fault", "A fault line to carry out at the start; may be repeated.", "line");
    add("log", "Write the log there instead of standard error.", "file");
    add("exit-with-parent", "Quit when standard input is closed.");
    add("upgrade-bootloader",
        "Instead of the pod, be its bootloader in a server-assisted upgrade.");
    add("upgrade-ask-delay", "Pause before the bootloader asks for the UUID.", "ms", "300");
    add("upgrade-server", "Instead of the pod, be the upgrade server, with this image.", "file");
    add("upgrade-port", "Port of the upgrade server.", "port", "7003");
}

void readUpgrade(const QCommandLineParser &parser, SimOptions &options)
{
    UpgradeOptions &upgrade = options.upgrade;
    upgrade.bootloader = parser.isSet(QStringLiteral("upgrade-bootloader"));
    upgrade.ptyLink = options.ptyLink;
    upgrade.imageFile = parser.value(QStringLiteral("image"));
    upgrade.askDelayMs = number(parser, QStringLiteral("upgrade-ask-delay"), 0, 60000);
    upgrade.serverFile = parser.value(QStringLiteral("upgrade-server"));
    upgrade.bindAddress = options.bindAddress;
    upgrade.serverPort = port(parser, QStringLiteral("upgrade-port"));
    upgrade.logFile = options.logFile;
}

void readBootloader(const QCommandLineParser &parser, SimOptions &options)
{
    options.bootloader = parser.isSet(QStringLiteral("bootloader"));
    options.boot.ptyLink = options.ptyLink;
    options.boot.imagePath = parser.value(QStringLiteral("image"));
    options.boot.lineBaud = number(parser, QStringLiteral("line-baud"), 0, 10'000'000);
}

void readVideo(const QCommandLineParser &parser, SimOptions &options)
{
    options.video = !parser.isSet(QStringLiteral("no-video"));
    options.rtspPort = port(parser, QStringLiteral("rtsp-port"));
    options.rtspPath = parser.value(QStringLiteral("rtsp-path"));
    options.senderFolder = parser.value(QStringLiteral("sender"));
    options.rtspTcpOnly = parser.isSet(QStringLiteral("rtsp-tcp-only"));
    if (!options.rtspPath.startsWith(u'/'))
        refuse(QStringLiteral("--rtsp-path begins with a slash"));
    const std::optional<VideoFormat> format =
        parseVideoFormat(parser.value(QStringLiteral("size")), parser.value(QStringLiteral("fps")),
                         parser.value(QStringLiteral("codec")));
    if (!format)
        refuse(QStringLiteral("--size takes WxH from 160x120 to 3840x2160 in even numbers, --fps "
                              "1 to 120, --codec h264 or h265"));
    options.format = *format;
    if (!parser.isSet(QStringLiteral("udp")))
        return;
    const QStringList target = parser.value(QStringLiteral("udp")).split(u':');
    bool ok = target.size() == 2;
    options.udpHost = target.value(0);
    options.udpPort = target.value(1).toUShort(&ok);
    if (!ok || options.udpHost.isEmpty() || options.udpPort == 0)
        refuse(QStringLiteral("--udp takes host:port"));
}

} // namespace

SimOptions parseSimOptions(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "A simulated pod: control link over TCP and a pseudo terminal, live video over RTSP."));
    parser.addHelpOption();
    declare(parser);
    if (!parser.parse(arguments))
        refuse(parser.errorText());
    if (parser.isSet(QStringLiteral("help")))
        parser.showHelp(0);
    if (!parser.positionalArguments().isEmpty())
        refuse(QStringLiteral("unexpected: %1").arg(parser.positionalArguments().constFirst()));

    SimOptions options;
    if (!options.bindAddress.setAddress(parser.value(QStringLiteral("bind"))))
        refuse(QStringLiteral("--bind takes an IP address"));
    options.controlPort = port(parser, QStringLiteral("port"));
    options.ptyLink = parser.value(QStringLiteral("pty-link"));
    options.pty = parser.isSet(QStringLiteral("pty")) || !options.ptyLink.isEmpty();
    const QString status = parser.value(QStringLiteral("status"));
    if (status != QLatin1String("01") && status != QLatin1String("03"))
        refuse(QStringLiteral("--status takes 01 or 03"));
    options.plainStatus = status == QLatin1String("03");
    options.statusRateHz = number(parser, QStringLiteral("rate"), 0, 20000);
    options.b7nAddressOnly = parser.isSet(QStringLiteral("b7n-address-only"));
    options.modelCode = number(parser, QStringLiteral("model"), 0, 255);
    options.faultPort = port(parser, QStringLiteral("fault-port"));
    options.faults = parser.values(QStringLiteral("fault"));
    options.logFile = parser.value(QStringLiteral("log"));
    options.exitWithParent = parser.isSet(QStringLiteral("exit-with-parent"));
    options.replayFile = parser.value(QStringLiteral("replay"));
    options.exportFile = parser.value(QStringLiteral("export"));
    readBootloader(parser, options);
    readVideo(parser, options);
    readUpgrade(parser, options);
    return options;
}
