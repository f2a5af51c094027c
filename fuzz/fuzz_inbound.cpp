// What a pod may send, over both links, into the decoder and the backend behind it.
// Input: a byte whose lowest bit chooses the serial link, then deliveries, each a length and bytes.

#include "CMain.h"
#include "FuzzHarness.h"
#include "link/SerialCommunication.h"
#include "protocol/InboundFrames.h"
#include "protocol/LongFrame.h"

#include <QJsonObject>

#include <algorithm>
#include <memory>

using namespace protocol;

namespace {

constexpr FrameKind kKinds[] = {kStatusWithZoom, kStatusPlain, kSbusReply,
                                kVersionReply,   kB7NReply,    kB7NAddressReply};

quint8 byteAt(QByteArrayView bytes, qsizetype at) { return static_cast<quint8>(bytes[at]); }

/// What the value of a field is written back as must be what stood in the frame.
void requireField(QByteArrayView frame, const Field &field, double value)
{
    QByteArray written = frame.toByteArray();
    writeScaled(written, field, value);
    FUZZ_REQUIRE(written == frame);
}

void check(QByteArrayView delivery, const UnknownFrame &)
{
    FUZZ_REQUIRE(delivery.size() < long_offset::Payload || byteAt(delivery, 0) != kLongSync
                 || std::ranges::find(kKinds, FrameKind{byteAt(delivery, 1), byteAt(delivery, 2)})
                        == std::end(kKinds));
}

void check(QByteArrayView delivery, const TruncatedFrame &frame)
{
    FUZZ_REQUIRE(delivery.size() < frame.kind.length);
}

void check(QByteArrayView frame, const StatusFrame &status)
{
    requireField(frame, status_field::LaserDistance, status.laserDistance);
    requireField(frame, status_field::Roll, status.roll);
    requireField(frame, status_field::Pitch, status.pitch);
    requireField(frame, status_field::Yaw, status.yaw);
    requireField(frame, status_field::ZoomStep, status.zoomStep);
    requireField(frame, status_field::TargetLatitude, status.targetLatitude);
    requireField(frame, status_field::TargetLongitude, status.targetLongitude);
    FUZZ_REQUIRE(std::abs(status.targetAltitude) <= 3276);
    FUZZ_REQUIRE(!status.plane);
    if (status.camera) {
        requireField(frame, status_field::ZoomRatio, status.camera->zoomRatio);
        FUZZ_REQUIRE(status.camera->workMode.size() >= 4);
    }
}

/// The other replies are read byte by byte; what may go wrong there the sanitizers see.
template<typename Reply>
void check(QByteArrayView, const Reply &)
{
}

/// The backend takes over what was decoded.
void check(const CMain &backend, const InboundFrame &frame)
{
    if (const auto *status = std::get_if<StatusFrame>(&frame)) {
        FUZZ_REQUIRE(qFuzzyCompare(backend.yaw(), status->yaw));
        FUZZ_REQUIRE(backend.zoomint() == status->zoomStep);
        FUZZ_REQUIRE(backend.tracking() == status->tracking);
        FUZZ_REQUIRE(!backend.statusStale());
    } else if (const auto *map = std::get_if<SbusMap>(&frame)) {
        FUZZ_REQUIRE(backend.sbusOsdIndex() == map->channels[12]);
    } else if (const auto *version = std::get_if<VersionReply>(&frame)) {
        FUZZ_REQUIRE(backend.versionno() == version->text);
    } else if (const auto *reply = std::get_if<B7NReply>(&frame)) {
        FUZZ_REQUIRE(backend.b7nIPAddress() == reply->address);
    }
}

void deliver(CMain &backend, QByteArrayView bytes, bool isSerial)
{
    QByteArray delivery = bytes.toByteArray();
    if (isSerial)
        delivery.resize(SerialCommunication::kBlockLength, '\0');
    // In memory of exactly its size, so that no byte behind it can be read unnoticed.
    const auto exact = std::make_unique<char[]>(std::size_t(delivery.size()));
    std::ranges::copy(delivery, exact.get());
    const QByteArrayView view(exact.get(), delivery.size());
    const InboundFrame frame = decodeInbound(view);
    std::visit([view](const auto &decoded) { check(view, decoded); }, frame);

    QMetaObject::invokeMethod(&backend, "handleDataReceived", Qt::DirectConnection,
                              Q_ARG(QByteArray, delivery));
    check(backend, frame);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    fuzz::prepare(size);
    static CMain backend;
    fuzz::Input input(data, size);
    const bool isSerial = (input.byte() & 1U) != 0;
    while (!input.isEmpty()) {
        const quint8 length = input.byte();
        deliver(backend, input.bytes(length), isSerial);
    }
    return 0;
}
