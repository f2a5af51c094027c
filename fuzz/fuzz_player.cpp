// What a stream may carry: opened, demuxed, decoded and converted as the player has it done, on one
// thread and without its naps. Input: the stream, as a file.

#include "FuzzHarness.h"
#include "video/DecodeTask.h"

#include <QThread>

#include <algorithm>
#include <random>
#include <vector>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t *data, std::size_t size, std::size_t maxSize);

namespace {

// An input of kilobytes takes a few hundred passes; a reader that errs for ever is ended as a
// player that is stopped ends it.
constexpr int kNapsMax = 2000;
constexpr qsizetype kPacketLength = 188;
constexpr std::size_t kHeaderLength = 16;
constexpr std::size_t kChangedMax = 8;

std::shared_ptr<AbortFlag> s_abort;
int s_naps = 0;

/// Packets of a transport stream, and pieces of their length of a bare one.
std::vector<QByteArray> unitsOf(const QByteArray &stream)
{
    std::vector<QByteArray> units;
    for (qsizetype at = 0; at < stream.size(); at += kPacketLength)
        units.push_back(stream.mid(at, kPacketLength));
    return units;
}

bool isDrawn(const QImage &picture)
{
    return picture.format() == QImage::Format_RGBA8888 && picture.width() > 0
           && picture.height() > 0
           && picture.sizeInBytes() == picture.bytesPerLine() * qsizetype(picture.height());
}

} // namespace

// In place of Qt's: the decode task naps between its passes.
void QThread::msleep(unsigned long)
{
    if (++s_naps > kNapsMax)
        s_abort->store(true);
}

/// Leaves most of a stream in order, as a bad link does: a unit is lost, doubled, swapped or the
/// last and cut, or bytes change in one, more often near its start, where headers are.
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t *data, std::size_t size,
                                               std::size_t maxSize, unsigned seed)
{
    std::minstd_rand random(seed);
    const auto below = [&](std::size_t limit) {
        return random() % std::max<std::size_t>(limit, 1);
    };
    std::vector<QByteArray> units =
        unitsOf(QByteArray(reinterpret_cast<const char *>(data), qsizetype(size)));
    if (units.empty())
        return size;
    const auto any = [&] { return units.begin() + std::ptrdiff_t(below(units.size())); };
    const auto place = any();
    const auto length = std::size_t(place->size());
    switch (below(8)) {
    case 0:
        units.erase(place);
        break;
    case 1:
        units.insert(any(), QByteArray(*place));
        break;
    case 2:
        std::swap(*place, *any());
        break;
    case 3:
        place->truncate(qsizetype(below(length + 1)));
        units.erase(place + 1, units.end());
        break;
    default:
        const std::size_t from = below(below(2) == 0 ? std::min(length, kHeaderLength) : length);
        const std::size_t count = std::min(1 + below(kChangedMax), length - from);
        LLVMFuzzerMutate(reinterpret_cast<std::uint8_t *>(place->data()) + from, count, count);
    }
    QByteArray mutated;
    for (const QByteArray &unit : units)
        mutated += unit;
    return std::size_t(
        std::copy_n(mutated.begin(), std::min(std::size_t(mutated.size()), maxSize), data) - data);
}

void fuzz::run(Input input)
{
    av_log_set_level(AV_LOG_QUIET);
    s_abort = std::make_shared<AbortFlag>(false);
    s_naps = 0;
    const QString path = writeFile(QStringLiteral("stream"), input.rest());
    const auto [stream, error, trouble] = openMediaStream({path, {}, s_abort});
    FUZZ_REQUIRE(error.isEmpty() == bool(stream));
    if (!stream)
        return;
    // The end of the file is a loss; told under a lock, it may but set the flag.
    const auto state = std::make_shared<PlaybackState>([](quint64) { s_abort->store(true); });
    state->setPlaying(true);
    DecodeTask(state, stream, state->beginGeneration(), nullptr).run();
    FUZZ_REQUIRE(stream->isAborted());
    const QImage picture = state->currentFrame().image;
    FUZZ_REQUIRE(picture.isNull() || isDrawn(picture));
    state->reset();
    FUZZ_REQUIRE(state->currentFrame().image.isNull());
}
