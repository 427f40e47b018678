#include "core/media/decode/SoundTrack.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "core/media/MovieSentences.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace glintro {
namespace {

constexpr double kRate = SoundTrack::kSampleRate;
// Decoders need some packets before the wanted one until what they give is right.
constexpr std::int64_t kPreroll = SoundTrack::kSampleRate / 4;
// Decoding over a gap up to this long is cheaper than seeking.
constexpr std::int64_t kNear = std::int64_t{2} * SoundTrack::kSampleRate;
// Time stamps may be rounded to milliseconds; only what is further off is a gap.
constexpr std::int64_t kStampSlack = SoundTrack::kSampleRate / 100;
constexpr int kMostRefusals = 1000;

Result<CodecPtr> openDecoder(const AVStream& stream) {
    const AVCodec* codec = avcodec_find_decoder(stream.codecpar->codec_id);
    if (codec == nullptr) {
        return failure(kCannotDecodeSound, avcodec_get_name(stream.codecpar->codec_id));
    }
    CodecPtr context(avcodec_alloc_context3(codec));
    int code = avcodec_parameters_to_context(context.get(), stream.codecpar);
    context->pkt_timebase = stream.time_base;
    context->thread_count = 1;
    if (code >= 0) code = avcodec_open2(context.get(), codec, nullptr);
    if (code < 0) return ffmpegFailure(kCannotDecodeSound, code);
    return context;
}

bool sameParameters(const AVFrame& a, const AVFrame& b) {
    return a.format == b.format && a.sample_rate == b.sample_rate
           && av_channel_layout_compare(&a.ch_layout, &b.ch_layout) == 0;
}

} // namespace

Result<std::unique_ptr<SoundTrack>> SoundTrack::open(const std::filesystem::path& path) {
    auto file = MovieFile::open(path, MovieFile::Probe::packets);
    if (!file) return std::unexpected(file.error());
    CodecPtr decoder;
    if (AVStream* stream = (*file)->audio(); stream != nullptr) {
        auto opened = openDecoder(*stream);
        if (!opened) return std::unexpected(opened.error());
        decoder = std::move(*opened);
        (*file)->select(MovieFile::Track::audio);
    }
    std::unique_ptr<SoundTrack> track(new SoundTrack(std::move(*file), std::move(decoder)));
    if (track->decoder_) {
        if (auto tried = track->tryOut(); !tried) return std::unexpected(tried.error());
    }
    return track;
}

// Decodes the beginning, so that a track of which nothing can be decoded is known at once.
Result<void> SoundTrack::tryOut() {
    if (auto sought = seek(0); !sought) return sought;
    while (runs_.empty() && !ended_ && refused_ < kMostRefusals) {
        if (auto decoded = decodeMore(); !decoded) return decoded;
    }
    if (runs_.empty() && refused_ > 0) return failure(kCannotDecodeSound, "no packet could be decoded");
    return {};
}

Result<void> SoundTrack::read(std::int64_t position, std::span<float> interleaved) {
    if (!decoder_) {
        std::ranges::fill(interleaved, 0.0F);
        return {};
    }
    if (!isNear(position)) {
        if (auto sought = seek(position); !sought) return sought;
    }
    position_ = position;
    while (!interleaved.empty()) {
        while (!runs_.empty() && runs_.front().end() <= position_) runs_.pop_front();
        if (runs_.empty() && !ended_) {
            if (auto decoded = decodeMore(); !decoded) return decoded;
            continue;
        }
        const auto wanted = static_cast<std::int64_t>(interleaved.size()) / kChannels;
        std::int64_t count = wanted;
        if (runs_.empty() || runs_.front().start > position_) {
            if (!runs_.empty()) count = std::min(wanted, runs_.front().start - position_);
            std::fill_n(interleaved.begin(), count * kChannels, 0.0F);
        } else {
            const Run& run = runs_.front();
            count = std::min(wanted, run.end() - position_);
            std::copy_n(run.samples.begin() + (position_ - run.start) * kChannels, count * kChannels,
                        interleaved.begin());
        }
        interleaved = interleaved.subspan(static_cast<std::size_t>(count * kChannels));
        position_ += count;
    }
    return {};
}

bool SoundTrack::isNear(std::int64_t position) const {
    return position >= position_ && (ended_ || position - position_ <= kNear);
}

Result<void> SoundTrack::seek(std::int64_t position) {
    const AVStream& audio = *file_->audio();
    const AVStream& video = file_->video();
    // Some containers index their video track only.
    const AVStream& indexed = avformat_index_get_entries_count(&audio) > 0 ? audio : video;
    const Seconds start = toSeconds(file_->videoStart(), video.time_base);
    const Seconds time = start + static_cast<double>(position - kPreroll) / kRate;
    const auto target = static_cast<std::int64_t>(std::floor(time / av_q2d(indexed.time_base)));
    if (auto sought = file_->seek(indexed, target); !sought) return sought;
    avcodec_flush_buffers(decoder_.get());
    resampler_.reset();
    runs_.clear();
    decodedEnd_ = position - kPreroll;
    position_ = position;
    ended_ = false;
    return {};
}

// One step: another frame, another packet for the decoder, or the end.
Result<void> SoundTrack::decodeMore() {
    const int code = avcodec_receive_frame(decoder_.get(), frame_.get());
    if (code == AVERROR(EAGAIN)) return feed();
    if (code == 0) {
        refused_ = 0;
        return accept(*frame_);
    }
    // A decoder that fails without asking for more might do so for ever.
    if (code != AVERROR_EOF && ++refused_ < kMostRefusals) return {};
    appendResampled(nullptr);
    ended_ = true;
    return {};
}

Result<void> SoundTrack::feed() {
    const auto more = file_->read(*packet_);
    if (!more) return std::unexpected(more.error());
    const int code = avcodec_send_packet(decoder_.get(), *more ? packet_.get() : nullptr);
    if (code < 0 && *more) ++refused_;
    return {};
}

std::int64_t SoundTrack::samplePosition(const AVFrame& frame) const {
    const Seconds start = toSeconds(file_->videoStart(), file_->video().time_base);
    return std::llround((toSeconds(frame.best_effort_timestamp, file_->audio()->time_base) - start) * kRate);
}

// Appends a decoded frame to the run it continues, or starts another one where its time says so.
Result<void> SoundTrack::accept(const AVFrame& frame) {
    if (frame.nb_samples <= 0 || frame.sample_rate <= 0) return {};
    const bool continues = resampler_ && sameParameters(frame, *resampledFrom_);
    const bool isStamped = frame.best_effort_timestamp != AV_NOPTS_VALUE;
    const std::int64_t expected =
        decodedEnd_ + (continues ? swr_get_delay(resampler_.get(), kSampleRate) : 0);
    const std::int64_t stamped = isStamped ? samplePosition(frame) : expected;
    if (!continues || std::abs(stamped - expected) > kStampSlack) {
        appendResampled(nullptr);
        if (auto prepared = prepareResampler(frame); !prepared) return prepared;
        decodedEnd_ = stamped;
    }
    appendResampled(&frame);
    return {};
}

Result<void> SoundTrack::prepareResampler(const AVFrame& frame) {
    AVChannelLayout stereo = AV_CHANNEL_LAYOUT_STEREO;
    AVChannelLayout input = {};
    if (frame.ch_layout.order == AV_CHANNEL_ORDER_UNSPEC) {
        av_channel_layout_default(&input, frame.ch_layout.nb_channels);
    } else {
        av_channel_layout_copy(&input, &frame.ch_layout);
    }
    SwrContext* context = nullptr;
    int code = swr_alloc_set_opts2(&context, &stereo, AV_SAMPLE_FMT_FLT, kSampleRate, &input,
                                   static_cast<AVSampleFormat>(frame.format), frame.sample_rate, 0, nullptr);
    av_channel_layout_uninit(&input);
    resampler_.reset(context);
    // Several loud channels mixed to two must not go beyond full scale; one channel is as loud on both sides.
    if (code >= 0) code = av_opt_set_double(context, "rematrix_maxval", 1.0, 0);
    constexpr double kSame[2] = {1, 1};
    if (code >= 0 && frame.ch_layout.nb_channels == 1) code = swr_set_matrix(context, kSame, 1);
    if (code >= 0) code = swr_init(context);
    if (code < 0) return ffmpegFailure(kCannotDecodeSound, code);
    resampledFrom_.reset(av_frame_clone(&frame));
    return {};
}

// Null: what the resampler still holds back.
void SoundTrack::appendResampled(const AVFrame* frame) {
    if (!resampler_) return;
    const int input = frame != nullptr ? frame->nb_samples : 0;
    const int room = swr_get_out_samples(resampler_.get(), input);
    if (room <= 0) return;
    Run run{decodedEnd_};
    run.samples.resize(static_cast<std::size_t>(room) * kChannels);
    auto* output = reinterpret_cast<std::uint8_t*>(run.samples.data());
    const auto** data = frame != nullptr ? const_cast<const std::uint8_t**>(frame->extended_data) : nullptr;
    const int count = swr_convert(resampler_.get(), &output, room, data, input);
    run.samples.resize(static_cast<std::size_t>(std::max(count, 0)) * kChannels);
    decodedEnd_ = run.end();
    runs_.push_back(std::move(run));
}

} // namespace glintro
