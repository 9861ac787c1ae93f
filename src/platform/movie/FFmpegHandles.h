#pragma once

// Owning handles for FFmpeg objects, so that every early return frees what it opened.

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/frame.h>
}

#include <memory>

namespace ombrel {

struct FormatContextCloser {
    void operator()(AVFormatContext* c) const { avformat_close_input(&c); }
};
using FormatContextPtr = std::unique_ptr<AVFormatContext, FormatContextCloser>;

struct CodecContextFreer {
    void operator()(AVCodecContext* c) const { avcodec_free_context(&c); }
};
using CodecContextPtr = std::unique_ptr<AVCodecContext, CodecContextFreer>;

struct PacketFreer {
    void operator()(AVPacket* p) const { av_packet_free(&p); }
};
using PacketPtr = std::unique_ptr<AVPacket, PacketFreer>;

struct FrameFreer {
    void operator()(AVFrame* f) const { av_frame_free(&f); }
};
using FramePtr = std::unique_ptr<AVFrame, FrameFreer>;

}  // namespace ombrel
