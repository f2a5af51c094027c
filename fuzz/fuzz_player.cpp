// What a stream may carry: opened, demuxed, decoded and converted as the player has it done, on one
// thread and without its naps. Input: the stream, as a file.

#include "FuzzHarness.h"
#include "MediaMutator.h"
#include "video/DecodeTask.h"

#include <QFile>
#include <QTemporaryDir>
#include <QThread>

namespace {

// An input of kilobytes takes a few hundred passes; a reader that errs for ever is ended as a
// player that is stopped ends it.
constexpr int kNapsMax = 2000;

struct Playback
{
    std::shared_ptr<AbortFlag> abort = std::make_shared<AbortFlag>(false);
    int naps = 0;
};

Playback s_playback;

bool isDrawn(const QImage &picture)
{
    return picture.format() == QImage::Format_RGBA8888 && picture.width() > 0
           && picture.height() > 0
           && picture.sizeInBytes() == picture.bytesPerLine() * qsizetype(picture.height());
}

void play(const std::shared_ptr<MediaStream> &stream)
{
    // The end of the file is a loss; told under a lock, it may but set the flag.
    const auto state =
        std::make_shared<PlaybackState>([](quint64) { s_playback.abort->store(true); });
    state->setPlaying(true);
    const quint64 generation = state->beginGeneration();
    DecodeTask(state, stream, generation).run();
    FUZZ_REQUIRE(stream->isAborted());
    const QImage picture = state->currentFrame();
    FUZZ_REQUIRE(picture.isNull() || isDrawn(picture));
    state->reset();
    FUZZ_REQUIRE(state->currentFrame().isNull());
}

} // namespace

// In place of Qt's: the decode task naps between its passes.
void QThread::msleep(unsigned long)
{
    if (++s_playback.naps > kNapsMax)
        s_playback.abort->store(true);
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t *data, std::size_t size,
                                               std::size_t maxSize, unsigned seed)
{
    const QByteArray stream(reinterpret_cast<const char *>(data), qsizetype(size));
    const QByteArray mutated = fuzz::MediaMutator(seed).mutate(stream);
    const std::size_t length = std::min(std::size_t(mutated.size()), maxSize);
    std::copy_n(mutated.constData(), length, data);
    return length;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    fuzz::prepare(size);
    av_log_set_level(AV_LOG_QUIET);
    static const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("stream"));
    QFile file(path);
    FUZZ_REQUIRE(file.open(QIODevice::WriteOnly));
    FUZZ_REQUIRE(file.write(reinterpret_cast<const char *>(data), qint64(size)) == qint64(size));
    file.close();

    s_playback = {};
    const OpenOutcome outcome = openMediaStream({path, {}, s_playback.abort});
    FUZZ_REQUIRE(outcome.error.isEmpty() == bool(outcome.stream));
    if (outcome.stream)
        play(outcome.stream);
    return 0;
}
