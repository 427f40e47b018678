#include "core/export/GifPalette.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include <libimagequant.h>

namespace glintro {
namespace {

template <class T, void (*destroy)(T*)>
struct Destroy {
    void operator()(T* handle) const { destroy(handle); }
};
using Attributes = std::unique_ptr<liq_attr, Destroy<liq_attr, liq_attr_destroy>>;
using Histogram = std::unique_ptr<liq_histogram, Destroy<liq_histogram, liq_histogram_destroy>>;
using Quantized = std::unique_ptr<liq_result, Destroy<liq_result, liq_result_destroy>>;

constexpr int kSpeed = 8;     // of libimagequant, 1 to 10: fast enough to be repeated within a GIF
constexpr float kNever = 512; // farther from every colour than any two colours are from each other
// What few pixels show, a pointer or a ring around a click, matters more than their number says.
constexpr double kCountPower = 0.95;
constexpr double kCountScale = 16; // libimagequant wants whole numbers as weights

std::uint32_t keyOf(GifColour colour) {
    return static_cast<std::uint32_t>(colour.red << 16 | colour.green << 8 | colour.blue);
}

liq_color colourOf(std::uint32_t key) {
    return {static_cast<std::uint8_t>(key >> 16), static_cast<std::uint8_t>(key >> 8),
            static_cast<std::uint8_t>(key), 255};
}

std::vector<liq_histogram_entry> countColours(std::span<const GifColour> pixels) {
    std::vector<std::uint32_t> keys(pixels.size());
    std::ranges::transform(pixels, keys.begin(), keyOf);
    std::ranges::sort(keys);
    std::vector<liq_histogram_entry> entries;
    for (auto first = keys.begin(); first != keys.end();) {
        const auto last = std::upper_bound(first, keys.end(), *first);
        const double weight = kCountScale * std::pow(static_cast<double>(last - first), kCountPower);
        entries.push_back({colourOf(*first), static_cast<unsigned>(std::lround(weight))});
        first = last;
    }
    return entries;
}

// As far from `centre` as `colour`, on the other side.
GifColour mirrored(GifColour colour, GifColour centre) {
    const auto mirror = [](int from, int around) {
        return static_cast<std::uint8_t>(std::clamp(2 * around - from, 0, 255));
    };
    return {mirror(colour.red, centre.red), mirror(colour.green, centre.green),
            mirror(colour.blue, centre.blue)};
}

// Where on the way from `from` (0) to `to` (1) lies the point nearest to `colour`.
float shareOf(GifColour colour, GifColour from, GifColour to) {
    const int along = (colour.red - from.red) * (to.red - from.red)
                      + (colour.green - from.green) * (to.green - from.green)
                      + (colour.blue - from.blue) * (to.blue - from.blue);
    return static_cast<float>(along) / static_cast<float>(squaredDistance(from, to));
}

} // namespace

Result<GifPalette> GifPalette::forPixels(std::span<const GifColour> pixels) {
    const std::vector<liq_histogram_entry> entries = countColours(pixels);
    const Attributes attributes(liq_attr_create());
    if (!attributes) return failure("Couldn’t finish the GIF.", "libimagequant can't be set up");
    liq_set_max_colors(attributes.get(), kColours);
    liq_set_speed(attributes.get(), kSpeed);
    const Histogram histogram(liq_histogram_create(attributes.get()));
    liq_error error = liq_histogram_add_colors(histogram.get(), attributes.get(), entries.data(),
                                               static_cast<int>(entries.size()), 0);
    liq_result* made = nullptr;
    if (error == LIQ_OK) error = liq_histogram_quantize(histogram.get(), attributes.get(), &made);
    const Quantized quantized(made);
    if (error != LIQ_OK) return failure("Couldn’t finish the GIF.", "libimagequant finds no palette", error);
    const liq_palette* palette = liq_get_palette(quantized.get());
    std::vector<GifColour> colours;
    for (const liq_color& each : std::span(palette->entries).first(palette->count))
        colours.push_back({each.r, each.g, each.b});
    return GifPalette(std::move(colours));
}

GifPalette::GifPalette(std::vector<GifColour> colours) : colours_(std::move(colours)) {
    for (auto& channel : channels_) channel.fill(kNever);
    for (std::size_t i = 0; i < colours_.size(); ++i) {
        channels_[0][i] = colours_[i].red;
        channels_[1][i] = colours_[i].green;
        channels_[2][i] = colours_[i].blue;
    }
    known_.assign(std::size_t{1} << kKnownBits, {GifColour{}, search(GifColour{})});
}

std::uint8_t GifPalette::nearest(GifColour colour) {
    Known& known = known_[keyOf(colour) * 2654435769U >> (32 - kKnownBits)]; // Fibonacci hashing
    if (known.colour != colour) known = {colour, search(colour)};
    return known.index;
}

std::uint8_t GifPalette::dithered(GifColour colour, int x, int y) {
    static constexpr int kBayer[4][4] = {{0, 8, 2, 10}, {12, 4, 14, 6}, {3, 11, 1, 9}, {15, 7, 13, 5}};
    const std::uint8_t one = nearest(colour);
    const std::uint8_t other = nearest(mirrored(colours_[one], colour));
    const int distance = squaredDistance(colour, colours_[one]);
    // A colour much farther away would show as specks.
    if (other == one || squaredDistance(colour, colours_[other]) > 4 * distance) return one;
    const float threshold = (static_cast<float>(kBayer[y & 3][x & 3]) + 0.5F) / 16;
    return shareOf(colour, colours_[one], colours_[other]) > threshold ? other : one;
}

// In floats, which every processor multiplies many at a time; all values are whole and exact.
std::uint8_t GifPalette::search(GifColour colour) const {
    const float red = colour.red;
    const float green = colour.green;
    const float blue = colour.blue;
    std::array<std::int32_t, 256> distances; // and in the low byte, whose
    for (std::size_t i = 0; i < distances.size(); ++i) {
        const float x = channels_[0][i] - red;
        const float y = channels_[1][i] - green;
        const float z = channels_[2][i] - blue;
        distances[i] = static_cast<std::int32_t>(x * x + y * y + z * z) << 8 | static_cast<std::int32_t>(i);
    }
    std::int32_t best = distances[0];
    for (const std::int32_t distance : distances) best = std::min(best, distance);
    return static_cast<std::uint8_t>(best & 255);
}

} // namespace glintro
