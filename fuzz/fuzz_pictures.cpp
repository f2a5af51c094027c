// What an RTSP server may send as H.264 or H.265, a network packet at a time: joined into pictures.
// Input: a byte whose lowest bit chooses the codec, then packets: a byte with how far the media
// time moves (0: stays) in its upper and the packet's length divided by kLengthStep in its lower
// half, a byte whose lowest bit says that the length tells nothing, and the packet's bytes.

#include "FuzzHarness.h"
#include "video/PictureAssembler.h"

static constexpr qsizetype kLengthStep = 4;

void fuzz::run(Input input)
{
    using Codec = PictureAssembler::Codec;
    PictureAssembler assembler((input.byte() & 1U) != 0 ? Codec::H265 : Codec::H264);
    qsizetype taken = 0;
    qsizetype given = 0;
    std::int64_t time = 0;
    while (!input.isEmpty()) {
        const quint8 head = input.byte();
        const bool areUnits = (input.byte() & 1U) != 0;
        const QByteArrayView packet = input.bytes((head & 0x0FU) * kLengthStep);
        time += head >> 4U;
        taken += packet.size();
        for (const auto &picture :
             areUnits ? assembler.addUnits(packet, time) : assembler.addPacket(packet, time)) {
            FUZZ_REQUIRE(!picture.bytes.isEmpty());
            given += picture.isRepeated ? 0 : picture.bytes.size();
            annexb::isKeyPicture(picture.bytes, assembler.codec());
            FUZZ_REQUIRE(annexb::sequenceParameters(picture.bytes, assembler.codec()).size()
                         <= picture.bytes.size());
        }
    }
    // One picture may be given as far as it has come, and then whole.
    FUZZ_REQUIRE(given <= 2 * taken);
}
