#include "core/export/GifFrameDiff.h"

#include <algorithm>
#include <cstdlib>

namespace glintro {
namespace {

constexpr int kNoise = 2;  // steps of a channel
constexpr int kWillDo = 6; // squared distance

bool nearlyEqual(GifColour a, GifColour b) {
    return std::abs(a.red - b.red) <= kNoise && std::abs(a.green - b.green) <= kNoise
           && std::abs(a.blue - b.blue) <= kNoise;
}

} // namespace

GifFrameDiff::GifFrameDiff(PixelSize canvas) : canvas_(canvas) {
    const auto pixels = static_cast<std::size_t>(canvas.width) * static_cast<std::size_t>(canvas.height);
    wanted_.resize(pixels);
    drawn_.resize(pixels);
    shown_.resize(pixels);
}

void GifFrameDiff::compare(const Picture& picture) {
    changed_.clear();
    std::uint32_t position = 0;
    for (int y = 0; y < canvas_.height; ++y) {
        const std::uint8_t* red = picture.planes[0].row(y);
        const std::uint8_t* green = picture.planes[1].row(y);
        const std::uint8_t* blue = picture.planes[2].row(y);
        for (int x = 0; x < canvas_.width; ++x, ++position) {
            wanted_[position] = {red[x], green[x], blue[x]};
            if (first_ || !staysAsItIs(position))
                changed_.push_back({static_cast<std::uint16_t>(x), static_cast<std::uint16_t>(y), position});
        }
    }
    first_ = false;
}

int GifFrameDiff::contrast(GifPixel pixel) const {
    const GifColour* here = wanted_.data() + pixel.position;
    int most = 0;
    if (pixel.x > 0) most = std::max(most, squaredDistance(*here, here[-1]));
    if (pixel.x + 1 < canvas_.width) most = std::max(most, squaredDistance(*here, here[1]));
    if (pixel.y > 0) most = std::max(most, squaredDistance(*here, here[-canvas_.width]));
    if (pixel.y + 1 < canvas_.height) most = std::max(most, squaredDistance(*here, here[canvas_.width]));
    return most;
}

bool GifFrameDiff::staysAsItIs(std::uint32_t position) const {
    const GifColour wanted = wanted_[position];
    return nearlyEqual(wanted, drawn_[position]) || squaredDistance(wanted, shown_[position]) <= kWillDo;
}

} // namespace glintro
