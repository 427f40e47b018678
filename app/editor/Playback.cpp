#include "app/editor/Playback.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace glintro {
namespace {

constexpr Seconds kAtTheEnd = 0.05;
constexpr double kPlayerUnits = 600; // a second of the player's clock: whole frames at all usual rates
constexpr double kSameFrame = 1e-3;  // of a frame: how far a time may be from a frame's first moment

} // namespace

Playback::Playback(const ReelEdits& edits, PlayerTransport& player, QObject* parent)
    : QObject(parent), edits_(edits), player_(player), clock_(this) {
    connect(&player, &PlayerTransport::advanced, this, &Playback::advance);
    connect(&player, &PlayerTransport::ended, this, &Playback::stop);
    connect(&player, &PlayerTransport::failed, this, &Playback::stop);
    connect(&player, &PlayerTransport::opened, this, [this] {
        if (clock_.isPlaying()) player_.play(); // which was too early for it
    });
    connect(&clock_, &PlaybackClock::timeChanged, this, &Playback::compositionTimeChanged);
    connect(&edits, &ReelEdits::changed, this, [this](const SettingsChange& change) {
        if (change.structure) emit compositionTimeChanged();
    });
}

Seconds Playback::compositionTime() const {
    return edits_.map().composition(clock_.time());
}

void Playback::setIsLooping(bool isLooping) {
    if (std::exchange(isLooping_, isLooping) == isLooping) return;
    player_.setLooping(isLooping);
    emit isLoopingChanged();
}

void Playback::setRate(double rate) {
    if (std::exchange(rate_, rate) == rate) return;
    player_.setRate(rate);
    emit rateChanged();
}

void Playback::setRange(std::optional<PlayRange> sourceRange) {
    if (std::exchange(range_, sourceRange) != sourceRange) tellRange();
}

void Playback::keepRange() {
    if (range_) tellRange();
}

void Playback::tellRange() {
    const TimeMap& map = edits_.map();
    player_.setRange(range_.transform([&](const PlayRange& range) {
        return PlayRange{map.composition(range.start), map.composition(range.end)};
    }));
}

Seconds Playback::playerTimeOf(Seconds sourceTime) const {
    return std::round(edits_.map().composition(sourceTime) * kPlayerUnits) / kPlayerUnits;
}

Seconds Playback::playerTime() const {
    return playerTimeOf(clock_.time());
}

void Playback::seekPlayer(Seconds sourceTime, SeekKind kind) {
    player_.seek(playerTimeOf(sourceTime), kind);
}

void Playback::moveTo(Seconds sourceTime, SeekKind kind) {
    if (!std::isfinite(sourceTime)) return;
    setRange(std::nullopt);
    clock_.setTime(std::min(std::max(sourceTime, 0.0), edits_.duration()));
    seekPlayer(clock_.time(), kind);
    if (!clock_.isPlaying()) emit rested(kAfterSeek);
}

void Playback::seek(double sourceTime) {
    moveTo(sourceTime, SeekKind::exact);
}

void Playback::scrub(double sourceTime) {
    moveTo(sourceTime, SeekKind::scrubbing);
}

void Playback::moveToComposition(Seconds compositionTime) {
    const Seconds inside = std::min(std::max(compositionTime, 0.0), compositionDuration());
    moveTo(edits_.map().source(inside), SeekKind::exact);
}

void Playback::skip(double compositionSeconds) {
    moveToComposition(compositionTime() + compositionSeconds);
}

// Forwards from inside a frame leads to the next one's start, backwards to its own.
void Playback::stepFrames(int count) {
    pause();
    const double frame = compositionTime() * kFrameRate;
    const double last = std::ceil(compositionDuration() * kFrameRate - kSameFrame) - 1;
    if (count > 0 && frame > last - kSameFrame) return;
    const double whole = count > 0 ? std::floor(frame + kSameFrame) : std::ceil(frame - kSameFrame);
    moveToComposition(std::min(whole + count, last) / kFrameRate);
}

void Playback::seekToStart() {
    moveToComposition(0);
}

void Playback::seekToEnd() {
    moveToComposition(compositionDuration());
}

void Playback::togglePlay() {
    if (clock_.isPlaying()) return pause();
    const TimeMap& map = edits_.map();
    if (compositionTime() >= map.compDuration() - kAtTheEnd)
        seek(map.pieces().empty() ? 0 : map.pieces().front().src0);
    start();
}

void Playback::start() {
    player_.play();
    clock_.setIsPlaying(true);
}

void Playback::pause() {
    if (!clock_.isPlaying()) return;
    player_.pause();
    stop();
}

void Playback::stop() {
    if (!clock_.isPlaying()) return;
    clock_.setIsPlaying(false);
    setRange(std::nullopt);
    setRate(1);
    emit rested(kAfterStop);
}

void Playback::playFaster() {
    if (clock_.isPlaying()) return setRate(kFast);
    togglePlay();
}

void Playback::playRange(Seconds start, Seconds end) {
    const TimeMap& map = edits_.map();
    if (!(map.composition(end) > map.composition(start))) return;
    moveTo(start, SeekKind::exact);
    setRange(PlayRange{start, end});
    this->start();
}

void Playback::advance(Seconds compositionTime) {
    if (clock_.isPlaying()) clock_.setTime(edits_.map().source(compositionTime));
}

void Playback::show(Seconds sourceTime) {
    if (!clock_.isPlaying()) seekPlayer(sourceTime, SeekKind::scrubbing);
}

void Playback::showPlayhead() {
    if (!clock_.isPlaying()) seekPlayer(clock_.time(), SeekKind::exact);
}

} // namespace glintro
