#include "core/media/decode/VideoDecoder.h"

#include <algorithm>
#include <utility>

#include "core/media/MovieSentences.h"

namespace glintro {
namespace {

constexpr int kMostErrors = 1000; // without a frame in between

} // namespace

Result<VideoDecoder> VideoDecoder::create(const AVStream& stream, int threads) {
    const AVCodec* codec = avcodec_find_decoder(stream.codecpar->codec_id);
    if (codec == nullptr) {
        return failure("The recording’s video format is not supported.",
                       avcodec_get_name(stream.codecpar->codec_id));
    }
    CodecPtr context(avcodec_alloc_context3(codec));
    int code = avcodec_parameters_to_context(context.get(), stream.codecpar);
    if (code < 0) return ffmpegFailure(kCannotReadMovie, code);
    context->pkt_timebase = stream.time_base;
    context->thread_count = threads;
    context->thread_type = FF_THREAD_FRAME | FF_THREAD_SLICE;
    // Cropped to the pixel, even where a plane then starts at an odd address.
    context->flags |= AV_CODEC_FLAG_UNALIGNED;
    code = avcodec_open2(context.get(), codec, nullptr);
    if (code < 0) return ffmpegFailure(kCannotReadMovie, code);
    return VideoDecoder(std::move(context));
}

Result<FramePtr> VideoDecoder::next(MovieFile& file, const std::stop_token& stop) {
    FramePtr frame = newFrame();
    for (int errors = 0; errors < kMostErrors;) {
        const int code = avcodec_receive_frame(context_.get(), frame.get());
        if (code == 0 && frame->best_effort_timestamp != AV_NOPTS_VALUE) {
            std::erase(early_, frame->best_effort_timestamp);
            return frame;
        }
        if (code == AVERROR_EOF) return FramePtr();
        if (code == AVERROR(ENOMEM)) return ffmpegFailure(kCannotReadMovie, code);
        if (code != AVERROR(EAGAIN)) {
            ++errors;
            continue;
        }
        if (stop.stop_requested()) return std::unexpected(Failure::cancelled());
        if (auto fed = feed(file); !fed) return std::unexpected(fed.error());
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
    const bool isEarly = time != AV_NOPTS_VALUE && time < skipBefore_;
    context_->skip_frame = isEarly ? AVDISCARD_NONREF : AVDISCARD_DEFAULT;
    if (isEarly) early_.push_back(time);
    // A damaged packet costs its own frame only, as in any player.
    const int code = avcodec_send_packet(context_.get(), packet_.get());
    if (code == AVERROR(ENOMEM)) return ffmpegFailure(kCannotReadMovie, code);
    return {};
}

Result<bool> VideoDecoder::readKeyPacket(MovieFile& file, const std::stop_token& stop) {
    for (;;) {
        if (stop.stop_requested()) return std::unexpected(Failure::cancelled());
        const auto more = file.read(*packet_);
        if (!more || !*more) return more;
        if ((packet_->flags & AV_PKT_FLAG_KEY) != 0) return true;
    }
}

// Draining the decoder right after the key frame outputs it at once; otherwise it waits for frames to reorder
// or to decode in parallel.
Result<FramePtr> VideoDecoder::nextKeyFrame(MovieFile& file, const std::stop_token& stop) {
    const auto found = readKeyPacket(file, stop);
    if (!found) return std::unexpected(found.error());
    if (!*found) return FramePtr();
    context_->skip_frame = AVDISCARD_DEFAULT;
    FramePtr frame = newFrame();
    const bool isDecoded = avcodec_send_packet(context_.get(), packet_.get()) == 0
                           && avcodec_send_packet(context_.get(), nullptr) == 0
                           && avcodec_receive_frame(context_.get(), frame.get()) == 0;
    return isDecoded && frame->best_effort_timestamp != AV_NOPTS_VALUE ? std::move(frame) : FramePtr();
}

void VideoDecoder::restart() {
    avcodec_flush_buffers(context_.get());
    skipBefore_ = kSkipNothing;
    early_.clear();
}

bool VideoDecoder::hasLeftOut(std::int64_t first, std::int64_t end) const {
    return std::ranges::any_of(early_, [&](std::int64_t time) { return first < time && time < end; });
}

} // namespace glintro
