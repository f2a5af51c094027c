#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/dict.h>
#include <libavutil/opt.h>
#include <libswscale/swscale.h>
}

#include <memory>

/// Owning pointers to FFmpeg's objects.
namespace ffmpeg {

struct FormatContextDeleter
{
    void operator()(AVFormatContext *context) const { avformat_close_input(&context); }
};

struct CodecContextDeleter
{
    void operator()(AVCodecContext *context) const { avcodec_free_context(&context); }
};

struct ParametersDeleter
{
    void operator()(AVCodecParameters *parameters) const { avcodec_parameters_free(&parameters); }
};

struct ParserDeleter
{
    void operator()(AVCodecParserContext *parser) const { av_parser_close(parser); }
};

struct SwsContextDeleter
{
    void operator()(SwsContext *context) const { sws_freeContext(context); }
};

struct PacketDeleter
{
    void operator()(AVPacket *packet) const { av_packet_free(&packet); }
};

struct FrameDeleter
{
    void operator()(AVFrame *frame) const { av_frame_free(&frame); }
};

using FormatContextPtr = std::unique_ptr<AVFormatContext, FormatContextDeleter>;
using CodecContextPtr = std::unique_ptr<AVCodecContext, CodecContextDeleter>;
using ParametersPtr = std::unique_ptr<AVCodecParameters, ParametersDeleter>;
using ParserPtr = std::unique_ptr<AVCodecParserContext, ParserDeleter>;
using SwsContextPtr = std::unique_ptr<SwsContext, SwsContextDeleter>;
using PacketPtr = std::unique_ptr<AVPacket, PacketDeleter>;
using FramePtr = std::unique_ptr<AVFrame, FrameDeleter>;

/// An option dictionary. FFmpeg's calls take it by address and may replace it.
class Dictionary
{
public:
    Dictionary() = default;

    ~Dictionary() { av_dict_free(&m_dictionary); }

    Dictionary(const Dictionary &) = delete;
    Dictionary &operator=(const Dictionary &) = delete;

    void set(const char *key, const char *value) { av_dict_set(&m_dictionary, key, value, 0); }

    AVDictionary **address() { return &m_dictionary; }

    const AVDictionary *get() const { return m_dictionary; }

private:
    AVDictionary *m_dictionary = nullptr;
};

} // namespace ffmpeg
