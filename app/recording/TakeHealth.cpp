#include "app/recording/TakeHealth.h"

#include <algorithm>
#include <chrono>
#include <system_error>
#include <utility>

#include "platform/HostClock.h"

namespace glintro {
namespace {

constexpr auto kInterval = std::chrono::milliseconds(500);
// Between two looks of a process that runs as it should.
constexpr Seconds kLongestInterval = 1;

// A disk that lets a simple question wait for so long does not store the movie either.
constexpr Seconds kSilentDisk = 1;

constexpr const char* kDiskNearlyFull =
    "The disk is nearly full, so the recording was stopped. Everything up to here is kept.";
constexpr const char* kFolderGone =
    "The recording’s folder was moved or deleted, so the recording was stopped.";
constexpr const char* kStreamSilent =
    "The screen sends no pictures any more, so the recording was stopped. Everything up to here is kept.";
constexpr const char* kEncoderStalled =
    "The video encoder no longer answers, so the recording was stopped. Everything written so far is kept.";
constexpr const char* kDiskStalled =
    "The recording no longer reaches the disk, so it was stopped. Everything written so far is kept.";

} // namespace

// Counts only from when more is due than at the last progress: a still screen, or a pause, gives an encoder
// and a disk nothing to do.
Seconds StallTimer::duration(std::int64_t due, std::int64_t done, bool isExcused, Seconds hostTime) {
    if (done != lastDone_ || isExcused) {
        lastDone_ = done;
        dueAtProgress_ = due;
        since_.reset();
    } else if (!since_ && due > dueAtProgress_) {
        since_ = hostTime;
    }
    return since_ ? hostTime - *since_ : 0;
}

Seconds ProgressWatch::stalledFor(std::int64_t progress, Seconds hostTime) {
    const Seconds looked = lastLook_ ? std::min(hostTime - *lastLook_, kLongestInterval) : 0;
    lastLook_ = hostTime;
    stalled_ = progress > std::exchange(lastProgress_, progress) ? 0 : stalled_ + looked;
    return stalled_;
}

std::optional<Failure> TakeDiagnosis::examine(const TakeVitals& vitals, Seconds hostTime) {
    watched_ += std::min(hostTime - lastLook_, kLongestInterval);
    lastLook_ = hostTime;
    const auto& [seen, due, encoded, isPaused, onDisk, disk] = vitals;
    const bool isSilent = isStreamSilent(vitals, watched_);
    const bool isEncoderStalled = encoder_.duration(due, encoded, isPaused, watched_) >= kStallTimeout;
    const bool isDiskStalled = disk_.duration(due, onDisk.bytes, isPaused, watched_) >= kStallTimeout;
    if (!disk.isInPlace) return Failure{kFolderGone};
    if (disk.freeSpace && *disk.freeSpace < kLeastFreeSpace) return Failure{kDiskNearlyFull};
    // An encoder whose pictures cannot be written stalls as well.
    const bool isDiskSilent = disk.unansweredFor >= kSilentDisk;
    if (isEncoderStalled && !isDiskSilent) return Failure{kEncoderStalled};
    if (isEncoderStalled || isDiskStalled) return Failure{kDiskStalled};
    if (isSilent) return Failure{kStreamSilent};
    return std::nullopt;
}

bool TakeDiagnosis::isStreamSilent(const TakeVitals& vitals, Seconds watched) {
    if (vitals.isPaused || vitals.framesSeen != framesSeen_) streamSince_ = watched;
    framesSeen_ = vitals.framesSeen;
    return watched - streamSince_ >= kStallTimeout;
}

Failure diskNearlyFullAtStart() {
    return {"The disk is nearly full. Free at least 200 MB and try again."};
}

TakeHealth::TakeHealth(std::function<TakeVitals()> vitals, std::function<void(const Failure&)> failed)
    : vitals_(std::move(vitals)),
      failed_(std::move(failed)),
      thread_([this](const std::stop_token& stop) { watch(stop); }) {}

void TakeHealth::watch(const std::stop_token& stop) {
    TakeDiagnosis diagnosis(hostTime());
    std::unique_lock lock(mutex_);
    while (!tick_.wait_for(lock, stop, kInterval, [&stop] { return stop.stop_requested(); })) {
        if (const auto failure = diagnosis.examine(vitals_(), hostTime())) {
            failed_(*failure);
            return;
        }
    }
}

} // namespace glintro
