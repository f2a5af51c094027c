// What one step of each hot path costs, in time and in allocations.

#include "Allocations.h"
#include "backend/CMain.h"
#include "firmware/local/YModemBlocks.h"
#include "firmware/online/CommandFrameObject.h"
#include "firmware/online/LineCoding.h"
#include "firmware/online/LineFrameAssembler.h"
#include "firmware/online/NetPacket.h"
#include "protocol/CommandCatalogue.h"
#include "protocol/InboundFrames.h"
#include "protocol/LongFrame.h"
#include "protocol/SettingFrames.h"
#include "video/FrameConverter.h"
#include "video/VideoRenderer.h"

#include <QGuiApplication>
#include <QLoggingCategory>
#include <QMetaMethod>
#include <QPainter>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>

namespace {

using benchmark::DoNotOptimize;

constexpr qsizetype kKiB = 1024; // bytes

/// Adds the allocations of one iteration to a benchmark's line.
template<typename Step>
void measure(benchmark::State &state, Step step)
{
    step(); // what is made once and kept
    const std::int64_t before = bench::allocationCount();
    for (auto _ : state)
        step();
    state.counters["allocations"] = benchmark::Counter(double(bench::allocationCount() - before),
                                                       benchmark::Counter::kAvgIterations);
}

QByteArray replyOf(const protocol::FrameKind &kind)
{
    QByteArray frame(kind.length, '\x05');
    frame[protocol::long_offset::Sync] = static_cast<char>(protocol::kLongSync);
    frame[protocol::long_offset::Type] = static_cast<char>(kind.type);
    frame[protocol::long_offset::Length] = static_cast<char>(kind.length);
    return frame;
}

QByteArray statusWithYaw(int tenths)
{
    QByteArray frame = replyOf(protocol::kStatusWithZoom);
    frame[protocol::status_field::WorkMode.offset] = 1;
    protocol::writeScaled(frame, protocol::status_field::Yaw, tenths / 10.0);
    return frame;
}

// Frames to the pod

void buildShortCommand(benchmark::State &state)
{
    measure(state, [] {
        DoNotOptimize(protocol::buildCommand(protocol::Command::MoveRightUp, 0x11, 0xE2));
    });
}
BENCHMARK(buildShortCommand);

void buildPitchYaw(benchmark::State &state)
{
    measure(state, [] { DoNotOptimize(protocol::buildSetPitchYaw(-45, 170)); });
}
BENCHMARK(buildPitchYaw);

// Frames from the pod

void decode(benchmark::State &state, const protocol::FrameKind &kind)
{
    QByteArray frame = replyOf(kind);
    if (kind == protocol::kStatusWithZoom)
        frame = statusWithYaw(123);
    measure(state, [&] { DoNotOptimize(protocol::decodeInbound(frame)); });
}
BENCHMARK_CAPTURE(decode, status, protocol::kStatusWithZoom);
BENCHMARK_CAPTURE(decode, plainStatus, protocol::kStatusPlain);
BENCHMARK_CAPTURE(decode, sbus, protocol::kSbusReply);
BENCHMARK_CAPTURE(decode, version, protocol::kVersionReply);
BENCHMARK_CAPTURE(decode, b7n, protocol::kB7NReply);

/// A delivery all the way into the backend's properties. Every other one turns the gimbal.
void deliver(benchmark::State &state, bool debugOutput)
{
    QLoggingCategory *const log = QLoggingCategory::defaultCategory();
    const bool wasEnabled = log->isDebugEnabled();
    log->setEnabled(QtDebugMsg, debugOutput);
    const QtMessageHandler handler =
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    {
        CMain backend;
        const QMetaObject *const type = backend.metaObject();
        const QMetaMethod slot = type->method(type->indexOfSlot("handleDataReceived(QByteArray)"));
        const std::array frames = {statusWithYaw(100), statusWithYaw(200)};
        std::size_t turn = 0;
        measure(state, [&] {
            slot.invoke(&backend, Qt::DirectConnection, Q_ARG(QByteArray, frames[turn]));
            turn = 1 - turn;
        });
    }
    qInstallMessageHandler(handler);
    log->setEnabled(QtDebugMsg, wasEnabled);
}
BENCHMARK_CAPTURE(deliver, debugOutputOff, false);
BENCHMARK_CAPTURE(deliver, debugOutputDiscarded, true);

// Upgrades

QByteArray firmware(qsizetype size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    std::generate(bytes.begin(), bytes.end(),
                  [value = 0]() mutable { return static_cast<char>(value += 37); });
    return bytes;
}

void buildBlock(benchmark::State &state)
{
    const QByteArray file = firmware(kKiB * 64);
    measure(state,
            [&, payload = state.range(0)] { DoNotOptimize(ymodem::dataBlock(file, 7, payload)); });
}
BENCHMARK(buildBlock)->Arg(ymodem::kShortPayload)->Arg(ymodem::kLongPayload);

CommandFrameObject chunkFrame()
{
    CommandFrameObject frame;
    frame.type = 0x23;
    frame.firstValue = 300;
    frame.secondValue = 17;
    frame.data = firmware(116);
    return frame;
}

void buildChunkFrame(benchmark::State &state)
{
    const CommandFrameObject frame = chunkFrame();
    measure(state, [&] { DoNotOptimize(frame.toBytes()); });
}
BENCHMARK(buildChunkFrame);

void codeLine(benchmark::State &state)
{
    const QByteArray raw = chunkFrame().toBytes();
    measure(state, [&] { DoNotOptimize(upgrade::encodeLine(raw)); });
}
BENCHMARK(codeLine);

void decodeLine(benchmark::State &state)
{
    const QByteArray line = upgrade::encodeLine(chunkFrame().toBytes()).value();
    measure(state, [&] { DoNotOptimize(upgrade::decodeLine(line)); });
}
BENCHMARK(decodeLine);

void assembleLine(benchmark::State &state)
{
    const QByteArray line = upgrade::encodeLine(chunkFrame().toBytes()).value();
    const QByteArrayView all(line);
    LineFrameAssembler assembler;
    measure(state, [&] {
        assembler.push(all.first(40));
        DoNotOptimize(assembler.push(all.sliced(40)));
    });
}
BENCHMARK(assembleLine);

/// A packet that arrives in pieces of a network segment's size.
void assemblePacket(benchmark::State &state)
{
    constexpr qsizetype kSegment = 1448; // bytes
    const QByteArray bytes = NetPacket::of(firmware(state.range(0))).toBytes();
    NetPacketAssembler assembler;
    measure(state, [&] {
        for (qsizetype at = 0; at < bytes.size(); at += kSegment) {
            assembler.append(bytes.mid(at, kSegment));
            while (!std::holds_alternative<NetPacketAssembler::NeedsMore>(assembler.next())) {
            }
        }
    });
    state.SetBytesProcessed(state.iterations() * bytes.size());
}
BENCHMARK(assemblePacket)->Arg(64)->Arg(kKiB * 64)->Arg(kKiB * 1024);

// Pictures

constexpr std::array kPictureSizes = {QSize(1280, 720), QSize(1920, 1080), QSize(3840, 2160)};

QSize pictureSize(benchmark::State &state)
{
    const QSize size = kPictureSizes[std::size_t(state.range(0))];
    state.SetLabel(std::to_string(size.width()) + "x" + std::to_string(size.height()));
    return size;
}

void convertPicture(benchmark::State &state)
{
    const QSize size = pictureSize(state);
    const ffmpeg::FramePtr frame(av_frame_alloc());
    frame->width = size.width();
    frame->height = size.height();
    frame->format = AV_PIX_FMT_YUV420P;
    if (av_frame_get_buffer(frame.get(), 0) != 0) {
        state.SkipWithError("no memory for a picture");
        return;
    }
    for (std::size_t plane = 0; plane < 3; ++plane)
        std::fill_n(frame->data[plane], frame->linesize[plane] * size.height() / (plane ? 2 : 1),
                    uint8_t(40 * (plane + 1)));
    FrameConverter converter;
    measure(state, [&] { DoNotOptimize(converter.convert(frame.get())); });
}
BENCHMARK(convertPicture)->DenseRange(0, 2)->Unit(benchmark::kMillisecond);

void paintPicture(benchmark::State &state)
{
    const QSize size = pictureSize(state);
    QImage picture(size, QImage::Format_RGBA8888);
    picture.fill(QColor(40, 80, 120));
    VideoRenderer item;
    item.setSize(QSizeF(1280, 720));
    QMetaObject::invokeMethod(&item, "onFrameReady", Q_ARG(QImage, picture));
    // What the software renderer and the item's framebuffer hold.
    QImage surface(1280, 720, QImage::Format_ARGB32_Premultiplied);
    measure(state, [&] {
        QPainter painter(&surface);
        item.paint(&painter);
    });
}
BENCHMARK(paintPicture)->DenseRange(0, 2)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication app(argc, argv);
    QLoggingCategory::defaultCategory()->setEnabled(QtDebugMsg, false);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
