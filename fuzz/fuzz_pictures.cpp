// What an RTSP server may send as H.264 or H.265, a network packet at a time: joined into pictures.
// Input: a byte whose lowest bit chooses the codec, then packets: a byte with how far the media
// time moves (0: stays) in its upper and the packet's length divided by kLengthStep in its lower
// half, a byte whose lowest bit says that the length tells nothing, and the packet's bytes.

#include "FuzzHarness.h"
#include "video/PictureAssembler.h"

namespace {

constexpr qsizetype kLengthStep = 4;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    fuzz::prepare(size);
    fuzz::Input input(data, size);
    PictureAssembler assembler((input.byte() & 1U) != 0 ? PictureAssembler::Codec::H265
                                                        : PictureAssembler::Codec::H264);
    QByteArray taken;
    QByteArray given;
    std::int64_t time = 0;
    while (!input.isEmpty()) {
        const quint8 head = input.byte();
        const bool areUnits = (input.byte() & 1U) != 0;
        const QByteArrayView packet = input.bytes((head & 0x0FU) * kLengthStep);
        time += head >> 4U;
        const QByteArrayList pictures =
            areUnits ? assembler.addUnits(packet, time) : assembler.addPacket(packet, time);
        taken += packet;
        for (const QByteArray &picture : pictures) {
            FUZZ_REQUIRE(!picture.isEmpty());
            given += picture;
        }
    }
    // Start codes may become longer; nothing else is added.
    FUZZ_REQUIRE(given.size() <= 2 * taken.size() + kLengthStep);
    return 0;
}
