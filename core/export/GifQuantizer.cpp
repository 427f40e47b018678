#include "core/export/GifQuantizer.h"

#include <algorithm>
#include <cstdlib>

namespace glintro {
namespace {

constexpr int kStill = 2;              // steps of a channel by which a pixel may change and count as still
constexpr int kGoodEnough = 12;        // squared distance at which what is on show stays there
constexpr std::size_t kSample = 30000; // pixels that a palette is chosen by
constexpr double kRenewFactor = 1.3;   // a palette goes when it serves this much worse than when it was new,
constexpr double kRenewMargin = 2;     // and by so much

} // namespace

GifQuantizer::GifQuantizer(PixelSize canvas) : canvas_(canvas) {
    const auto pixels = static_cast<std::size_t>(canvas.width) * static_cast<std::size_t>(canvas.height);
    wanted_.resize(pixels);
    drawn_.resize(pixels);
    shown_.resize(pixels);
}

Result<GifFrame> GifQuantizer::quantize(const Picture& picture) {
    findChanges(picture);
    if (changed_.empty()) return unchanged();
    if (auto chosen = choosePalette(); !chosen) return std::unexpected(chosen.error());
    GifFrame frame = map();
    first_ = false;
    return frame;
}

GifFrame GifQuantizer::unchanged() const {
    return {std::vector<std::uint8_t>(wanted_.size()), {}, std::uint8_t{0}};
}

void GifQuantizer::findChanges(const Picture& picture) {
    changed_.clear();
    std::uint32_t position = 0;
    for (int y = 0; y < canvas_.height; ++y) {
        const std::uint8_t* r = picture.planes[0].row(y);
        const std::uint8_t* g = picture.planes[1].row(y);
        const std::uint8_t* b = picture.planes[2].row(y);
        for (int x = 0; x < canvas_.width; ++x, ++position) {
            const GifColour c{r[x], g[x], b[x]};
            wanted_[position] = c;
            const GifColour d = drawn_[position];
            const bool still = std::abs(c.red - d.red) <= kStill && std::abs(c.green - d.green) <= kStill
                               && std::abs(c.blue - d.blue) <= kStill;
            if (first_ || (!still && squaredDistance(c, shown_[position]) > kGoodEnough))
                changed_.push_back(position);
        }
    }
}

Result<void> GifQuantizer::choosePalette() {
    const std::size_t step = std::max<std::size_t>(changed_.size() / kSample, 1);
    std::vector<GifColour> sample;
    for (std::size_t i = 0; i < changed_.size(); i += step) sample.push_back(wanted_[changed_[i]]);
    const auto error = [&] {
        double sum = 0;
        for (const GifColour c : sample) sum += squaredDistance(c, palette_->colours()[palette_->nearest(c)]);
        return sum / static_cast<double>(sample.size());
    };
    if (palette_ && error() <= paletteError_ * kRenewFactor + kRenewMargin) return {};
    auto palette = GifPalette::forPixels(sample);
    if (!palette) return std::unexpected(palette.error());
    palette_.emplace(*std::move(palette));
    paletteError_ = error();
    return {};
}

GifFrame GifQuantizer::map() {
    GifFrame frame;
    frame.palette.assign(palette_->colours().begin(), palette_->colours().end());
    frame.kept = static_cast<std::uint8_t>(frame.palette.size());
    frame.indices.assign(wanted_.size(), *frame.kept);
    for (const std::uint32_t position : changed_) {
        const std::uint8_t index = palette_->nearest(wanted_[position]);
        frame.indices[position] = index;
        drawn_[position] = wanted_[position];
        shown_[position] = frame.palette[index];
    }
    return frame;
}

} // namespace glintro
