#include "app/player/Transport.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace glintro {
namespace {

// Rounding errors of times, far below a picture's length.
constexpr Seconds kRounding = 1e-6;
// A start does not wait longer than this for a picture, which a slow disk may hold up.
constexpr Seconds kLongestPriming = 0.5;

} // namespace

Seconds lastPictureBefore(Seconds compositionTime) {
    return std::max(std::ceil((compositionTime - kRounding) * kPicturesASecond) - 1, 0.0) / kPicturesASecond;
}

Seconds pictureAt(Seconds compositionTime) {
    return std::max(std::floor((compositionTime + kRounding) * kPicturesASecond), 0.0) / kPicturesASecond;
}

void Transport::open(Seconds duration, Seconds compositionTime, std::unique_ptr<SoundPlayback> sound) {
    close();
    duration_ = duration;
    sound_ = std::move(sound);
    clock_.standAt(clamped(compositionTime));
}

void Transport::close() {
    state_ = State::paused;
    clock_.standAt(0);
    duration_ = 0;
    range_ = std::nullopt;
    soundMap_ = std::nullopt;
    sound_ = nullptr;
}

void Transport::setMap(const TimeMap& map, Seconds compositionTime, Seconds hostTime) {
    duration_ = map.compDuration();
    soundMap_ = map;
    seek(compositionTime, hostTime);
}

Seconds Transport::clamped(Seconds compositionTime) const {
    return std::clamp(std::isfinite(compositionTime) ? compositionTime : 0, 0.0, duration_);
}

PlayRange Transport::range() const {
    if (!range_) return {0, duration_};
    const Seconds start = clamped(range_->start);
    return {start, std::max(std::min(range_->end, duration_), start)};
}

Seconds Transport::position(Seconds hostTime) const {
    return std::min(clock_.at(hostTime), duration_);
}

void Transport::seek(Seconds compositionTime, Seconds hostTime) {
    const Seconds time = clamped(compositionTime);
    if (isPlaying()) return restart(time, hostTime);
    clock_.standAt(time);
}

void Transport::play(Seconds hostTime) {
    if (isPlaying()) return;
    const PlayRange kept = range();
    const Seconds time = position(hostTime);
    const bool isAtEnd = time >= lastPictureBefore(kept.end);
    restart(isAtEnd || time < kept.start ? kept.start : time, hostTime);
}

// The clock stands until the first picture and the first sound of the new place are there. The sound hears of
// cuts and seeks here only: to decode it at every step of a drag would take time from the pictures.
void Transport::restart(Seconds compositionTime, Seconds hostTime) {
    state_ = State::priming;
    since_ = hostTime;
    clock_.standAt(compositionTime);
    if (!sound_) return;
    sound_->pause();
    sound_->setRate(rate_);
    if (const auto map = std::exchange(soundMap_, std::nullopt))
        sound_->setMap(*map, compositionTime);
    else
        sound_->seek(compositionTime);
}

void Transport::showsFirstPicture(Seconds hostTime) {
    if (state_ == State::priming) start(hostTime);
}

void Transport::start(Seconds hostTime) {
    since_ = hostTime;
    if (sound_) sound_->play(hostTime);
    isSoundClock_ = sound_ && sound_->isReady();
    state_ = isSoundClock_ ? State::starting : State::running;
    if (!isSoundClock_) clock_.runFrom(clock_.at(hostTime), hostTime, rate_);
}

void Transport::pause(Seconds hostTime) {
    if (!isPlaying()) return;
    const Seconds time = state_ == State::running ? pictureAt(position(hostTime)) : clock_.at(hostTime);
    state_ = State::paused;
    clock_.standAt(time);
    if (sound_) sound_->pause();
}

void Transport::setRate(double rate, Seconds hostTime) {
    const double held = std::clamp(std::isfinite(rate) ? rate : 1, kSlowest, kFastest);
    if (std::exchange(rate_, held) == held) return;
    if (isPlaying()) restart(position(hostTime), hostTime);
}

Transport::Event Transport::advance(Seconds hostTime) {
    if (state_ == State::priming && hostTime - since_ > kLongestPriming) start(hostTime);
    if (state_ == State::starting || state_ == State::running) {
        const bool wasSoundClock = isSoundClock_;
        followSound(hostTime);
        if (isSoundClock_ && !wasSoundClock) {
            restart(position(hostTime), hostTime);
            return Event::restarted;
        }
    }
    return state_ == State::running ? reachEnd(hostTime) : Event::none;
}

void Transport::followSound(Seconds hostTime) {
    const auto heard = sound_ ? sound_->heardTime(hostTime) : std::nullopt;
    if (!std::exchange(isSoundClock_, heard.has_value())) return;
    if (state_ == State::running) {
        if (heard) clock_.steer(*heard, hostTime);
        return; // without, the host's clock goes on
    }
    if (heard && *heard <= clock_.at(hostTime)) return;
    state_ = State::running;
    clock_.runFrom(heard.value_or(clock_.at(hostTime)), hostTime, rate_);
}

Transport::Event Transport::reachEnd(Seconds hostTime) {
    const PlayRange kept = range();
    if (clock_.at(hostTime) < kept.end - kRounding) return Event::none;
    if (isLooping_ && kept.end > kept.start) {
        restart(kept.start, hostTime);
        return Event::restarted;
    }
    pause(hostTime);
    clock_.standAt(kept.end < duration_ ? lastPictureBefore(kept.end) : duration_);
    return Event::ended;
}

} // namespace glintro
