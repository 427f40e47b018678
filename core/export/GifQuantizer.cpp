#include "core/export/GifQuantizer.h"

#include <algorithm>
#include <utility>

namespace glintro {
namespace {

constexpr std::size_t kSample = 30'000; // pixels that a palette is chosen by
// A palette is replaced when its error has grown by this much since it was new.
constexpr double kMisfitFactor = 1.1;
constexpr double kMisfitMargin = 0.5;
// Where neighbours differ, another colour does not show; where the picture is smooth, every step does.
constexpr int kContrastShare = 85; // one part of the contrast
constexpr int kMostTolerance = 50;
constexpr int kSmooth = 30;         // contrast up to which an area may be dithered,
constexpr int kWorthDithering = 64; // when its nearest colour is that far away

} // namespace

Result<GifFrame> GifQuantizer::quantize(const Picture& picture) {
    const bool first = !palette_;
    diff_.compare(picture);
    if (diff_.changed().empty()) return GifFrame{};
    if (auto chosen = choosePalette(); !chosen) return std::unexpected(chosen.error());
    planDrawings(!first);
    if (drawings_.empty()) return GifFrame{};
    const auto kept = static_cast<std::uint8_t>(palette_->colours().size());
    return draw(first ? std::nullopt : std::optional(kept));
}

Result<void> GifQuantizer::choosePalette() {
    const std::span<const GifPixel> changed = diff_.changed();
    const std::size_t step = (changed.size() + kSample - 1) / kSample;
    std::vector<GifColour> sample;
    for (std::size_t i = 0; i < changed.size(); i += step)
        sample.push_back(diff_.wanted(changed[i].position));
    if (palette_ && misfit(sample) <= misfitWhenNew_ * kMisfitFactor + kMisfitMargin) return {};
    auto palette = GifPalette::forPixels(sample);
    if (!palette) return std::unexpected(palette.error());
    palette_.emplace(*std::move(palette));
    misfitWhenNew_ = misfit(sample);
    return {};
}

// The mean squared distance, and more for pixels far off: a few in a wrong colour show.
double GifQuantizer::misfit(std::span<const GifColour> pixels) {
    double sum = 0;
    for (const GifColour pixel : pixels) {
        const double distance = squaredDistance(pixel, palette_->colours()[palette_->nearest(pixel)]);
        sum += distance + distance * distance / 32;
    }
    return sum / static_cast<double>(pixels.size());
}

GifTarget GifQuantizer::targetAt(GifPixel pixel) {
    const GifColour wanted = diff_.wanted(pixel.position);
    const int contrast = diff_.contrast(pixel);
    const std::uint8_t nearest = palette_->nearest(wanted);
    const int distance = squaredDistance(wanted, palette_->colours()[nearest]);
    if (contrast <= kSmooth && distance >= kWorthDithering) {
        const std::uint8_t index = palette_->dithered(wanted, pixel.x, pixel.y);
        return {palette_->colours()[index], 0, index};
    }
    return {wanted, distance + std::min(contrast / kContrastShare, kMostTolerance), nearest};
}

void GifQuantizer::planDrawings(bool mayKeep) {
    drawings_.clear();
    for (const GifPixel pixel : diff_.changed()) {
        const GifTarget target = targetAt(pixel);
        const GifColour colour = palette_->colours()[target.index];
        if (mayKeep && colour == diff_.shown(pixel.position))
            diff_.draw(pixel.position, colour);
        else
            drawings_.push_back({pixel, target});
    }
}

PixelRect GifQuantizer::drawnArea() const {
    int left = canvas_.width;
    int right = 0;
    for (const Drawing& drawing : drawings_) {
        left = std::min<int>(left, drawing.pixel.x);
        right = std::max<int>(right, drawing.pixel.x + 1);
    }
    const int top = drawings_.front().pixel.y;
    return {left, top, right - left, drawings_.back().pixel.y + 1 - top};
}

void GifQuantizer::fillTargets(PixelRect area, std::uint8_t unchanged) {
    targets_.clear();
    for (int y = area.y; y < area.bottom(); ++y)
        for (int x = area.x; x < area.right(); ++x)
            targets_.push_back(
                {diff_.shown(static_cast<std::uint32_t>(y * canvas_.width + x)), 0, unchanged});
}

GifFrame GifQuantizer::draw(std::optional<std::uint8_t> kept) {
    const std::span<const GifColour> colours = palette_->colours();
    const PixelRect area = drawnArea();
    const auto place = [&](GifPixel pixel) { // in the area
        return static_cast<std::size_t>((pixel.y - area.y) * area.width + pixel.x - area.x);
    };
    fillTargets(area, kept.value_or(0));
    for (const Drawing& drawing : drawings_) targets_[place(drawing.pixel)] = drawing.target;

    GifFrame frame{area, GifRunFitter(colours, kept).fit(targets_), {colours.begin(), colours.end()}, kept};
    for (const Drawing& drawing : drawings_)
        diff_.draw(drawing.pixel.position, colours[frame.indices[place(drawing.pixel)]]);
    return withUsedColours(std::move(frame));
}

} // namespace glintro
