#include "core/media/encode/AudioEncoder.h"

#include <algorithm>
#include <utility>

#include "core/media/MovieSentences.h"

namespace glintro {
namespace {

constexpr const char* kCannotEncode = "Couldn’t encode the sound.";

} // namespace

Result<std::unique_ptr<AudioEncoder>> AudioEncoder::create(const AudioTrackSettings& settings) {
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_AAC);
    if (codec == nullptr) return failure("Movies can’t be written: FFmpeg was built without an AAC encoder.");
    CodecPtr context(avcodec_alloc_context3(codec));
    context->sample_fmt = AV_SAMPLE_FMT_FLTP;
    context->sample_rate = settings.sampleRate;
    context->bit_rate = settings.bitRate;
    context->time_base = {1, settings.sampleRate};
    av_channel_layout_default(&context->ch_layout, settings.channels);
    context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    const int code = avcodec_open2(context.get(), codec, nullptr);
    if (code < 0) return ffmpegFailure(kCannotStartMovie, code);
    return std::unique_ptr<AudioEncoder>(new AudioEncoder(std::move(context)));
}

Result<void> AudioEncoder::startFrame() {
    frame_ = newFrame();
    frame_->format = context_->sample_fmt;
    frame_->sample_rate = context_->sample_rate;
    frame_->nb_samples = context_->frame_size;
    av_channel_layout_copy(&frame_->ch_layout, &context_->ch_layout);
    filled_ = 0;
    const int code = av_frame_get_buffer(frame_.get(), 0);
    if (code < 0) return ffmpegFailure(kCannotEncode, code);
    return {};
}

Result<void> AudioEncoder::sendFrame(const PacketSink& sink) {
    frame_->nb_samples = filled_;
    frame_->pts = nextTime_;
    nextTime_ += filled_;
    const FramePtr frame = std::move(frame_);
    return pumpEncoder(*context_, frame.get(), sink);
}

Result<void> AudioEncoder::encode(std::span<const float> interleaved, const PacketSink& sink) {
    const auto channels = static_cast<std::size_t>(context_->ch_layout.nb_channels);
    while (interleaved.size() >= channels) {
        if (!frame_) {
            if (auto started = startFrame(); !started) return started;
        }
        const auto room = static_cast<std::size_t>(context_->frame_size - filled_);
        const std::size_t count = std::min(room, interleaved.size() / channels);
        for (std::size_t channel = 0; channel < channels; ++channel) {
            float* samples = reinterpret_cast<float*>(frame_->extended_data[channel]) + filled_;
            for (std::size_t i = 0; i < count; ++i) samples[i] = interleaved[i * channels + channel];
        }
        filled_ += static_cast<int>(count);
        interleaved = interleaved.subspan(count * channels);
        if (filled_ == context_->frame_size) {
            if (auto sent = sendFrame(sink); !sent) return sent;
        }
    }
    return {};
}

Result<void> AudioEncoder::flush(const PacketSink& sink) {
    if (frame_ && filled_ > 0) {
        if (auto sent = sendFrame(sink); !sent) return sent;
    }
    return pumpEncoder(*context_, nullptr, sink);
}

} // namespace glintro
