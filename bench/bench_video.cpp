// What one picture costs on its way from the network to the window, step by step.

#include "video/FrameConverter.h"
#include "video/PictureAssembler.h"
#include "video/VideoRenderer.h"

#include <QGuiApplication>
#include <QPainter>

#include <benchmark/benchmark.h>

namespace {

constexpr QSize kFullHd(1920, 1080);
constexpr QSize kShown(1280, 720);
constexpr qsizetype kPayloadBytes = 1400;

ffmpeg::FramePtr decodedFrame(const QSize &size)
{
    ffmpeg::FramePtr frame(av_frame_alloc());
    frame->format = AV_PIX_FMT_YUV420P;
    frame->width = size.width();
    frame->height = size.height();
    if (av_frame_get_buffer(frame.get(), 0) < 0)
        qFatal("no memory");
    for (int plane = 0; plane < 3; ++plane)
        memset(frame->data[plane], 90 + plane * 40,
               std::size_t(frame->linesize[plane] * size.height() / (plane ? 2 : 1)));
    return frame;
}

void convert(benchmark::State &state)
{
    const ffmpeg::FramePtr frame = decodedFrame({int(state.range(0)), int(state.range(1))});
    FrameConverter converter;
    QImage onScreen; // what the item holds while the next is made
    for ([[maybe_unused]] const auto pass : state)
        onScreen = converter.convert(frame.get());
}
BENCHMARK(convert)->Args({1280, 720})->Args({1920, 1080})->Args({3840, 2160});

void paint(benchmark::State &state)
{
    QImage picture(int(state.range(0)), int(state.range(1)), QImage::Format_RGBA8888);
    picture.fill(QColor(60, 120, 180));
    VideoRenderer item;
    item.setSize(kShown);
    QMetaObject::invokeMethod(&item, "onPlayingStateChanged", Q_ARG(bool, true));
    QMetaObject::invokeMethod(&item, "onFrameReady", Q_ARG(QImage, picture));
    QImage canvas(kShown, QImage::Format_RGB32);
    QPainter painter(&canvas);
    for ([[maybe_unused]] const auto pass : state)
        item.paint(&painter);
}
BENCHMARK(paint)->Args({1280, 720})->Args({1920, 1080})->Args({3840, 2160});

void assemble(benchmark::State &state)
{
    // One slice in `range` packets, the last of them shorter.
    QByteArray first = QByteArray::fromHex("0000000141e0") + QByteArray(kPayloadBytes - 5, 'x');
    const QByteArray piece(kPayloadBytes - 2, 'x');
    PictureAssembler assembler(PictureAssembler::Codec::H264);
    std::int64_t time = 0;
    for ([[maybe_unused]] const auto pass : state) {
        benchmark::DoNotOptimize(assembler.addPacket(first, ++time));
        for (int i = 2; i < state.range(0); ++i)
            benchmark::DoNotOptimize(assembler.addPacket(piece, time));
        benchmark::DoNotOptimize(assembler.addPacket(QByteArrayView(piece).first(500), time));
    }
    state.SetBytesProcessed(state.iterations() * state.range(0) * kPayloadBytes);
}
BENCHMARK(assemble)->Arg(20)->Arg(200);

} // namespace

int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication app(argc, argv);
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
