#include "core/media/encode/LiveEncoderRung.h"

#include <algorithm>
#include <cmath>
#include <thread>
#include <utility>

#include <fmt/format.h>

#include "core/media/MovieSentences.h"
#include "core/media/encode/LiveVideoEncoder.h"

extern "C" {
#include <libavutil/hwcontext.h>
#include <libavutil/opt.h>
}

namespace glintro {
namespace {

using BufferRef = std::unique_ptr<AVBufferRef, FreeByAddress<av_buffer_unref>>;

// What one thread of x264 at its least effort does on a slow machine; more pixels than these get more
// threads.
constexpr double kPixelsPerThread = 1920.0 * 1080 * 66;

int processorCount() {
    return static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
}

int threadsFor(const LiveVideoSettings& settings) {
    const double pixels = 1.0 * settings.size.width * settings.size.height * settings.fps;
    return std::clamp(static_cast<int>(std::ceil(pixels / kPixelsPerThread)), 1, processorCount());
}

void applySettings(AVCodecContext& context, const LiveVideoSettings& settings) {
    context.width = settings.size.width;
    context.height = settings.size.height;
    context.sample_aspect_ratio = {1, 1};
    context.time_base = kLiveTimeBase;
    context.framerate = {settings.fps, 1};
    context.bit_rate = settings.bitRate;
    context.gop_size = std::max(1, static_cast<int>(settings.keyFrameSpacing * settings.fps));
    context.max_b_frames = 0;
    // Finer than this nobody sees, and a still screen would be encoded again and again until it is exact.
    context.qmin = 10;
    context.color_range = AVCOL_RANGE_MPEG;
    context.color_primaries = AVCOL_PRI_BT709;
    context.color_trc = AVCOL_TRC_BT709;
    context.colorspace = AVCOL_SPC_BT709;
    context.chroma_sample_location = AVCHROMA_LOC_LEFT;
    context.flags |= AV_CODEC_FLAG_GLOBAL_HEADER | AV_CODEC_FLAG_LOW_DELAY;
}

// Encoders ignore what they have no option for. The hardware's are told to hold no picture back.
void applyOptions(AVCodecContext& context, const LiveEncoderRung& rung) {
    const auto set = [&](const char* option, const std::string& value) {
        av_opt_set(context.priv_data, option, value.c_str(), 0);
    };
    context.thread_count = rung.threads;
    set("forced-idr", "1");
    if (!rung.preset.empty()) set("preset", rung.preset);
    if (rung.codec == "libx264") {
        set("tune", "zerolatency");
        set("x264-params", fmt::format("sps-id={}", rung.parameterSetId));
    } else if (rung.codec == "libx265") {
        set("tune", "zerolatency");
        set("x265-params", "log-level=none:frame-threads=1");
    } else {
        set("zerolatency", "1");
        set("delay", "0");
        set("async_depth", "1");
        set("forced_idr", "1");
    }
}

// The frames of an encoder that reads them from its device.
Result<void> attachDevice(AVCodecContext& context, const LiveEncoderRung& rung) {
    const AVHWDeviceType type = av_hwdevice_find_type_by_name(rung.deviceType.c_str());
    AVBufferRef* device = nullptr;
    int code = av_hwdevice_ctx_create(&device, type, nullptr, nullptr, 0);
    const BufferRef deviceOwner(device);
    if (code < 0) return ffmpegFailure(kCannotStartMovie, code);
    BufferRef pool(av_hwframe_ctx_alloc(device));
    if (!pool) return failure(kCannotStartMovie, "out of memory");
    auto& frames = *reinterpret_cast<AVHWFramesContext*>(pool->data);
    frames.format = context.codec->pix_fmts[0];
    frames.sw_format = AV_PIX_FMT_NV12;
    frames.width = context.width;
    frames.height = context.height;
    frames.initial_pool_size = 8;
    code = av_hwframe_ctx_init(pool.get());
    if (code < 0) return ffmpegFailure(kCannotStartMovie, code);
    context.pix_fmt = frames.format;
    context.hw_frames_ctx = pool.release();
    return {};
}

bool reads(const AVCodec& codec, AVPixelFormat format) {
    for (const AVPixelFormat* known = codec.pix_fmts; known && *known != AV_PIX_FMT_NONE; ++known) {
        if (*known == format) return true;
    }
    return false;
}

FramePtr emptyFrame(AVPixelFormat format, PixelSize size) {
    FramePtr frame = newFrame();
    frame->format = format;
    frame->width = size.width;
    frame->height = size.height;
    return frame;
}

// Hardware likes the two chroma planes interleaved.
FramePtr interleaved(const Picture& picture) {
    FramePtr frame = emptyFrame(AV_PIX_FMT_NV12, picture.size);
    if (av_frame_get_buffer(frame.get(), 0) < 0) return nullptr;
    for (int y = 0; y < picture.planes[0].height; ++y)
        std::copy_n(picture.planes[0].row(y), picture.planes[0].width,
                    frame->data[0] + std::ptrdiff_t{y} * frame->linesize[0]);
    for (int y = 0; y < picture.planes[1].height; ++y) {
        std::uint8_t* row = frame->data[1] + std::ptrdiff_t{y} * frame->linesize[1];
        for (int x = 0; x < picture.planes[1].width; ++x) {
            row[2 * x] = picture.planes[1].row(y)[x];
            row[2 * x + 1] = picture.planes[2].row(y)[x];
        }
    }
    return frame;
}

} // namespace

std::vector<LiveEncoderRung> liveLadder(const LiveVideoSettings& settings) {
    const int threads = threadsFor(settings);
    if (settings.codec == VideoCodec::hevc) {
        // x265 shares its threads among all rows of a picture at little cost: it gets all cores.
        return {{.codec = "hevc_nvenc"},
                {.codec = "hevc_qsv"},
                {.codec = "hevc_vaapi", .deviceType = "vaapi"},
                {.codec = "libx265", .preset = "veryfast", .threads = 0},
                {.codec = "libx265", .preset = "superfast", .threads = 0},
                {.codec = "libx265", .preset = "ultrafast", .threads = 0}};
    }
    return {{.codec = "h264_nvenc"},
            {.codec = "h264_qsv"},
            {.codec = "h264_vaapi", .deviceType = "vaapi"},
            {.codec = "libx264", .preset = "veryfast", .parameterSetId = 1, .threads = threads},
            {.codec = "libx264", .preset = "superfast", .parameterSetId = 2, .threads = threads},
            {.codec = "libx264", .preset = "ultrafast", .parameterSetId = 3, .threads = threads},
            {.codec = "libx264",
             .preset = "ultrafast",
             .parameterSetId = 4,
             .threads = processorCount(),
             .isReserve = true}};
}

Result<CodecPtr> openRung(const LiveEncoderRung& rung, const LiveVideoSettings& settings) {
    const AVCodec* codec = avcodec_find_encoder_by_name(rung.codec.c_str());
    if (codec == nullptr) return failure(kCannotStartMovie, "FFmpeg has no " + rung.codec);
    CodecPtr context(avcodec_alloc_context3(codec));
    applySettings(*context, settings);
    context->pix_fmt = reads(*codec, AV_PIX_FMT_YUV420P) ? AV_PIX_FMT_YUV420P : AV_PIX_FMT_NV12;
    applyOptions(*context, rung);
    if (!rung.deviceType.empty()) {
        if (auto attached = attachDevice(*context, rung); !attached) return std::unexpected(attached.error());
    }
    const int code = avcodec_open2(context.get(), codec, nullptr);
    if (code < 0) return ffmpegFailure(kCannotStartMovie, code);
    if (context->extradata_size == 0)
        return failure(kCannotStartMovie, rung.codec + " gives no parameter sets");
    return context;
}

Result<FramePtr> frameFor(const AVCodecContext& encoder, const Picture& picture) {
    FramePtr frame = encoder.pix_fmt == AV_PIX_FMT_YUV420P ? frameOver(picture) : interleaved(picture);
    if (!frame) return failure(kCannotEncodeMovie, "out of memory");
    frame->color_range = encoder.color_range;
    if (encoder.hw_frames_ctx == nullptr) return frame;
    FramePtr carried = newFrame();
    int code = av_hwframe_get_buffer(encoder.hw_frames_ctx, carried.get(), 0);
    if (code >= 0) code = av_hwframe_transfer_data(carried.get(), frame.get(), 0);
    if (code < 0) return ffmpegFailure(kCannotEncodeMovie, code);
    return carried;
}

} // namespace glintro
