#pragma once

#include "FuzzHarness.h"
#include "video/DecodeTask.h"

#include <QThread>

#include <algorithm>
#include <random>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t *data, std::size_t size, std::size_t maxSize);

/// What the targets that play share; included once in each.
namespace fuzz {

// An input of kilobytes takes a few hundred passes; a reader that errs for ever is ended as a
// player that is stopped ends it.
inline constexpr int kNapsMax = 2000;
inline constexpr std::size_t kHeaderLength = 16;
inline constexpr std::size_t kChangedMax = 8;

inline std::shared_ptr<AbortFlag> s_abort;
inline int s_naps = 0;

inline bool isDrawn(const QImage &picture)
{
    return picture.format() == QImage::Format_RGBA8888 && picture.width() > 0
           && picture.height() > 0
           && picture.sizeInBytes() == picture.bytesPerLine() * qsizetype(picture.height());
}

/// Opens, demuxes, decodes and converts as the player has it done, on this thread.
inline void play(const QString &url, const stream_options::Settings &settings)
{
    av_log_set_level(AV_LOG_QUIET);
    s_abort = std::make_shared<AbortFlag>(false);
    s_naps = 0;
    const auto [stream, error, trouble] = openMediaStream({url, settings, s_abort});
    FUZZ_REQUIRE(error.isEmpty() == bool(stream));
    if (!stream)
        return;
    // The end of the input is a loss; told under a lock, it may but set the flag.
    const auto state = std::make_shared<PlaybackState>([](quint64) { s_abort->store(true); });
    state->setPlaying(true);
    DecodeTask(state, stream, state->beginGeneration(), nullptr).run();
    FUZZ_REQUIRE(stream->isAborted());
    const QImage picture = state->currentFrame().image;
    FUZZ_REQUIRE(picture.isNull() || isDrawn(picture));
    state->reset();
    FUZZ_REQUIRE(state->currentFrame().image.isNull());
}

/// Leaves most of a stream in order, as a bad link does: a unit is lost, doubled, swapped or the
/// last and cut, or bytes change in one, more often near its start, where headers are.
inline void mutateUnits(QByteArrayList &units, unsigned seed)
{
    std::minstd_rand random(seed);
    const auto below = [&](std::size_t limit) {
        return random() % std::max<std::size_t>(limit, 1);
    };
    if (units.empty())
        return;
    const auto any = [&] { return units.begin() + qsizetype(below(std::size_t(units.size()))); };
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
        if (count > 0)
            LLVMFuzzerMutate(reinterpret_cast<std::uint8_t *>(place->data()) + from, count, count);
    }
}

/// Puts an input that was made anew where libFuzzer wants it; gives its length.
inline std::size_t takeOver(const QByteArray &made, std::uint8_t *data, std::size_t maxSize)
{
    return std::size_t(std::copy_n(made.begin(), std::min(std::size_t(made.size()), maxSize), data)
                       - data);
}

} // namespace fuzz

// In place of Qt's: the decode task naps between its passes.
void QThread::msleep(unsigned long)
{
    if (++fuzz::s_naps > fuzz::kNapsMax)
        fuzz::s_abort->store(true);
}
