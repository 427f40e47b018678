#include "app/player/PictureSchedule.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "app/player/Transport.h"

namespace glintro {
namespace {

// A picture that comes later than this after its time has missed its place on a usual display.
constexpr Seconds kLate = 1.0 / kPicturesASecond;
// A waiting picture looks again at the clock this often, as sound may have moved it.
constexpr Seconds kLongestNap = 0.02;
constexpr Seconds kRounding = 1e-6;
// The share of the newest time in the average of decoding times.
constexpr double kNewest = 0.2;

// At 8 times the speed every sixteenth picture: thirty a second. Twice as many would be seen by nobody, and
// their drawing would slow the decoding down.
std::int64_t strideAt(double rate) {
    const auto whole = static_cast<std::int64_t>(std::ceil(rate - kRounding));
    return whole > 2 ? 2 * whole : std::max<std::int64_t>(whole, 1);
}

// Leaving pictures out saves their drawing. At high speeds that is little beside the frames between them,
// which have to be decoded all the same, unless one skips to a key frame: then pictures come a little late
// until it is time to skip. In composition time.
constexpr double kHighSpeed = 2;
Seconds tolerableLateness(double rate) {
    return rate > kHighSpeed ? 0.06 * rate : 0;
}
Seconds skipToKeyFrame(double rate) {
    return rate > kHighSpeed ? 0.2 * rate : 0;
}

Seconds timeOf(std::int64_t picture) {
    return static_cast<Seconds>(picture) / kPicturesASecond;
}

// The reel's end shows its last picture: what the recording goes on with may have been cut off.
Seconds shownTime(Seconds compositionTime, Seconds duration) {
    return compositionTime < duration - kRounding ? compositionTime : lastPictureBefore(duration);
}

} // namespace

PictureSchedule::PictureSchedule(HostTime hostTime, std::shared_ptr<FrameMailbox> mailbox,
                                 std::function<void()> shown)
    : hostTime_(std::move(hostTime)), mailbox_(std::move(mailbox)), shown_(std::move(shown)) {}

// The controlling thread.

void PictureSchedule::order(const PictureOrder& order) {
    std::deque<ToDraw> dropped; // its pictures are let go outside the lock
    const std::scoped_lock lock(mutex_);
    // While one drags faster than key frames are decoded, each of them is shown: else none would be.
    const bool isDragged = stage_ == Stage::nearby && order.seek == SeekKind::scrubbing;
    if (!isDragged) superseded_.request_stop();
    superseded_ = {};
    dropped.swap(queue_);
    ++generation_;
    order_ = order;
    clock_ = order.clock;
    stage_ = order.seek == SeekKind::scrubbing ? Stage::nearby : Stage::exact;
    nextPicture_ = std::llround(pictureAt(order.compositionTime) * kPicturesASecond) + strideAt(order.rate);
    changed_.notify_all();
}

void PictureSchedule::setClock(const PlayClock& clock) {
    const std::scoped_lock lock(mutex_);
    const bool wasRunning = clock_.isRunning();
    clock_ = clock;
    if (wasRunning != clock.isRunning()) changed_.notify_all();
}

void PictureSchedule::setSettings(std::shared_ptr<const ProjectSettings> settings) {
    const std::scoped_lock lock(mutex_);
    look_.settings = std::move(settings);
    changeLook();
}

void PictureSchedule::setView(PixelSize view) {
    const std::scoped_lock lock(mutex_);
    if (look_.view == view) return;
    look_.view = view;
    changeLook();
}

void PictureSchedule::setWallpaper(std::shared_ptr<const BgraImage> wallpaper) {
    const std::scoped_lock lock(mutex_);
    const bool isSame = look_.isWallpaperKnown && look_.wallpaper == wallpaper;
    look_.wallpaper = std::move(wallpaper);
    look_.isWallpaperKnown = true;
    if (!isSame) changeLook();
}

void PictureSchedule::changeLook() {
    ++look_.version;
    changed_.notify_all();
}

void PictureSchedule::stop() {
    const std::scoped_lock lock(mutex_);
    isStopped_ = true;
    superseded_.request_stop();
    changed_.notify_all();
}

bool PictureSchedule::hasShown() const {
    const std::scoped_lock lock(mutex_);
    return current_ && current_->generation == generation_ && current_->isExact;
}

bool PictureSchedule::isAtRest() const {
    const std::scoped_lock lock(mutex_);
    return current_ && current_->generation == generation_ && current_->isExact
           && current_->look.version == look_.version && stage_ == Stage::done && queue_.empty();
}

Seconds PictureSchedule::decodingFor() const {
    const std::scoped_lock lock(mutex_);
    return decodingSince_ ? std::max(hostTime_() - *decodingSince_, 0.0) : 0;
}

PlayerStatistics PictureSchedule::statistics() const {
    const std::scoped_lock lock(mutex_);
    return statistics_;
}

// The decoding thread.

std::optional<PictureSchedule::Wanted> PictureSchedule::nextWanted() {
    Lock lock(mutex_);
    std::optional<Wanted> wanted;
    changed_.wait(lock, [&] {
        if (isStopped_) return true;
        wanted = plan();
        return wanted.has_value();
    });
    if (isStopped_) return std::nullopt;
    decodingSince_ = hostTime_();
    return wanted;
}

std::optional<PictureSchedule::Wanted> PictureSchedule::plan() {
    if (!look_.settings || stage_ == Stage::done) return std::nullopt;
    if (stage_ == Stage::played) return planPlayed();
    const bool isNearby = stage_ == Stage::nearby;
    return want(order_.compositionTime, isNearby ? FrameTolerance::keyFrame : FrameTolerance::exact, false);
}

// The next picture; where decoding cannot keep up, one that can still be ready when it is due.
std::optional<PictureSchedule::Wanted> PictureSchedule::planPlayed() {
    const Seconds now = clock_.at(hostTime_());
    if (clock_.isRunning() && now - timeOf(nextPicture_) > tolerableLateness(order_.rate)) {
        const Seconds ready = now + std::max(decodingTime_ * order_.rate, skipToKeyFrame(order_.rate));
        const std::int64_t stride = strideAt(order_.rate);
        const Seconds late = (ready - timeOf(nextPicture_)) * kPicturesASecond;
        const auto skipped = static_cast<std::int64_t>(std::ceil(late / static_cast<double>(stride)));
        statistics_.dropped += skipped;
        nextPicture_ += skipped * stride;
    }
    if (timeOf(nextPicture_) >= order_.end - kRounding) {
        stage_ = Stage::done;
        return std::nullopt;
    }
    if (queue_.size() >= kAhead) return std::nullopt;
    return want(timeOf(nextPicture_), FrameTolerance::exact, true);
}

PictureSchedule::Wanted PictureSchedule::want(Seconds compositionTime, FrameTolerance tolerance,
                                              bool isPlayed) const {
    const Seconds shown = shownTime(compositionTime, order_.map->compDuration());
    return {generation_,
            compositionTime,
            isPlayed,
            {order_.map->source(shown), tolerance, look_.settings->showCamera, superseded_.get_token()}};
}

bool PictureSchedule::decoded(const Wanted& wanted, SourcePictures pictures) {
    const std::scoped_lock lock(mutex_);
    const Seconds duration = hostTime_() - decodingSince_.value_or(hostTime_());
    decodingSince_ = std::nullopt;
    const bool isNewest = wanted.generation == generation_;
    const bool isDragged = stage_ == Stage::nearby && wanted.request.tolerance == FrameTolerance::keyFrame;
    if (!isNewest && !isDragged) return false;
    if (isNewest) advance(wanted, duration);
    queue_.push_back({.generation = generation_,
                      .compositionTime = wanted.compositionTime,
                      .sourceTime = wanted.request.sourceTime,
                      .isPlayed = wanted.isPlayed,
                      .isExact = wanted.request.tolerance == FrameTolerance::exact,
                      .pictures = std::move(pictures)});
    changed_.notify_all();
    return true;
}

void PictureSchedule::advance(const Wanted& wanted, Seconds duration) {
    if (wanted.isPlayed) {
        decodingTime_ += (duration - decodingTime_) * kNewest;
        nextPicture_ += strideAt(order_.rate);
    } else {
        const bool isPlaying = order_.kind == PictureOrder::Kind::play;
        stage_ = stage_ == Stage::nearby ? Stage::exact : isPlaying ? Stage::played : Stage::done;
    }
}

bool PictureSchedule::failed(const Wanted& wanted) {
    const std::scoped_lock lock(mutex_);
    decodingSince_ = std::nullopt;
    if (wanted.generation != generation_ || isStopped_) return false;
    stage_ = Stage::done;
    return true;
}

void PictureSchedule::startsWaiting() {
    const std::scoped_lock lock(mutex_);
    decodingSince_ = hostTime_();
}

void PictureSchedule::endsWaiting() {
    const std::scoped_lock lock(mutex_);
    decodingSince_ = std::nullopt;
}

// The drawing thread.

std::optional<PictureSchedule::ToDraw> PictureSchedule::nextToDraw() {
    Lock lock(mutex_);
    const auto isOutdated = [this] { return current_ && current_->look.version != look_.version; };
    changed_.wait(lock, [&] { return isStopped_ || isOutdated() || !queue_.empty(); });
    if (isStopped_) return std::nullopt;
    ToDraw picture;
    if (current_ && isOutdated()) {
        picture = *current_;
        picture.isRedraw = true;
    } else {
        while (queue_.size() > 1 && isTooLate(queue_.front())) {
            statistics_.dropped += queue_.front().isPlayed ? 1 : 0;
            queue_.pop_front();
        }
        picture = std::move(queue_.front());
        queue_.pop_front();
        changed_.notify_all();
    }
    picture.look = look_;
    return picture;
}

// With another picture after it in the queue.
bool PictureSchedule::isTooLate(const ToDraw& picture) const {
    if (!picture.isPlayed) return !queue_[1].isPlayed;
    return hostTime_() > due(picture) + kLate;
}

Seconds PictureSchedule::due(const ToDraw& picture) const {
    return clock_.hostTimeOf(picture.compositionTime);
}

void PictureSchedule::present(ToDraw picture, std::shared_ptr<const BgraImage> image) {
    Lock lock(mutex_);
    while (!isStopped_) {
        if (!picture.isRedraw && picture.generation != generation_) return;
        const Seconds early = picture.isPlayed && !picture.isRedraw ? due(picture) - hostTime_() : 0;
        if (early <= 0) {
            show(picture, std::move(image));
            lock.unlock();
            return shown_();
        }
        if (picture.look.version != look_.version) {
            queue_.push_front(std::move(picture));
            return;
        }
        changed_.wait_for(lock, std::chrono::duration<Seconds>(std::min(early, kLongestNap)));
    }
}

void PictureSchedule::show(const ToDraw& picture, std::shared_ptr<const BgraImage> image) {
    if (picture.isPlayed && !picture.isRedraw) {
        ++statistics_.shown;
        statistics_.late += hostTime_() - due(picture) > kLate ? 1 : 0;
    }
    if (image)
        mailbox_->put({std::move(image), picture.compositionTime, picture.sourceTime, picture.isExact});
    current_ = picture;
}

void PictureSchedule::putBack(ToDraw picture) {
    const std::scoped_lock lock(mutex_);
    if (!picture.isRedraw && picture.generation == generation_) queue_.push_front(std::move(picture));
}

bool PictureSchedule::awaitWallpaper(std::chrono::milliseconds limit) {
    Lock lock(mutex_);
    changed_.wait_for(lock, limit, [this] { return isStopped_ || look_.isWallpaperKnown; });
    return look_.isWallpaperKnown;
}

} // namespace glintro
