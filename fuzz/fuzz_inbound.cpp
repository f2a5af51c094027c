// What a pod may send, over both links, into the decoder and the backend behind it.
// Input: a byte whose lowest bit chooses the serial link, then deliveries, each a length and bytes.

#include "FuzzHarness.h"
#include "backend/CMain.h"
#include "link/SerialCommunication.h"
#include "protocol/InboundFrames.h"
#include "protocol/LongFrame.h"

#include <QJsonObject>

#include <algorithm>
#include <array>
#include <memory>

using namespace protocol;

namespace {

constexpr std::array kKinds = {kStatusWithZoom, kStatusPlain, kSbusReply,
                               kVersionReply,   kB7NReply,    kB7NAddressReply};

/// The values, written back as fields, must be what stood in the frame.
void check(QByteArrayView frame, const StatusFrame &status, const CMain &backend)
{
    QByteArray written = frame.toByteArray();
    writeScaled(written, status_field::LaserDistance, status.laserDistance);
    writeScaled(written, status_field::Roll, status.roll);
    writeScaled(written, status_field::Pitch, status.pitch);
    writeScaled(written, status_field::Yaw, status.yaw);
    writeScaled(written, status_field::ZoomStep, status.zoomStep);
    writeScaled(written, status_field::TargetLatitude, status.targetLatitude);
    writeScaled(written, status_field::TargetLongitude, status.targetLongitude);
    if (status.camera)
        writeScaled(written, status_field::ZoomRatio, status.camera->zoomRatio);
    FUZZ_REQUIRE(written == frame);
    FUZZ_REQUIRE(std::abs(status.targetAltitude) <= 3276 && !status.plane);
    FUZZ_REQUIRE(!status.camera || status.camera->workMode.size() >= 4);
    FUZZ_REQUIRE(qFuzzyCompare(backend.yaw(), status.yaw) && backend.zoomint() == status.zoomStep);
    FUZZ_REQUIRE(backend.tracking() == status.tracking && !backend.statusStale());
}

/// What was decoded, and that the backend took it over.
void check(QByteArrayView bytes, const InboundFrame &frame, const CMain &backend)
{
    if (const auto *status = std::get_if<StatusFrame>(&frame))
        check(bytes, *status, backend);
    else if (const auto *truncated = std::get_if<TruncatedFrame>(&frame))
        FUZZ_REQUIRE(bytes.size() < truncated->kind.length);
    else if (const auto *map = std::get_if<SbusMap>(&frame))
        FUZZ_REQUIRE(backend.sbusOsdIndex() == map->channels[12]);
    else if (const auto *version = std::get_if<VersionReply>(&frame))
        FUZZ_REQUIRE(backend.versionno() == version->text);
    else if (const auto *reply = std::get_if<B7NReply>(&frame))
        FUZZ_REQUIRE(backend.b7nIPAddress() == reply->address);
    else if (bytes.size() >= long_offset::Payload && quint8(bytes[0]) == kLongSync)
        FUZZ_REQUIRE(std::ranges::find(kKinds, FrameKind{quint8(bytes[1]), quint8(bytes[2])})
                     == kKinds.end());
}

} // namespace

void fuzz::run(Input input)
{
    static CMain backend;
    const bool isSerial = (input.byte() & 1U) != 0;
    while (!input.isEmpty()) {
        const quint8 length = input.byte();
        QByteArray delivery = input.bytes(length).toByteArray();
        if (isSerial)
            delivery.resize(SerialCommunication::kBlockLength, '\0');
        // In memory of exactly its size, so that no byte behind it can be read unnoticed.
        const auto exact = std::make_unique<char[]>(std::size_t(delivery.size()));
        std::ranges::copy(delivery, exact.get());
        const InboundFrame frame = decodeInbound({exact.get(), delivery.size()});
        QMetaObject::invokeMethod(&backend, "handleDataReceived", Qt::DirectConnection,
                                  Q_ARG(QByteArray, delivery));
        check(delivery, frame, backend);
    }
}
