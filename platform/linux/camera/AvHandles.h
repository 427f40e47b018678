#pragma once

#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswscale/swscale.h>
}

// FFmpeg's objects, each with its own way to go.
namespace glintro {

struct AvInputDeleter {
    void operator()(AVFormatContext* input) const { avformat_close_input(&input); }
};
using AvInput = std::unique_ptr<AVFormatContext, AvInputDeleter>;

struct AvDecoderDeleter {
    void operator()(AVCodecContext* decoder) const { avcodec_free_context(&decoder); }
};
using AvDecoder = std::unique_ptr<AVCodecContext, AvDecoderDeleter>;

struct AvPacketDeleter {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
using AvPacket = std::unique_ptr<AVPacket, AvPacketDeleter>;

struct AvFrameDeleter {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
using AvFrame = std::unique_ptr<AVFrame, AvFrameDeleter>;

struct AvPoolDeleter {
    // Buffers that are still in use go when they are given up.
    void operator()(AVBufferPool* pool) const { av_buffer_pool_uninit(&pool); }
};
using AvPool = std::unique_ptr<AVBufferPool, AvPoolDeleter>;

struct AvScalerDeleter {
    void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
};
using AvScaler = std::unique_ptr<SwsContext, AvScalerDeleter>;

} // namespace glintro
