#include "core/media/encode/VideoEncoder.h"

#include <utility>

#include "core/media/MovieSentences.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace glintro {
namespace {

const AVCodec* findEncoder() {
    const AVCodec* x264 = avcodec_find_encoder_by_name("libx264");
    return x264 != nullptr ? x264 : avcodec_find_encoder(AV_CODEC_ID_H264);
}

void applySettings(AVCodecContext& context, const VideoTrackSettings& settings) {
    context.width = settings.size.width;
    context.height = settings.size.height;
    context.pix_fmt = AV_PIX_FMT_YUV420P;
    context.sample_aspect_ratio = {1, 1};
    context.time_base = {1, settings.fps};
    context.framerate = {settings.fps, 1};
    context.bit_rate = settings.bitRate;
    context.gop_size = settings.keyFrameInterval;
    context.profile = FF_PROFILE_H264_HIGH;
    context.color_range = AVCOL_RANGE_MPEG;
    context.color_primaries = AVCOL_PRI_BT709;
    context.color_trc = AVCOL_TRC_BT709;
    context.colorspace = AVCOL_SPC_BT709;
    context.chroma_sample_location = AVCHROMA_LOC_LEFT;
    context.thread_count = settings.threads;
    context.flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    // Encoders other than x264 have no such option and ignore it.
    av_opt_set(context.priv_data, "preset", settings.preset.c_str(), 0);
}

bool isEncodable(const VideoTrackSettings& settings) {
    const auto [width, height] = settings.size;
    return width >= 2 && height >= 2 && width % 2 == 0 && height % 2 == 0 && settings.fps > 0
           && settings.bitRate > 0 && settings.keyFrameInterval > 0;
}

void releaseStorage(void* opaque, std::uint8_t*) {
    delete static_cast<std::shared_ptr<const void>*>(opaque);
}

// A picture without storage may be gone when the call returns: the frame gets its own copy.
FramePtr copy(const Picture& picture) {
    const FramePtr view = frameOver(picture);
    FramePtr frame = newFrame();
    frame->format = view->format;
    frame->width = view->width;
    frame->height = view->height;
    if (av_frame_get_buffer(frame.get(), 0) < 0 || av_frame_copy(frame.get(), view.get()) < 0) return nullptr;
    return frame;
}

} // namespace

Result<std::unique_ptr<VideoEncoder>> VideoEncoder::create(const VideoTrackSettings& settings) {
    if (!isEncodable(settings)) return failure(kCannotStartMovie, "video settings out of range");
    const AVCodec* codec = findEncoder();
    if (codec == nullptr)
        return failure("Movies can’t be written: FFmpeg was built without an H.264 encoder.");
    CodecPtr context(avcodec_alloc_context3(codec));
    applySettings(*context, settings);
    const int code = avcodec_open2(context.get(), codec, nullptr);
    if (code < 0) return ffmpegFailure(kCannotStartMovie, code);
    return std::unique_ptr<VideoEncoder>(new VideoEncoder(std::move(context)));
}

Result<void> VideoEncoder::encode(const Picture& picture, std::int64_t index, const PacketSink& sink) {
    const bool fits =
        picture.layout == PixelLayout::yuv420 && picture.size == PixelSize{context_->width, context_->height};
    if (!fits || index <= lastIndex_) return failure(kCannotEncodeMovie, "picture or index out of order");
    lastIndex_ = index;
    FramePtr frame = picture.storage ? frameOver(picture) : copy(picture);
    if (!frame) return failure(kCannotEncodeMovie, "out of memory");
    frame->pts = index;
    frame->color_range = context_->color_range;
    return pumpEncoder(*context_, frame.get(), sink);
}

Result<void> VideoEncoder::flush(const PacketSink& sink) {
    return pumpEncoder(*context_, nullptr, sink);
}

FramePtr frameOver(const Picture& picture) {
    FramePtr frame = newFrame();
    frame->format = AV_PIX_FMT_YUV420P;
    frame->width = picture.size.width;
    frame->height = picture.size.height;
    for (std::size_t i = 0; i < picture.planes.size(); ++i) {
        // An encoder only reads, but FFmpeg's frames have no const planes.
        frame->data[i] = const_cast<std::uint8_t*>(picture.planes[i].data);
        frame->linesize[i] = static_cast<int>(picture.planes[i].stride);
    }
    auto* storage = new std::shared_ptr<const void>(picture.storage);
    frame->buf[0] = av_buffer_create(frame->data[0], 1, releaseStorage, storage, AV_BUFFER_FLAG_READONLY);
    return frame;
}

Result<void> pumpEncoder(AVCodecContext& encoder, const AVFrame* frame, const PacketSink& sink) {
    int code = avcodec_send_frame(&encoder, frame);
    const PacketPtr packet = newPacket();
    while (code >= 0) {
        code = avcodec_receive_packet(&encoder, packet.get());
        if (code < 0) break;
        if (packet->duration == 0 && encoder.codec_type == AVMEDIA_TYPE_VIDEO) packet->duration = 1;
        if (auto muxed = sink(*packet); !muxed) return muxed;
    }
    if (code == AVERROR(EAGAIN) || code == AVERROR_EOF) return {};
    return ffmpegFailure(kCannotEncodeMovie, code);
}

} // namespace glintro
