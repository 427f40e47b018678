#include "app/recording/VideoTrack.h"

#include <algorithm>
#include <utility>

#include "platform/HostClock.h"
#include "platform/ThreadPriority.h"

namespace glintro {
namespace {

// An encoder that needs more than this part of the time between two frames has no room for a busy machine.
constexpr double kComfortableLoad = 0.8;
// The first frames after a change of pace tell little: one of them is a key frame.
constexpr int kFramesToJudge = 6;
constexpr double kMeanWeight = 1.0 / 8;
constexpr std::size_t kManyPictures = 5;
// From one picture to the next. Where a pause is cut out, two can lie as close as chance has it.
constexpr Seconds kShortestShow = 0.001;

} // namespace

VideoTrack::VideoTrack(LiveMovieWriter& writer, int fps, FailureHandler failed, std::size_t limit)
    : writer_(writer),
      interval_(1.0 / fps),
      failed_(std::move(failed)),
      limit_(limit),
      encoderName_(writer.encoderName()),
      thread_([this] { work(); }) {}

bool VideoTrack::offer(Source source, Seconds movieTime) {
    const std::scoped_lock lock(mutex_);
    if (isClosed_ || waiting_.size() >= limit_) return false;
    waiting_.push_back({std::move(source), movieTime});
    changed_.notify_one();
    return true;
}

bool VideoTrack::hasRoom() const {
    const std::scoped_lock lock(mutex_);
    return !isClosed_ && waiting_.size() < limit_;
}

void VideoTrack::close() {
    {
        const std::scoped_lock lock(mutex_);
        isClosed_ = true;
        changed_.notify_one();
    }
    if (thread_.joinable()) thread_.join();
}

std::int64_t VideoTrack::writtenFrames() const {
    const std::scoped_lock lock(mutex_);
    return written_;
}

std::string VideoTrack::encoderName() const {
    const std::scoped_lock lock(mutex_);
    return encoderName_;
}

void VideoTrack::work() {
    raiseThreadPriority(ThreadUrgency::encoding);
    std::unique_lock lock(mutex_);
    while (true) {
        changed_.wait(lock, [this] { return isClosed_ || !waiting_.empty(); });
        if (waiting_.empty()) return;
        Entry entry = std::move(waiting_.front());
        waiting_.pop_front();
        lock.unlock();
        const Seconds begin = hostTime();
        encode(std::move(entry));
        const Seconds busy = hostTime() - begin;
        lock.lock();
        const std::size_t left = waiting_.size();
        lock.unlock();
        keepPace(busy, left);
        lock.lock();
    }
}

void VideoTrack::encode(Entry entry) {
    if (hasFailed_) return;
    const Picture picture = entry.source();
    entry.source = nullptr;
    const Seconds movieTime = std::max(entry.movieTime, lastMovieTime_ + kShortestShow);
    const auto result = writer_.writeFrame(picture, movieTime);
    if (!result) {
        hasFailed_ = true;
        failed_(result.error());
        return;
    }
    lastMovieTime_ = movieTime;
    const std::scoped_lock lock(mutex_);
    ++written_;
}

// A queue that fills for once means little: the encoder steps down when its work takes too long on average,
// too, or when there is no time left to tell.
void VideoTrack::keepPace(Seconds busy, std::size_t waiting) {
    meanBusy_ = framesAtThisPace_ == 0 ? busy : meanBusy_ + (busy - meanBusy_) * kMeanWeight;
    ++framesAtThisPace_;
    if (!stepDown(waiting)) return;
    framesAtThisPace_ = 0;
    const std::scoped_lock lock(mutex_);
    encoderName_ = writer_.encoderName();
}

// A queue a third full may be another program's short burst, or the disk's. With two thirds full the next
// frames are lost unless the encoder does all it can. A queue of a few is as full as that now and then.
bool VideoTrack::stepDown(std::size_t waiting) {
    const bool isFarBehind = waiting >= kManyPictures && waiting * 3 >= limit_ * 2;
    if (isFarBehind) {
        bool stepped = false;
        while (writer_.stepDown()) stepped = true;
        return stepped;
    }
    const bool isBehind = waiting > 1 && waiting * 3 >= limit_;
    return isBehind && framesAtThisPace_ >= kFramesToJudge && meanBusy_ >= kComfortableLoad * interval_
           && writer_.stepDown();
}

} // namespace glintro
