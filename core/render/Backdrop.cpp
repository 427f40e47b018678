#include "core/render/Backdrop.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <optional>

#include "core/model/Colour.h"
#include "core/model/Presets.h"
#include "core/plan/FrameGeometry.h"
#include "core/raster/Blur.h"
#include "core/raster/Convert.h"
#include "core/raster/Resample.h"
#include "core/render/Mask.h"

namespace glintro {
namespace {

Colour mix(Colour a, Colour b, float t) {
    return {a.red + (b.red - a.red) * t, a.green + (b.green - a.green) * t, a.blue + (b.blue - a.blue) * t};
}

// Gives the backdrop's colour at a pixel.
using Paint = std::function<Colour(int x, int y)>;

double reference(PixelSize canvas) {
    return std::min(canvas.width, canvas.height) / 1080.0;
}

Paint gradientPaint(const ProjectSettings& settings, PixelSize canvas) {
    const auto& gradients = Presets::gradients;
    const auto last = static_cast<std::int64_t>(gradients.size()) - 1;
    const auto& preset =
        gradients[static_cast<std::size_t>(std::clamp<std::int64_t>(settings.gradientIndex, 0, last))];
    const Colour a = hexColourOrDefault(preset.a);
    const Colour b = hexColourOrDefault(preset.b);
    const auto width = static_cast<float>(canvas.width);
    const auto height = static_cast<float>(canvas.height);
    const float diagonal = width * width + height * height;
    const float glowX = 0.22F * width;
    const float glowY = 0.12F * height;
    const float glowRadius = 0.75F * std::max(width, height);
    return [=](int column, int row) {
        const float x = static_cast<float>(column) + 0.5F;
        const float y = static_cast<float>(row) + 0.5F;
        const Colour ground = mix(a, b, (x * width + y * height) / diagonal);
        const float distance = std::sqrt((x - glowX) * (x - glowX) + (y - glowY) * (y - glowY));
        return mix(ground, {1, 1, 1}, 0.2F * std::max(1 - distance / glowRadius, 0.0F));
    };
}

// One channel of the desktop picture, scaled to cover the canvas, and blurred.
FloatPlane coveringChannel(const BgraImage& picture, int channel, PixelSize canvas, double sigma) {
    Plane source(picture.size.width, picture.size.height);
    for (int y = 0; y < picture.size.height; ++y)
        for (int x = 0; x < picture.size.width; ++x) source.row(y)[x] = picture.row(y)[4 * x + channel];

    const double factor = std::max(static_cast<double>(canvas.width) / picture.size.width,
                                   static_cast<double>(canvas.height) / picture.size.height);
    const auto axis = [&](int canvasLength, int pictureLength) {
        const double first = (0.5 - canvasLength / 2.0) / factor + pictureLength / 2.0 - 0.5;
        return AxisMap{first, 1 / factor};
    };
    Plane scaled(canvas.width, canvas.height);
    Resampler().resample(std::as_const(source).view(), axis(canvas.width, picture.size.width),
                         axis(canvas.height, picture.size.height), scaled.view());
    FloatPlane blurred(canvas.width, canvas.height);
    for (int y = 0; y < canvas.height; ++y) std::copy_n(scaled.row(y), canvas.width, blurred.row(y));
    gaussianBlur(blurred, sigma);
    return blurred;
}

Paint wallpaperPaint(const ProjectSettings& settings, PixelSize canvas, const BgraImage& picture) {
    constexpr float kDarkening = 1 - 0.12F;
    const double sigma = std::clamp(settings.wallpaperBlur, 0.0, 1000.0) * canvas.height / 1080.0;
    auto channels = std::make_shared<std::array<FloatPlane, 3>>();
    for (int i = 0; i < 3; ++i)
        (*channels)[static_cast<std::size_t>(i)] = coveringChannel(picture, 2 - i, canvas, sigma);
    return [channels](int x, int y) {
        const auto value = [&](std::size_t i) { return (*channels)[i].row(y)[x] / 255.0F * kDarkening; };
        return Colour{value(0), value(1), value(2)};
    };
}

Paint backdropPaint(const ProjectSettings& settings, PixelSize canvas, const BgraImage* wallpaper) {
    if (settings.background == BackgroundKind::solid) {
        const Colour solid = hexColourOrDefault(settings.solidHex);
        return [solid](int, int) { return solid; };
    }
    if (settings.background == BackgroundKind::wallpaper && wallpaper && wallpaper->size.width > 0)
        return wallpaperPaint(settings, canvas, *wallpaper);
    return gradientPaint(settings, canvas);
}

// How much light the recording's shadow takes away, 0..1, over the whole canvas; absent when there is none.
std::optional<FloatPlane> shadowPlane(const ProjectSettings& settings, PixelSize canvas, PixelRect target,
                                      double radius) {
    if (!(settings.shadow > 0.01)) return std::nullopt;
    const double k = reference(canvas);
    const Rect caster{static_cast<double>(target.x), target.y + 14 * k, static_cast<double>(target.width),
                      static_cast<double>(target.height)};
    FloatPlane shadow = blurredRoundedRectCoverage({0, 0, canvas.width, canvas.height}, caster,
                                                   radius > 0.5 ? radius : 0, 26 * k);
    const auto strength = static_cast<float>(std::min(settings.shadow * 0.55, 1.0));
    for (int y = 0; y < canvas.height; ++y)
        std::transform(shadow.row(y), shadow.row(y) + canvas.width, shadow.row(y),
                       [strength](float coverage) { return coverage * strength; });
    return shadow;
}

// Three rows of float samples in the colours of a layout.
struct ColourRows {
    std::array<std::vector<float>, 3> planes;
    explicit ColourRows(int width) {
        for (auto& plane : planes) plane.resize(static_cast<std::size_t>(width));
    }
};

// Fills the canvas row by row, two rows at a time for chroma, so that no float picture of the canvas is
// needed.
class BackdropWriter {
  public:
    BackdropWriter(const Paint& paint, const FloatPlane* shadow, bool flat, PictureBuffer& picture)
        : paint_(paint), shadow_(shadow), flat_(flat), picture_(picture) {}

    void write() {
        const PixelSize size = picture_.size();
        ColourRows even(size.width);
        ColourRows odd(size.width);
        for (int y = 0; y < size.height; y += 2) {
            writeFullRow(y, even);
            writeFullRow(std::min(y + 1, size.height - 1), odd);
            if (picture_.layout() == PixelLayout::yuv420) writeChromaRows(y / 2, even, odd);
        }
    }

  private:
    void writeFullRow(int y, ColourRows& rows) {
        const PixelSize size = picture_.size();
        for (int x = 0; x < size.width; ++x) {
            const Colour rgb = paint_(x, y);
            PlaneColour pixel = planeColour(picture_.layout(), rgb.red, rgb.green, rgb.blue);
            // A flat colour is rounded before the shadow falls on it, so that dither leaves it flat.
            if (flat_)
                for (float& value : pixel.values) value = std::round(value);
            const float light = shadow_ ? 1 - shadow_->row(y)[x] : 1.0F;
            for (std::size_t i = 0; i < 3; ++i)
                rows.planes[i][static_cast<std::size_t>(x)] =
                    black_.values[i] + (pixel.values[i] - black_.values[i]) * light;
        }
        const int fullPlanes = picture_.layout() == PixelLayout::yuv420 ? 1 : 3;
        for (int i = 0; i < fullPlanes; ++i)
            ditherRow(rows.planes[static_cast<std::size_t>(i)].data(), size.width, 0, y,
                      picture_.plane(i).row(y));
    }

    void writeChromaRows(int row, const ColourRows& even, const ColourRows& odd) {
        const int width = picture_.size().width;
        const int chromaWidth = chromaExtent(width);
        std::vector<float> chroma(static_cast<std::size_t>(chromaWidth));
        for (std::size_t plane = 1; plane < 3; ++plane) {
            const auto column = [&](int x) {
                const auto i = static_cast<std::size_t>(std::clamp(x, 0, width - 1));
                return even.planes[plane][i] + odd.planes[plane][i];
            };
            for (int x = 0; x < chromaWidth; ++x)
                chroma[static_cast<std::size_t>(x)] =
                    (column(2 * x - 1) + 2 * column(2 * x) + column(2 * x + 1)) / 8;
            const int index = static_cast<int>(plane);
            ditherRow(chroma.data(), chromaWidth, 0, row, picture_.plane(index).row(row));
        }
    }

    const Paint& paint_;
    const FloatPlane* shadow_;
    bool flat_;
    PictureBuffer& picture_;
    PlaneColour black_ = planeColour(picture_.layout(), 0, 0, 0);
};

} // namespace

double cornerRadius(const ProjectSettings& settings, PixelSize canvas, PixelRect target) {
    return std::min(std::min(target.width, target.height) * 0.5, settings.cornerRadius * reference(canvas));
}

PictureBuffer drawBackdrop(const ProjectSettings& settings, PixelLayout layout, PixelSize canvas,
                           PixelRect target, double radius, const BgraImage* wallpaper) {
    PictureBuffer picture(layout, canvas);
    const Paint paint = backdropPaint(settings, canvas, wallpaper);
    const auto shadow = shadowPlane(settings, canvas, target, radius);
    const bool flat = settings.background == BackgroundKind::solid;
    BackdropWriter(paint, shadow ? &*shadow : nullptr, flat, picture).write();
    return picture;
}

} // namespace glintro
