#include "core/media/encode/LiveEncoderTrial.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <ctime>
#include <random>
#include <thread>

#include "core/media/encode/LiveVideoEncoder.h"

namespace glintro {
namespace {

using Clock = std::chrono::steady_clock;

// A recorder that uses more than this of one core's time makes what it records stutter.
constexpr double kHighestLoad = 1.0 / 3;
// Hardware works beside the processor; it needs room only for what else the machine asks of it.
constexpr double kHighestHardwareLoad = 1.0 / 2;

// Of all cores together. Beyond this an encoder that uses them all drops frames.
constexpr double kHighestReach = 2.0 / 3;

constexpr PixelSize kSoftwareTrial{960, 540};
// A picture is measured alone, or some in a burst; the median of the measurements counts, so that one of them
// may be spoilt by what else the machine does.
constexpr int kMeasurements = 5;
constexpr int kHardwareBurst = 4;
constexpr int kWarmUp = 1; // a key frame, of which there are few
constexpr int kScrolledRows = 4;
// Somebody waits for the recording to begin.
constexpr Seconds kLongestTrial = 0.12;

// Something like a page of text: letters of random strokes. Seen through a window that moves down, it
// scrolls.
PictureBuffer trialPage(PixelSize size, int pictures) {
    PictureBuffer page(PixelLayout::yuv420, {size.width, size.height + pictures * kScrolledRows});
    std::minstd_rand random(1);
    const MutablePlaneView luma = page.plane(0);
    for (int y = 0; y < luma.height; ++y) {
        std::uint8_t* row = luma.row(y);
        if (y % 3 != 0) {
            std::copy_n(luma.row(y - 1), luma.width, row);
            continue;
        }
        const bool isBetweenLines = y % 18 >= 12;
        for (int x = 0; x < luma.width; x += 3)
            std::memset(row + x, !isBetweenLines && random() % 3 == 0 ? 40 : 225,
                        static_cast<std::size_t>(std::min(3, luma.width - x)));
    }
    for (int plane = 1; plane < 3; ++plane) {
        const MutablePlaneView view = page.plane(plane);
        for (int y = 0; y < view.height; ++y) std::fill_n(view.row(y), view.width, std::uint8_t{128});
    }
    return page;
}

Picture scrolled(const PictureBuffer& page, PixelSize size, int rows) {
    Picture picture = page.view();
    picture.size = size;
    for (std::size_t i = 0; i < 3; ++i) {
        PlaneView& plane = picture.planes[i];
        plane.data = plane.row(i == 0 ? rows : rows / 2);
        plane.height = planeSize(PixelLayout::yuv420, static_cast<int>(i), size).height;
    }
    return picture;
}

// Encodes the page, scrolled on from picture to picture.
class Trial {
  public:
    Trial(AVCodecContext& encoder, const LiveVideoSettings& settings, int burst)
        : encoder_(encoder),
          settings_(settings),
          burst_(burst),
          page_(trialPage(settings.size, kWarmUp + kMeasurements * burst)) {}

    // The median time of a picture; nullopt when packets are missing.
    std::optional<Seconds> run() {
        if (!timeOf(kWarmUp)) return std::nullopt;
        processorTime_ = 0;
        std::vector<Seconds> times;
        const auto begin = Clock::now();
        while (times.size() < kMeasurements) {
            const auto time = timeOf(burst_);
            if (!time) return std::nullopt;
            times.push_back(*time / burst_);
            if (std::chrono::duration<Seconds>(Clock::now() - begin).count() > kLongestTrial) break;
        }
        if (packets_ != pictures_) return std::nullopt;
        std::ranges::nth_element(times, times.begin() + std::ssize(times) / 2);
        return times[times.size() / 2];
    }

    // Of a picture, by all threads of the process, after run().
    Seconds processorTime() const { return processorTime_ / (pictures_ - kWarmUp); }

  private:
    // Each picture is sent as soon as the encoder accepts it.
    std::optional<Seconds> timeOf(int pictures) {
        const auto count = [this](AVPacket&) -> Result<void> {
            ++packets_;
            return {};
        };
        const auto begin = Clock::now();
        const std::clock_t processorBegin = std::clock();
        for (int i = 0; i < pictures; ++i, ++pictures_) {
            auto frame = frameFor(encoder_, scrolled(page_, settings_.size, pictures_ * kScrolledRows));
            if (!frame) return std::nullopt;
            (*frame)->pts = static_cast<std::int64_t>(pictures_) * kLiveTimeBase.den / settings_.fps;
            if (!pumpEncoder(encoder_, frame->get(), count)) return std::nullopt;
        }
        processorTime_ += static_cast<Seconds>(std::clock() - processorBegin) / CLOCKS_PER_SEC;
        return std::chrono::duration<Seconds>(Clock::now() - begin).count();
    }

    AVCodecContext& encoder_;
    const LiveVideoSettings& settings_;
    const int burst_;
    PictureBuffer page_;
    int pictures_ = 0;
    int packets_ = 0;
    Seconds processorTime_ = 0;
};

double pixelsOf(PixelSize size) {
    return static_cast<double>(size.width) * size.height;
}

LiveVideoSettings softwareTrial(LiveVideoSettings settings) {
    const double whole = pixelsOf(settings.size);
    settings.size = {std::min(settings.size.width, kSoftwareTrial.width),
                     std::min(settings.size.height, kSoftwareTrial.height)};
    const double part = pixelsOf(settings.size) / whole;
    settings.bitRate = std::max<std::int64_t>(1, std::llround(static_cast<double>(settings.bitRate) * part));
    return settings;
}

} // namespace

std::optional<double> measuredLoad(const LiveEncoderRung& rung, const LiveVideoSettings& settings) {
    const LiveVideoSettings trial = rung.isSoftware() ? softwareTrial(settings) : settings;
    const auto encoder = openRung(rung, trial);
    if (!encoder) return std::nullopt;
    const auto time = Trial(**encoder, trial, rung.isSoftware() ? 1 : kHardwareBurst).run();
    if (!time) return std::nullopt;
    return *time * settings.fps * pixelsOf(settings.size) / pixelsOf(trial.size);
}

bool isWithinReach(const LiveEncoderRung& rung, const LiveVideoSettings& settings) {
    const LiveVideoSettings small = softwareTrial(settings);
    const auto encoder = openRung(rung, small);
    if (!encoder) return false;
    Trial trial(**encoder, small, 1);
    if (!trial.run()) return false;
    const double cores = std::max(1U, std::thread::hardware_concurrency());
    const double share = pixelsOf(settings.size) / pixelsOf(small.size);
    return trial.processorTime() * settings.fps * share <= kHighestReach * cores;
}

std::vector<LiveEncoderRung> fastEnough(std::vector<LiveEncoderRung> ladder,
                                        const LiveVideoSettings& settings, const LoadMeasure& loadOf) {
    while (ladder.size() > 1 && !ladder[1].isReserve) {
        const auto load = loadOf(ladder.front(), settings);
        if (load && *load <= (ladder.front().isSoftware() ? kHighestLoad : kHighestHardwareLoad)) break;
        ladder.erase(ladder.begin());
    }
    return ladder;
}

} // namespace glintro
