#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavfilter/avfilter.h>
#include <libavformat/avformat.h>
#include <libavutil/frame.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

#include "core/base/Failure.h"

// Owners for FFmpeg's C handles, and the one place where its error codes become a Failure.
namespace glintro {

template <auto Free>
struct FreeByAddress {
    template <class T>
    void operator()(T* handle) const {
        Free(&handle);
    }
};
struct CloseOutput {
    void operator()(AVFormatContext* context) const {
        avio_closep(&context->pb);
        avformat_free_context(context);
    }
};
struct FreeScaler {
    void operator()(SwsContext* context) const { sws_freeContext(context); }
};

using FramePtr = std::unique_ptr<AVFrame, FreeByAddress<av_frame_free>>;
using PacketPtr = std::unique_ptr<AVPacket, FreeByAddress<av_packet_free>>;
using ParametersPtr = std::unique_ptr<AVCodecParameters, FreeByAddress<avcodec_parameters_free>>;
using CodecPtr = std::unique_ptr<AVCodecContext, FreeByAddress<avcodec_free_context>>;
using InputPtr = std::unique_ptr<AVFormatContext, FreeByAddress<avformat_close_input>>;
using OutputPtr = std::unique_ptr<AVFormatContext, CloseOutput>;
using FilterGraphPtr = std::unique_ptr<AVFilterGraph, FreeByAddress<avfilter_graph_free>>;
using ResamplerPtr = std::unique_ptr<SwrContext, FreeByAddress<swr_free>>;
// Buffers that are still in use outlive the pool.
using BufferPoolPtr = std::unique_ptr<AVBufferPool, FreeByAddress<av_buffer_pool_uninit>>;
using DictionaryPtr = std::unique_ptr<AVDictionary, FreeByAddress<av_dict_free>>;
using ScalerPtr = std::unique_ptr<SwsContext, FreeScaler>;

inline FramePtr newFrame() {
    return FramePtr(av_frame_alloc());
}
inline PacketPtr newPacket() {
    return PacketPtr(av_packet_alloc());
}

// `message` for the user, FFmpeg's own words for the log.
inline std::unexpected<Failure> ffmpegFailure(std::string message, int code) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    return failure(std::move(message), text, code);
}

// The URL of a local file, whatever characters its name has.
inline std::string fileUrl(const std::filesystem::path& file) {
    return "file:" + file.string();
}

// Keeps FFmpeg from writing to standard error, and limits a single allocation to the largest plane of any
// accepted movie. Call before each use of a file; cheap.
inline void prepareFFmpeg() {
    av_log_set_level(AV_LOG_QUIET);
    av_max_alloc(std::size_t{600} << 20);
}

} // namespace glintro
