#include "ReorderDepth.h"

#include "AnnexB.h"

#include <algorithm>

namespace {

constexpr int kStep = 2;      // between the numbers of pictures that follow each other
constexpr int kDepthMax = 16; // what H.264 allows

} // namespace

ReorderDepth::ReorderDepth(const AVCodecContext &codec)
{
    if (codec.codec_id != AV_CODEC_ID_H264)
        return;
    const ffmpeg::ParametersPtr parameters(avcodec_parameters_alloc());
    m_parsed.reset(avcodec_alloc_context3(nullptr));
    if (!parameters || !m_parsed || avcodec_parameters_from_context(parameters.get(), &codec) < 0
        || avcodec_parameters_to_context(m_parsed.get(), parameters.get()) < 0)
        return;
    m_parser.reset(av_parser_init(AV_CODEC_ID_H264));
    if (m_parser)
        m_parser->flags |= PARSER_FLAG_COMPLETE_FRAMES;
}

void ReorderDepth::prepare(AVCodecContext &codec, const AVPacket &packet)
{
    if (!m_parser)
        return;
    std::uint8_t *unused = nullptr;
    int unusedSize = 0;
    av_parser_parse2(m_parser.get(), m_parsed.get(), &unused, &unusedSize, packet.data, packet.size,
                     packet.pts, packet.dts, 0);
    const int number = m_parser->output_picture_number;
    if (m_parser->picture_structure == AV_PICTURE_STRUCTURE_BOTTOM_FIELD)
        return; // one field is enough
    if (m_parser->key_frame == 1 && number < m_shown) {
        m_held.clear();
        m_shown = number - kStep;
    }
    add(codec, number, annexb::isReference(QByteArrayView(packet.data, packet.size)));
}

void ReorderDepth::add(AVCodecContext &codec, int number, bool isReference)
{
    const bool hasGap = number - m_shown > kStep;
    m_mayHold = m_mayHold || hasGap; // as the decoder has it
    m_held.push_back(number);
    const auto depth = [&] { return std::size_t(std::max(codec.has_b_frames, m_mayHold ? 1 : 0)); };
    while (m_held.size() > depth()) {
        const auto first = std::ranges::min_element(m_held);
        if (*first == number && hasGap && isReference && m_held.size() > 1 && depth() < kDepthMax) {
            codec.has_b_frames = int(depth()) + 1;
        } else {
            m_shown = *first;
            m_held.erase(first);
        }
    }
}
