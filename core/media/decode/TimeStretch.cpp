#include "core/media/decode/TimeStretch.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

namespace glintro {
namespace {

constexpr std::size_t kChannels = 2;
// At 48 kHz: windows of 32 ms hold three periods of a low voice, and a shift of 8 ms reaches the next one.
constexpr std::int64_t kHop = 768;
constexpr std::int64_t kLargestShift = 384;
// How far from a window's centre an onset may be and still move it. Onsets further off fall between two
// windows, which only happens beyond sixteen times the speed.
constexpr std::int64_t kLargestReach = 16 * kHop / 2;
// An onset is a block whose energy stands out from the 11 ms before, longer than the period of most voices.
constexpr std::int64_t kBlock = 64;
constexpr std::int64_t kBlocksBefore = 8;
constexpr double kOnsetRatio = 8;
constexpr double kOnsetFloor = 1e-4 * kBlock;
constexpr std::int64_t kNoOnset = INT64_MIN;

} // namespace

TimeStretch::TimeStretch(Input input, std::int64_t inputLength, double rate, std::int64_t firstOutput)
    : input_(std::move(input)),
      inputLength_(inputLength),
      rate_(rate),
      tail_(kHop * kChannels),
      skipped_(static_cast<std::size_t>(firstOutput % kHop) * kChannels),
      window_(firstOutput / kHop) {
    constexpr std::int64_t kLength = 2 * kHop;
    for (std::int64_t i = 0; i < kLength; ++i) {
        const double phase = 2 * std::numbers::pi * static_cast<double>(i) / kLength;
        weights_.push_back(static_cast<float>(0.5 - 0.5 * std::cos(phase)));
    }
}

Result<void> TimeStretch::read(std::span<float> interleaved) {
    while (!interleaved.empty()) {
        if (used_ == ready_.size()) {
            if (auto laid = layWindow(); !laid) return laid;
        }
        const std::size_t count = std::min(interleaved.size(), ready_.size() - used_);
        std::copy_n(ready_.begin() + static_cast<std::ptrdiff_t>(used_), count, interleaved.begin());
        used_ += count;
        interleaved = interleaved.subspan(count);
    }
    return {};
}

// Half the stretch of input that one window stands for.
std::int64_t TimeStretch::reach() const {
    return std::min(kLargestReach, static_cast<std::int64_t>(std::ceil(kHop * rate_ / 2)));
}

// Window k is centred at output sample k * kHop; once it is laid, the kHop samples before its centre are
// finished.
Result<void> TimeStretch::layWindow() {
    const auto nominal = static_cast<std::int64_t>(std::llround(static_cast<double>(window_ * kHop) * rate_));
    const std::int64_t around = std::max(reach(), kLargestShift) + kHop + (kBlocksBefore + 1) * kBlock;
    const std::int64_t from = isFirst_ ? nominal - around : std::min(nominal - around, lastPlace_);
    if (auto loaded = load(from, isFirst_ ? nominal + around : std::max(nominal + around, lastPlace_ + kHop));
        !loaded)
        return loaded;

    const std::int64_t place = placeFor(nominal);
    const float* source = loaded_.data() + loadedIndex(place - kHop) * kChannels;
    ready_.assign(tail_.begin(), tail_.end());
    for (std::size_t i = 0; i < ready_.size(); ++i) {
        ready_[i] += source[i] * weights_[i / kChannels];
        tail_[i] = source[ready_.size() + i] * weights_[kHop + i / kChannels];
    }
    // What the first window finishes lacks the window before it, and comes before the first sample wanted.
    used_ = isFirst_ ? ready_.size() : std::exchange(skipped_, 0);
    isFirst_ = false;
    lastPlace_ = place;
    ++window_;
    return {};
}

// Makes input samples [from, to) present and forgets those before.
Result<void> TimeStretch::load(std::int64_t from, std::int64_t to) {
    const auto loadedTo = loadedFrom_ + static_cast<std::int64_t>(mono_.size());
    const std::int64_t kept = std::clamp(from, loadedFrom_, loadedTo);
    mono_.erase(mono_.begin(), mono_.begin() + (kept - loadedFrom_));
    loaded_.erase(loaded_.begin(),
                  loaded_.begin() + (kept - loadedFrom_) * static_cast<std::int64_t>(kChannels));
    loadedFrom_ = mono_.empty() ? from : kept;
    const std::int64_t first = loadedFrom_ + static_cast<std::int64_t>(mono_.size());
    if (to <= first) return {};

    const auto count = static_cast<std::size_t>(to - loadedFrom_);
    const std::size_t old = mono_.size();
    loaded_.resize(count * kChannels, 0.0F);
    const std::int64_t inside = std::clamp<std::int64_t>(first, 0, inputLength_);
    const std::int64_t insideEnd = std::clamp<std::int64_t>(to, inside, inputLength_);
    if (insideEnd > inside) {
        const std::span<float> target(loaded_.data() + loadedIndex(inside) * kChannels,
                                      static_cast<std::size_t>(insideEnd - inside) * kChannels);
        if (auto read = input_(inside, target); !read) return read;
    }
    mono_.resize(count);
    for (std::size_t i = old; i < count; ++i) mono_[i] = loaded_[i * kChannels] + loaded_[i * kChannels + 1];
    return {};
}

std::int64_t TimeStretch::placeFor(std::int64_t nominal) const {
    const std::int64_t onset = onsetIn(nominal - reach(), nominal + reach());
    if (onset != kNoOnset) return onset - std::llround(static_cast<double>(onset - nominal) / rate_);
    const std::int64_t place = isFirst_ ? nominal : bestMatch(nominal);
    if (rate_ >= 1) return place;
    // Slowed down, a window reaches input that is due only in later windows: a sound that begins there would
    // be heard before its time, so the window ends where it begins.
    const std::int64_t ahead = onsetIn(nominal + reach(), nominal + kHop + kLargestShift);
    return ahead == kNoOnset ? place : std::min(place, ahead - kHop);
}

// The place near the nominal one whose sound continues the last window best: coarsely, then to the sample.
std::int64_t TimeStretch::bestMatch(std::int64_t nominal) const {
    constexpr std::int64_t kCoarse = 4;
    std::int64_t best = nominal;
    double bestSimilarity = similarity(nominal);
    const auto search = [&](std::int64_t centre, std::int64_t range, std::int64_t step) {
        for (std::int64_t place = centre - range; place <= centre + range; place += step) {
            const double value = similarity(place);
            if (value > bestSimilarity) {
                best = place;
                bestSimilarity = value;
            }
        }
    };
    // Slowed down, a shift of the input is heard that much longer.
    const auto range = static_cast<std::int64_t>(kLargestShift * std::min(rate_, 1.0));
    search(nominal, range - kCoarse, kCoarse);
    search(best, kCoarse - 1, 1);
    return best;
}

// Correlation of a window's first half with what followed the last window's centre, over every second sample.
double TimeStretch::similarity(std::int64_t place) const {
    const float* before = mono_.data() + loadedIndex(lastPlace_);
    const float* candidate = mono_.data() + loadedIndex(place - kHop);
    float product = 0;
    float power = 0;
    for (std::int64_t i = 0; i < kHop; i += 2) {
        product += before[i] * candidate[i];
        power += candidate[i] * candidate[i];
    }
    constexpr double kTiny = 1e-9;
    return product / std::sqrt(power + kTiny);
}

double TimeStretch::energy(std::int64_t position) const {
    const float* samples = mono_.data() + loadedIndex(position);
    double sum = 0;
    for (std::int64_t i = 0; i < kBlock; ++i) sum += static_cast<double>(samples[i]) * samples[i];
    return sum;
}

// The start of the loudest sudden sound in a stretch of the input.
std::int64_t TimeStretch::onsetIn(std::int64_t from, std::int64_t to) const {
    double before = 0;
    for (std::int64_t i = 1; i <= kBlocksBefore; ++i) before += energy(from - i * kBlock);
    std::int64_t onset = kNoOnset;
    double loudest = 0;
    for (std::int64_t at = from; at < to; at += kBlock) {
        const double here = energy(at);
        const bool standsOut = here > kOnsetFloor && here > kOnsetRatio * before / kBlocksBefore;
        if (standsOut && here > loudest) {
            onset = at;
            loudest = here;
        }
        before += here - energy(at - kBlocksBefore * kBlock);
    }
    return onset;
}

} // namespace glintro
