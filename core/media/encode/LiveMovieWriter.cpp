#include "core/media/encode/LiveMovieWriter.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>

#include "core/media/MovieSentences.h"
#include "core/media/encode/AudioEncoder.h"
#include "core/media/encode/LiveVideoEncoder.h"
#include "core/media/fragments/FragmentFile.h"
#include "core/media/fragments/FragmentMuxer.h"
#include "core/media/fragments/FragmentSealing.h"

namespace glintro {
namespace {

using Clock = std::chrono::steady_clock;

constexpr Seconds kFragmentLength = 0.5;
constexpr auto kLongestPending = std::chrono::milliseconds(500);
constexpr auto kBetweenSyncs = std::chrono::seconds(1);
constexpr auto kBetweenLooks = std::chrono::milliseconds(100);

// What was muxed since the last fragment.
struct Pending {
    Seconds begin = 0;
    Seconds end = 0;
    Clock::time_point since = {};
};

struct PacketTimes {
    Seconds begin = 0;
    Seconds end = 0;
};

PacketTimes timesOf(const AVPacket& packet, const AVCodecContext& encoder) {
    const double unit = av_q2d(encoder.time_base);
    const Seconds begin = static_cast<double>(packet.pts) * unit;
    return {begin, begin + static_cast<double>(packet.duration) * unit};
}

} // namespace

struct LiveMovieWriter::Impl {
    Impl(std::unique_ptr<LiveVideoEncoder> pictures, std::unique_ptr<AudioEncoder> sounds,
         FragmentMuxer fragments, FragmentFile output)
        : video(std::move(pictures)),
          audio(std::move(sounds)),
          muxer(std::move(fragments)),
          file(std::move(output)) {}

    Result<void> start();
    Result<void> writeFrame(const Picture& picture, Seconds time);
    Result<void> finish(Seconds end);
    PacketSink pictureSink();
    PacketSink soundSink();
    // Keeps the first failure: from then on nothing is written any more.
    Result<void> note(Result<void> result);

    std::unique_ptr<LiveVideoEncoder> video; // the pictures' thread's, but for stepDown()
    std::unique_ptr<AudioEncoder> audio;     // the sound's thread's
    std::optional<std::int64_t> lastPicture; // in ticks

    LiveMovieProgress progress() const {
        const std::scoped_lock lock(progressMutex);
        return safe;
    }

  private:
    using Write = Result<void> (FragmentMuxer::*)(AVPacket&);
    Result<void> store(AVPacket& packet, PacketTimes times, Write write);
    void cut();                              // under the mutex
    Result<void> writeFragment(Seconds end); // under the mutex
    void keepSafe(const std::stop_token& stop);
    void cutWhatWaits();
    void syncFile();
    void publish(LiveMovieProgress progress);

    // Encoding goes on outside, so that sound never waits for a picture.
    std::mutex mutex;
    FragmentMuxer muxer;
    FragmentFile file; // sync() needs no mutex
    std::optional<Pending> pending;
    LiveMovieProgress stored;
    std::optional<Failure> failed;

    mutable std::mutex progressMutex; // never held for long
    LiveMovieProgress safe;

    std::jthread keeper;
};

Result<void> LiveMovieWriter::Impl::start() {
    if (auto written = file.append(muxer.beginning()); !written) return written;
    stored.bytes = static_cast<std::int64_t>(file.size());
    keeper = std::jthread([this](const std::stop_token& stop) { keepSafe(stop); });
    return {};
}

Result<void> LiveMovieWriter::Impl::note(Result<void> result) {
    if (result) return result;
    const std::scoped_lock lock(mutex);
    if (!failed) failed = result.error();
    return result;
}

PacketSink LiveMovieWriter::Impl::pictureSink() {
    return [this](AVPacket& packet) {
        return store(packet, timesOf(packet, video->context()), &FragmentMuxer::writePicture);
    };
}

PacketSink LiveMovieWriter::Impl::soundSink() {
    return [this](AVPacket& packet) {
        return store(packet, timesOf(packet, audio->context()), &FragmentMuxer::writeSound);
    };
}

Result<void> LiveMovieWriter::Impl::writeFrame(const Picture& picture, Seconds time) {
    const std::int64_t ticks = std::llround(time * kLiveTimeBase.den);
    const bool isInOrder = lastPicture ? ticks > *lastPicture : ticks == 0;
    if (!std::isfinite(time) || !isInOrder) return failure(kCannotWriteMovie, "picture out of order");
    lastPicture = ticks;
    return note(video->encode(picture, ticks, pictureSink()));
}

Result<void> LiveMovieWriter::Impl::store(AVPacket& packet, PacketTimes times, Write write) {
    const std::scoped_lock lock(mutex);
    if (failed) return std::unexpected(*failed);
    if (!pending) pending = Pending{times.begin, times.begin, Clock::now()};
    const Pending grown{std::min(pending->begin, times.begin), std::max(pending->end, times.begin),
                        pending->since};
    if (grown.end - grown.begin >= kFragmentLength) {
        cut();
        if (failed) return std::unexpected(*failed);
        pending = Pending{times.begin, times.begin, Clock::now()};
    } else {
        pending = grown;
    }
    pending->end = std::max(pending->end, times.end);
    return (muxer.*write)(packet);
}

void LiveMovieWriter::Impl::cut() {
    if (failed || !pending) return;
    const Seconds end = pending->end;
    pending.reset();
    if (auto written = writeFragment(end); !written) failed = written.error();
}

Result<void> LiveMovieWriter::Impl::writeFragment(Seconds end) {
    const auto fragment = muxer.cut();
    if (!fragment) return std::unexpected(fragment.error());
    if (auto written = file.append(*fragment); !written) return written;
    stored = {std::max(stored.seconds, end), static_cast<std::int64_t>(file.size())};
    return {};
}

void LiveMovieWriter::Impl::keepSafe(const std::stop_token& stop) {
    std::mutex sleeping;
    std::unique_lock lock(sleeping);
    std::condition_variable_any wake;
    auto lastSync = Clock::now();
    const auto isStopped = [&stop] { return stop.stop_requested(); };
    while (!wake.wait_for(lock, stop, kBetweenLooks, isStopped)) {
        cutWhatWaits();
        if (Clock::now() - lastSync < kBetweenSyncs) continue;
        lastSync = Clock::now();
        syncFile();
    }
}

// On a still screen there is no next packet that would end a fragment.
void LiveMovieWriter::Impl::cutWhatWaits() {
    const std::scoped_lock lock(mutex);
    if (pending && Clock::now() - pending->since >= kLongestPending) cut();
}

void LiveMovieWriter::Impl::syncFile() {
    LiveMovieProgress covered;
    {
        const std::scoped_lock lock(mutex);
        covered = stored;
    }
    if (covered.bytes == progress().bytes) return;
    if (auto synced = note(file.sync()); synced) publish(covered);
}

void LiveMovieWriter::Impl::publish(LiveMovieProgress progress) {
    const std::scoped_lock lock(progressMutex);
    safe = progress;
}

Result<void> LiveMovieWriter::Impl::finish(Seconds end) {
    keeper = {};
    if (audio) [[maybe_unused]]
        const auto flushed = note(audio->flush(soundSink()));
    const std::scoped_lock lock(mutex);
    cut();
    const auto sealed = sealFragments(file, end);
    if (failed) return std::unexpected(*failed);
    if (!sealed) return std::unexpected(sealed.error());
    publish({sealed->duration, static_cast<std::int64_t>(file.size())});
    return {};
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
    if (auto started = impl->start(); !started) return std::unexpected(started.error());
    return std::unique_ptr<LiveMovieWriter>(new LiveMovieWriter(std::move(impl)));
}

Result<void> LiveMovieWriter::writeFrame(const Picture& picture, Seconds time) {
    return impl_->writeFrame(picture, time);
}

Result<void> LiveMovieWriter::writeAudio(std::span<const float> samples) {
    if (!impl_->audio) return failure(kCannotWriteMovie, "the movie has no audio track");
    return impl_->note(impl_->audio->encode(samples, impl_->soundSink()));
}

Result<void> LiveMovieWriter::finish(Seconds end) {
    return impl_->finish(end);
}

bool LiveMovieWriter::stepDown() {
    return impl_->video->stepDown();
}

std::string LiveMovieWriter::encoderName() const {
    return impl_->video->name();
}

LiveMovieProgress LiveMovieWriter::progress() const {
    return impl_->progress();
}

} // namespace glintro
