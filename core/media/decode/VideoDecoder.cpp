#include "core/media/decode/VideoDecoder.h"

#include <utility>

#include "core/media/MovieSentences.h"

namespace glintro {
namespace {

constexpr int kMostErrors = 1000; // without a frame in between

int threadCount(MovieReader::Access access) {
    // More threads decode further ahead and hold more frames; a single frame is there soonest with all of
    // them.
    constexpr int kSequentialThreads = 2;
    return access == MovieReader::Access::sequential ? kSequentialThreads : 0;
}

} // namespace

Result<VideoDecoder> VideoDecoder::create(const AVStream& stream, MovieReader::Access access) {
    const AVCodec* codec = avcodec_find_decoder(stream.codecpar->codec_id);
    if (codec == nullptr) {
        return failure("The recording’s video format is not supported.",
                       avcodec_get_name(stream.codecpar->codec_id));
    }
    CodecPtr context(avcodec_alloc_context3(codec));
    int code = avcodec_parameters_to_context(context.get(), stream.codecpar);
    if (code < 0) return ffmpegFailure(kCannotReadMovie, code);
    context->pkt_timebase = stream.time_base;
    context->thread_count = threadCount(access);
    context->thread_type = FF_THREAD_FRAME | FF_THREAD_SLICE;
    // Cropped to the pixel, even where a plane then starts at an odd address.
    context->flags |= AV_CODEC_FLAG_UNALIGNED;
    code = avcodec_open2(context.get(), codec, nullptr);
    if (code < 0) return ffmpegFailure(kCannotReadMovie, code);
    return VideoDecoder(std::move(context));
}

Result<FramePtr> VideoDecoder::next(MovieFile& file) {
    FramePtr frame = newFrame();
    for (int errors = 0; errors < kMostErrors;) {
        const int code = avcodec_receive_frame(context_.get(), frame.get());
        if (code == 0 && frame->best_effort_timestamp != AV_NOPTS_VALUE) return frame;
        if (code == AVERROR_EOF) return FramePtr();
        if (code == AVERROR(ENOMEM)) return ffmpegFailure(kCannotReadMovie, code);
        if (code != AVERROR(EAGAIN)) {
            ++errors;
        } else if (auto fed = feed(file); !fed) {
            return std::unexpected(fed.error());
        }
    }
    return failure(kCannotReadMovie, "too many damaged frames");
}

Result<void> VideoDecoder::feed(MovieFile& file) {
    const auto more = file.read(*packet_);
    if (!more) return std::unexpected(more.error());
    if (!*more) {
        avcodec_send_packet(context_.get(), nullptr);
        return {};
    }
    const std::int64_t time = packet_->pts;
    const bool isEarly = time != AV_NOPTS_VALUE && time < wantedTime_;
    context_->skip_frame = isEarly ? AVDISCARD_NONREF : AVDISCARD_DEFAULT;
    // A damaged packet costs its own frame only, as in any player.
    const int code = avcodec_send_packet(context_.get(), packet_.get());
    if (code == AVERROR(ENOMEM)) return ffmpegFailure(kCannotReadMovie, code);
    return {};
}

void VideoDecoder::restart(std::int64_t wantedTime) {
    avcodec_flush_buffers(context_.get());
    wantedTime_ = wantedTime;
}

} // namespace glintro
