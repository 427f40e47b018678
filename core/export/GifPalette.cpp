#include "core/export/GifPalette.h"

#include <algorithm>
#include <memory>

#include <libimagequant.h>

namespace glintro {
namespace {

template <class T, void (*destroy)(T*)>
struct Destroy {
    void operator()(T* handle) const { destroy(handle); }
};
using Attributes = std::unique_ptr<liq_attr, Destroy<liq_attr, liq_attr_destroy>>;
using Image = std::unique_ptr<liq_image, Destroy<liq_image, liq_image_destroy>>;
using Quantized = std::unique_ptr<liq_result, Destroy<liq_result, liq_result_destroy>>;

constexpr int kSpeed = 8;            // of libimagequant, 1 to 10: fast enough to be done anew within a GIF
constexpr std::int16_t kNever = 512; // farther from every colour than any two colours are from each other

} // namespace

Result<GifPalette> GifPalette::forPixels(std::span<const GifColour> pixels) {
    std::vector<liq_color> rgba;
    rgba.reserve(pixels.size());
    for (const GifColour& pixel : pixels) rgba.push_back({pixel.red, pixel.green, pixel.blue, 255});

    const Attributes attributes(liq_attr_create());
    liq_set_max_colors(attributes.get(), kColours);
    liq_set_speed(attributes.get(), kSpeed);
    const Image image(
        liq_image_create_rgba(attributes.get(), rgba.data(), static_cast<int>(rgba.size()), 1, 0));
    liq_result* raw = nullptr;
    const liq_error error = liq_image_quantize(image.get(), attributes.get(), &raw);
    const Quantized quantized(raw);
    if (error != LIQ_OK) return failure("Couldn’t finish the GIF.", "no palette", error);
    const liq_palette* found = liq_get_palette(quantized.get());
    std::vector<GifColour> colours;
    for (unsigned i = 0; i < found->count; ++i)
        colours.push_back({found->entries[i].r, found->entries[i].g, found->entries[i].b});
    return GifPalette(std::move(colours));
}

GifPalette::GifPalette(std::vector<GifColour> colours) : colours_(std::move(colours)), known_(kKnown) {
    for (auto& channel : channels_) channel.fill(kNever);
    for (std::size_t i = 0; i < colours_.size(); ++i) {
        channels_[0][i] = colours_[i].red;
        channels_[1][i] = colours_[i].green;
        channels_[2][i] = colours_[i].blue;
    }
    known_.assign(kKnown, {{0, 0, 0}, search({})});
}

std::uint8_t GifPalette::nearest(GifColour colour) const {
    const auto key = static_cast<std::uint32_t>(colour.red << 16 | colour.green << 8 | colour.blue);
    Known& known = known_[(key * 2654435769U) >> 18];
    if (known.colour != colour) known = {colour, search(colour)};
    return known.index;
}

std::uint8_t GifPalette::search(GifColour colour) const {
    std::array<std::int32_t, 256> distances;
    for (std::size_t i = 0; i < 256; ++i) {
        const int red = channels_[0][i] - colour.red;
        const int green = channels_[1][i] - colour.green;
        const int blue = channels_[2][i] - colour.blue;
        distances[i] = (red * red + green * green + blue * blue) << 8 | static_cast<int>(i);
    }
    std::int32_t best = distances[0];
    for (const std::int32_t distance : distances) best = std::min(best, distance);
    return static_cast<std::uint8_t>(best & 255);
}

} // namespace glintro
