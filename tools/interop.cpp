// One row of scripts/interop.sh: compares the pictures that the player shows of a server with those
// of the file that the server sends, over and over or once.

#include "PictureHashes.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QMap>

#include <cstdio>

namespace {

constexpr int kServingMs = 10000; // until a server has something to send

struct Comparison
{
    qsizetype shown = 0;
    qsizetype damaged = 0; // are none of the file's
    qsizetype missing = 0; // between two that were shown
};

Comparison compare(const Hashes &shown, const Hashes &truth)
{
    QMap<size_t, qsizetype> places;
    for (qsizetype i = 0; i < truth.size(); ++i)
        places.insert(truth[i], i);
    Comparison comparison{shown.size()};
    qsizetype before = -1;
    for (const size_t hash : shown) {
        const qsizetype place = places.value(hash, -1);
        if (place < 0)
            ++comparison.damaged;
        else if (before >= 0)
            comparison.missing += (place - before - 1 + truth.size()) % truth.size();
        before = place >= 0 ? place : before;
    }
    comparison.missing = std::max<qsizetype>(comparison.missing - comparison.damaged, 0);
    return comparison;
}

void print(const char *of, const Comparison &pictures)
{
    std::printf("  %s %3d shown %3d damaged %3d missing", of, int(pictures.shown),
                int(pictures.damaged), int(pictures.missing));
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 5) {
        std::fputs("usage: interop FILE URL tcp|udp PICTURES\n", stderr);
        return 2;
    }
    av_log_set_level(AV_LOG_QUIET);
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    const PictureSource server{arguments[2], arguments[3], arguments[4].toLongLong()};
    QDeadlineTimer untilItServes(kServingMs);
    Hashes seen;
    do
        seen = picturesOfPlayer(server).pictures;
    while (seen.isEmpty() && !untilItServes.hasExpired());
    const Hashes truth = picturesOfFfmpeg({arguments[1]});
    const Comparison ours = compare(seen, truth);
    print("player", ours);
    const bool isRight = ours.shown == server.limit && ours.damaged + ours.missing == 0;
    if (ours.shown > 0 && !isRight) // for the reader, whether the server itself is at fault
        print("FFmpeg", compare(picturesOfFfmpeg(server), truth));
    std::puts(isRight ? "  right" : "  WRONG");
    return isRight ? 0 : 1;
}
