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

constexpr const char* kDiskNearlyFull =
    "The disk is nearly full, so the recording was stopped. Everything up to here is kept.";
constexpr const char* kFolderGone =
    "The recording’s folder was moved or deleted, so the recording was stopped.";
constexpr const char* kStreamSilent =
    "The screen sends no pictures any more, so the recording was stopped. Everything up to here is kept.";
constexpr const char* kEncoderStuck =
    "The video encoder no longer answers, so the recording was stopped. Everything written so far is kept.";
constexpr const char* kDiskStuck =
    "The recording no longer reaches the disk, so it was stopped. Everything written so far is kept.";

} // namespace

// Nothing is expected before more is due than the last time something was done: a still screen, or a pause,
// gives an encoder and a disk nothing to do.
Seconds Standstill::duration(std::int64_t due, std::int64_t done, bool suspended, Seconds hostTime) {
    if (done != lastDone_ || suspended) {
        lastDone_ = done;
        answered_ = due;
        since_.reset();
    } else if (!since_ && due > answered_) {
        since_ = hostTime;
    }
    return since_ ? hostTime - *since_ : 0;
}

std::optional<Failure> TakeDiagnosis::examine(const TakeVitals& vitals, std::optional<std::int64_t> freeSpace,
                                              Seconds hostTime) {
    watched_ += std::min(hostTime - lastLook_, kLongestInterval);
    lastLook_ = hostTime;
    const auto& [seen, due, encoded, isPaused, onDisk, isInPlace] = vitals;
    const bool streamIsSilent = isStreamSilent(vitals, watched_);
    const bool encoderIsStuck = encoder_.duration(due, encoded, isPaused, watched_) >= kPatience;
    const bool diskIsStuck = disk_.duration(due, onDisk.bytes, isPaused, watched_) >= kPatience;
    if (!isInPlace) return Failure{kFolderGone};
    if (freeSpace && *freeSpace < kLeastFreeSpace) return Failure{kDiskNearlyFull};
    if (encoderIsStuck) return Failure{kEncoderStuck};
    if (diskIsStuck) return Failure{kDiskStuck};
    if (streamIsSilent) return Failure{kStreamSilent};
    return std::nullopt;
}

bool TakeDiagnosis::isStreamSilent(const TakeVitals& vitals, Seconds watched) {
    if (vitals.isPaused || vitals.framesSeen != framesSeen_) streamSince_ = watched;
    framesSeen_ = vitals.framesSeen;
    return watched - streamSince_ >= kPatience;
}

Failure diskNearlyFullAtStart() {
    return {"The disk is nearly full. Free at least 200 MB and try again."};
}

FreeSpace freeSpaceOf(const std::filesystem::path& folder) {
    return [folder]() -> std::optional<std::int64_t> {
        std::error_code error;
        const auto space = std::filesystem::space(folder, error);
        if (error) return std::nullopt;
        return static_cast<std::int64_t>(space.available);
    };
}

TakeHealth::TakeHealth(FreeSpace freeSpace, std::function<TakeVitals()> vitals,
                       std::function<void(const Failure&)> failed)
    : freeSpace_(std::move(freeSpace)),
      vitals_(std::move(vitals)),
      failed_(std::move(failed)),
      thread_([this](const std::stop_token& stop) { watch(stop); }) {}

void TakeHealth::watch(const std::stop_token& stop) {
    TakeDiagnosis diagnosis(hostTime());
    std::unique_lock lock(mutex_);
    while (!tick_.wait_for(lock, stop, kInterval, [&stop] { return stop.stop_requested(); })) {
        if (const auto failure = diagnosis.examine(vitals_(), freeSpace_(), hostTime())) {
            failed_(*failure);
            return;
        }
    }
}

} // namespace glintro
