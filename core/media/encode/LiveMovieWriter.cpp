#include "core/media/encode/LiveMovieWriter.h"

#include <cmath>
#include <utility>

#include "core/media/MovieSentences.h"
#include "core/media/encode/AudioEncoder.h"
#include "core/media/encode/FragmentWriter.h"
#include "core/media/encode/LiveVideoEncoder.h"

namespace glintro {
namespace {

FragmentWriter::Span spanOf(const AVPacket& packet, const AVCodecContext& encoder) {
    const double unit = av_q2d(encoder.time_base);
    const Seconds begin = static_cast<double>(packet.pts) * unit;
    return {begin, begin + static_cast<double>(packet.duration) * unit};
}

} // namespace

struct LiveMovieWriter::Impl {
    Impl(std::unique_ptr<LiveVideoEncoder> pictures, std::unique_ptr<AudioEncoder> sounds,
         FragmentMuxer muxer, FragmentFile file)
        : video(std::move(pictures)),
          audio(std::move(sounds)),
          fragments(std::move(muxer), std::move(file)) {}

    Result<void> writeFrame(const Picture& picture, Seconds time);
    Result<void> writeAudio(std::span<const float> samples);
    Result<void> finish(Seconds end);
    PacketSink sinkOf(FragmentWriter::Track track, const AVCodecContext& encoder);
    Result<void> note(Result<void> result);

    std::unique_ptr<LiveVideoEncoder> video; // the pictures' thread's, but for stepDown()
    std::unique_ptr<AudioEncoder> audio;     // the sound's thread's
    std::optional<std::int64_t> lastPicture; // in ticks
    FragmentWriter fragments;
};

// A failure of one track ends the other, too.
Result<void> LiveMovieWriter::Impl::note(Result<void> result) {
    if (!result) fragments.fail(result.error());
    return result;
}

PacketSink LiveMovieWriter::Impl::sinkOf(FragmentWriter::Track track, const AVCodecContext& encoder) {
    return [this, track, &encoder](AVPacket& packet) {
        return fragments.write(packet, track, spanOf(packet, encoder));
    };
}

Result<void> LiveMovieWriter::Impl::writeFrame(const Picture& picture, Seconds time) {
    const std::int64_t ticks = std::llround(time * kLiveTimeBase.den);
    const bool isInOrder = lastPicture ? ticks > *lastPicture : ticks == 0;
    if (!std::isfinite(time) || !isInOrder) return failure(kCannotWriteMovie, "picture out of order");
    lastPicture = ticks;
    return note(video->encode(picture, ticks, sinkOf(FragmentWriter::Track::pictures, video->context())));
}

Result<void> LiveMovieWriter::Impl::writeAudio(std::span<const float> samples) {
    if (!audio) return failure(kCannotWriteMovie, "the movie has no audio track");
    return note(audio->encode(samples, sinkOf(FragmentWriter::Track::sound, audio->context())));
}

Result<void> LiveMovieWriter::Impl::finish(Seconds end) {
    if (audio) [[maybe_unused]]
        const auto flushed = note(audio->flush(sinkOf(FragmentWriter::Track::sound, audio->context())));
    return fragments.finish(end);
}

LiveMovieWriter::LiveMovieWriter(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
LiveMovieWriter::~LiveMovieWriter() = default;

Result<std::unique_ptr<LiveMovieWriter>> LiveMovieWriter::create(
    const std::filesystem::path& path, const LiveVideoSettings& videoSettings,
    std::optional<AudioTrackSettings> audioSettings) {
    prepareFFmpeg();
    auto video = LiveVideoEncoder::create(videoSettings);
    if (!video) return std::unexpected(video.error());
    std::unique_ptr<AudioEncoder> audio;
    if (audioSettings) {
        auto created = AudioEncoder::create(*audioSettings);
        if (!created) return std::unexpected(created.error());
        audio = std::move(*created);
    }
    auto muxer = FragmentMuxer::create((*video)->context(), audio ? &audio->context() : nullptr);
    if (!muxer) return std::unexpected(muxer.error());
    auto file = FragmentFile::create(path);
    if (!file) return std::unexpected(file.error());

    auto impl =
        std::make_unique<Impl>(std::move(*video), std::move(audio), std::move(*muxer), std::move(*file));
    if (auto started = impl->fragments.start(); !started) return std::unexpected(started.error());
    return std::unique_ptr<LiveMovieWriter>(new LiveMovieWriter(std::move(impl)));
}

Result<void> LiveMovieWriter::writeFrame(const Picture& picture, Seconds time) {
    return impl_->writeFrame(picture, time);
}

Result<void> LiveMovieWriter::writeAudio(std::span<const float> samples) {
    return impl_->writeAudio(samples);
}

Result<void> LiveMovieWriter::finish(Seconds end) {
    return impl_->finish(end);
}

bool LiveMovieWriter::stepDown() {
    return impl_->video->stepDown();
}

VideoCodec LiveMovieWriter::codec() const {
    return impl_->video->codec();
}

std::string LiveMovieWriter::encoderName() const {
    return impl_->video->name();
}

LiveMovieProgress LiveMovieWriter::progress() const {
    return impl_->fragments.progress();
}

std::int64_t LiveMovieWriter::answeredAccesses() const {
    return impl_->fragments.answeredAccesses();
}

} // namespace glintro
