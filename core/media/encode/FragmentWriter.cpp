#include "core/media/encode/FragmentWriter.h"

#include <algorithm>
#include <utility>

#include "core/media/MovieSentences.h"
#include "core/media/fragments/FragmentSealing.h"

namespace glintro {
namespace {

constexpr Seconds kFragmentLength = 0.5;
// On a still screen there is no next packet that would end a fragment.
constexpr auto kLongestGrowth = std::chrono::milliseconds(500);
constexpr auto kBetweenLooks = std::chrono::milliseconds(100);
constexpr auto kBetweenSyncs = std::chrono::seconds(1);

} // namespace

FragmentWriter::FragmentWriter(FragmentMuxer muxer, FragmentFile file)
    : muxer_(std::move(muxer)), file_(std::move(file)) {}

FragmentWriter::~FragmentWriter() = default;

Result<void> FragmentWriter::start() {
    if (auto written = file_.append(muxer_.beginning()); !written) return written;
    stored_.bytes = static_cast<std::int64_t>(file_.size());
    writer_ = std::jthread([this](const std::stop_token& stop) { writeFragments(stop); });
    syncer_ = std::jthread([this](const std::stop_token& stop) { syncRegularly(stop); });
    return {};
}

// Whether the growing fragment would become too long by what comes next.
bool FragmentWriter::isComplete(Span next) const {
    if (!growing_) return false;
    const auto& [begin, end] = growing_->span;
    return std::max(end, next.begin) - std::min(begin, next.begin) >= kFragmentLength;
}

Result<void> FragmentWriter::write(AVPacket& packet, Track track, Span span) {
    Waiting waiting{newPacket(), track};
    if (!waiting.packet) return failure(kCannotWriteMovie, "out of memory");
    std::unique_lock lock(mutex_);
    // The other track's thread may be first to hand over.
    while (!failed_ && isComplete(span)) {
        if (handed_)
            written_.wait(lock, [this] { return !handed_ || failed_; });
        else
            handOver();
    }
    if (failed_) return std::unexpected(*failed_);
    if (!growing_) growing_ = Fragment{{}, {span.begin, span.begin}, Clock::now()};
    growing_->span = {std::min(growing_->span.begin, span.begin), std::max(growing_->span.end, span.end)};
    av_packet_move_ref(waiting.packet.get(), &packet);
    growing_->packets.push_back(std::move(waiting));
    return {};
}

// Under the mutex, while nothing is handed over.
void FragmentWriter::handOver() {
    handed_ = std::exchange(growing_, std::nullopt);
    handedOver_.notify_one();
}

void FragmentWriter::writeFragments(const std::stop_token& stop) {
    std::unique_lock lock(mutex_);
    while (true) {
        handedOver_.wait_for(lock, stop, kBetweenLooks, [this] { return handed_.has_value(); });
        if (handed_) {
            writeHanded(lock);
        } else if (stop.stop_requested()) {
            return;
        } else if (growing_ && Clock::now() - growing_->since >= kLongestGrowth) {
            handOver();
        }
    }
}

void FragmentWriter::writeHanded(std::unique_lock<std::mutex>& lock) {
    // Producers see only that there is one.
    const Fragment fragment = std::exchange(*handed_, {});
    const bool isUseless = failed_.has_value();
    lock.unlock();
    const Result<void> appended = isUseless ? Result<void>{} : append(fragment);
    lock.lock();
    if (!appended && !failed_) failed_ = appended.error();
    if (appended && !isUseless)
        stored_ = {std::max(stored_.seconds, fragment.span.end), static_cast<std::int64_t>(file_.size())};
    handed_.reset();
    written_.notify_all();
}

Result<void> FragmentWriter::append(const Fragment& fragment) {
    for (const Waiting& each : fragment.packets) {
        auto written = each.track == Track::pictures ? muxer_.writePicture(*each.packet)
                                                     : muxer_.writeSound(*each.packet);
        if (!written) return written;
    }
    const auto bytes = muxer_.cut();
    if (!bytes) return std::unexpected(bytes.error());
    return file_.append(*bytes);
}

void FragmentWriter::syncRegularly(const std::stop_token& stop) {
    std::mutex mutex;
    std::unique_lock lock(mutex);
    std::condition_variable_any wake;
    const auto isStopped = [&stop] { return stop.stop_requested(); };
    while (!wake.wait_for(lock, stop, kBetweenSyncs, isStopped)) sync();
}

void FragmentWriter::sync() {
    std::unique_lock lock(mutex_);
    const LiveMovieProgress covered = stored_;
    if (covered.bytes == safe_.bytes) return;
    lock.unlock();
    const auto synced = file_.sync();
    lock.lock();
    if (synced)
        safe_ = covered;
    else if (!failed_)
        failed_ = synced.error();
}

void FragmentWriter::fail(const Failure& failure) {
    const std::scoped_lock lock(mutex_);
    if (!failed_) failed_ = failure;
    written_.notify_all();
}

Result<void> FragmentWriter::finish(Seconds end) {
    {
        std::unique_lock lock(mutex_);
        written_.wait(lock, [this] { return !handed_; });
        if (growing_) handOver();
        written_.wait(lock, [this] { return !handed_; });
    }
    writer_ = {};
    syncer_ = {};
    const auto sealed = sealFragments(file_, end);
    file_.close();
    const std::scoped_lock lock(mutex_);
    if (sealed && sealed->hasFrames) safe_ = {sealed->duration, static_cast<std::int64_t>(file_.size())};
    if (failed_) return std::unexpected(*failed_);
    if (!sealed) return std::unexpected(sealed.error());
    return {};
}

LiveMovieProgress FragmentWriter::progress() const {
    const std::scoped_lock lock(mutex_);
    return safe_;
}

} // namespace glintro
