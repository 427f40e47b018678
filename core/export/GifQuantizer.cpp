#include "core/export/GifQuantizer.h"

#include <algorithm>

namespace glintro {
namespace {

constexpr std::size_t kSample = 30'000; // pixels that a palette is chosen by
// A palette goes when it serves so much worse than it did when it was new.
constexpr double kMisfitFactor = 1.3;
constexpr double kMisfitMargin = 2;
// Where neighbours differ, another colour does not show; where the picture is smooth, every step does.
constexpr int kContrastShare = 85; // one part of the contrast
constexpr int kMostTolerance = 50;
constexpr int kSmooth = 30;         // contrast up to which an area may be dithered,
constexpr int kWorthDithering = 16; // when its nearest colour is that far away

} // namespace

Result<GifFrame> GifQuantizer::quantize(const Picture& picture) {
    const bool first = !palette_;
    diff_.take(picture);
    if (diff_.changed().empty()) return GifFrame{};
    if (auto chosen = choosePalette(); !chosen) return std::unexpected(chosen.error());
    planDrawings(!first);
    if (drawings_.empty()) return GifFrame{};
    const auto kept = static_cast<std::uint8_t>(palette_->colours().size());
    return draw(first ? std::nullopt : std::optional(kept));
}

Result<void> GifQuantizer::choosePalette() {
    const std::span<const std::uint32_t> changed = diff_.changed();
    const std::size_t step = (changed.size() + kSample - 1) / kSample;
    std::vector<GifColour> sample;
    for (std::size_t i = 0; i < changed.size(); i += step) sample.push_back(diff_.wanted(changed[i]));
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

GifTarget GifQuantizer::targetAt(std::uint32_t position) {
    const GifColour wanted = diff_.wanted(position);
    const int x = static_cast<int>(position) % canvas_.width;
    const int y = static_cast<int>(position) / canvas_.width;
    const int contrast = diff_.contrast(x, y);
    const std::uint8_t nearest = palette_->nearest(wanted);
    const int distance = squaredDistance(wanted, palette_->colours()[nearest]);
    if (contrast <= kSmooth && distance >= kWorthDithering) {
        const std::uint8_t index = palette_->dithered(wanted, x, y);
        return {palette_->colours()[index], 0, index};
    }
    return {wanted, distance + std::min(contrast / kContrastShare, kMostTolerance), nearest};
}

void GifQuantizer::planDrawings(bool mayKeep) {
    drawings_.clear();
    for (const std::uint32_t position : diff_.changed()) {
        const GifTarget target = targetAt(position);
        const GifColour colour = palette_->colours()[target.index];
        if (mayKeep && colour == diff_.shown(position))
            diff_.draw(position, colour);
        else
            drawings_.push_back({position, target});
    }
}

PixelRect GifQuantizer::drawnArea() const {
    int left = canvas_.width;
    int right = 0;
    for (const Drawing& drawing : drawings_) {
        const int x = static_cast<int>(drawing.position) % canvas_.width;
        left = std::min(left, x);
        right = std::max(right, x + 1);
    }
    const int top = static_cast<int>(drawings_.front().position) / canvas_.width;
    const int bottom = static_cast<int>(drawings_.back().position) / canvas_.width + 1;
    return {left, top, right - left, bottom - top};
}

GifFrame GifQuantizer::draw(std::optional<std::uint8_t> kept) {
    const std::span<const GifColour> colours = palette_->colours();
    const PixelRect area = drawnArea();
    const auto place = [&](std::uint32_t position) { // in the area
        const int x = static_cast<int>(position) % canvas_.width - area.x;
        const int y = static_cast<int>(position) / canvas_.width - area.y;
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(area.width)
               + static_cast<std::size_t>(x);
    };
    std::vector<GifTarget> targets;
    for (int y = area.y; y < area.y + area.height; ++y)
        for (int x = area.x; x < area.x + area.width; ++x)
            targets.push_back(
                {diff_.shown(static_cast<std::uint32_t>(y * canvas_.width + x)), 0, kept.value_or(0)});
    for (const Drawing& drawing : drawings_) targets[place(drawing.position)] = drawing.target;

    GifFrame frame{area, GifRunFitter(colours, kept).fit(targets), {colours.begin(), colours.end()}, kept};
    for (const Drawing& drawing : drawings_)
        diff_.draw(drawing.position, colours[frame.indices[place(drawing.position)]]);
    return withUsedColours(frame);
}

} // namespace glintro
