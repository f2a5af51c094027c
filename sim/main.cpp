#include "SimOptions.h"
#include "Simulator.h"
#include "bootloader/Bootloader.h"
#include "faults/FaultPort.h"
#include "replay/FlightExport.h"
#include "sender/PacketSender.h"
#include "upgrade/UpgradePeers.h"

#include <QGuiApplication>
#include <QSocketNotifier>

#include <csignal>
#include <cstdio>
#include <unistd.h>

#include <array>
#include <memory>

namespace {

std::array<int, 2> signalPipe{};

extern "C" void wakeForSignal(int)
{
    const char byte = 0;
    [[maybe_unused]] const ssize_t written = write(signalPipe[1], &byte, 1);
}

/// SIGINT and SIGTERM leave the event loop, so that sockets, links and threads end in order.
void quitOnSignals(QObject *parent)
{
    if (pipe(signalPipe.data()) != 0)
        return;
    auto *notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, parent);
    QObject::connect(notifier, &QSocketNotifier::activated, parent, &QCoreApplication::quit);
    for (const int number : {SIGINT, SIGTERM})
        std::signal(number, wakeForSignal);
}

void quitWithParent(QObject *parent)
{
    auto *notifier = new QSocketNotifier(STDIN_FILENO, QSocketNotifier::Read, parent);
    QObject::connect(notifier, &QSocketNotifier::activated, parent, [] {
        std::array<char, 256> ignored{};
        if (read(STDIN_FILENO, ignored.data(), ignored.size()) <= 0)
            QCoreApplication::quit();
    });
}

int fail(const QString &problem)
{
    std::fprintf(stderr, "podsim: %s\n", qPrintable(problem));
    return 1;
}

void announce(const QString &line)
{
    std::printf("%s\n", qPrintable(line));
    std::fflush(stdout);
}

int exportFlight(const QString &file)
{
    QString error;
    const QStringList paths = flight_export::writeBeside(file, error);
    for (const QString &path : paths)
        announce(path);
    return paths.isEmpty() ? fail(error) : 0;
}

std::unique_ptr<SimMode> createMode(const SimOptions &options)
{
    if (options.bootloader)
        return std::make_unique<Bootloader>(options.boot);
    if (options.upgrade.wanted())
        return std::make_unique<UpgradePeers>(options.upgrade);
    if (!options.senderFolder.isEmpty())
        return std::make_unique<PacketSender>(
            PacketSender::Options{options.senderFolder, options.bindAddress, options.rtspPort});
    return std::make_unique<Simulator>(options);
}

} // namespace

int main(int argc, char *argv[])
{
    std::signal(SIGPIPE, SIG_IGN);
    qputenv("QT_QPA_PLATFORM", "offscreen"); // fonts are needed, a display is not
    QGuiApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("podsim"));
    const SimOptions options = parseSimOptions(QCoreApplication::arguments());

    if (!options.exportFile.isEmpty())
        return exportFlight(options.exportFile);
    const std::unique_ptr<SimMode> mode = createMode(options);
    QString error;
    if (!mode->start(error))
        return fail(error);
    FaultPort faultPort(*mode);
    if (!faultPort.listen(options.faultPort))
        return fail(QStringLiteral("cannot listen on fault port %1").arg(options.faultPort));
    for (const QString &line : options.faults) {
        const QString answer = mode->execute(line);
        if (!answer.startsWith(QLatin1String("ok")))
            return fail(QStringLiteral("--fault '%1': %2").arg(line, answer));
    }

    quitOnSignals(&app);
    if (options.exitWithParent)
        quitWithParent(&app);
    for (const QString &line : mode->endpoints())
        announce(line);
    announce(QStringLiteral("faults 127.0.0.1:%1").arg(faultPort.port()));
    announce(QStringLiteral("ready"));
    return QCoreApplication::exec();
}
