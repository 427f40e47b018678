#include "core/render/Mask.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "core/raster/Convert.h"

namespace glintro {
namespace {

// How much of a pixel lies inside an edge whose signed distance to the pixel's centre is given.
float edgeCoverage(double distance) {
    return static_cast<float>(std::clamp(0.5 - distance, 0.0, 1.0));
}

// Past three standard deviations a Gaussian holds 0.3 % of its weight, which 8 bits do not show.
int blurMargin(double sigma) {
    return static_cast<int>(std::ceil(3 * sigma));
}

// The rows of a rounded rectangle's coverage, top to bottom. All but those at its corners are alike.
class RoundedRectRows : public FloatRowSource {
  public:
    RoundedRectRows(PixelRect box, Rect rect, double radius)
        : box_(box), rect_(rect), radius_(radius), row_(static_cast<std::size_t>(box.width) + kSlack) {}

    bool moveTo(int y) override {
        const double dy =
            std::abs(box_.y + y + 0.5 - rect_.y - rect_.height / 2) - rect_.height / 2 + radius_;
        const bool isStraight = dy <= std::min(0.0, radius_ - 0.5);
        const bool isOutside = dy - radius_ >= 0.5;
        const Kind kind = isStraight ? Kind::straight : isOutside ? Kind::outside : Kind::corner;
        if (kind != Kind::corner && kind == kind_) return false;
        kind_ = kind;
        fill(dy);
        return true;
    }
    const float* row() const override { return row_.data(); }

  private:
    enum class Kind { none, outside, corner, straight };

    // Only at the sides does the coverage vary.
    void fill(double dy) {
        const double middle = rect_.x + rect_.width / 2;
        const double outermost = rect_.width / 2 - radius_;
        const auto column = [&](double x) {
            return static_cast<int>(std::clamp(std::floor(x) - box_.x, 0.0, static_cast<double>(box_.width)));
        };
        const int begin = column(middle - outermost + 2);
        const int end = std::max(column(middle + outermost - 2), begin);
        const auto fillSide = [&](int from, int to) {
            for (int x = from; x < to; ++x) {
                const double dx = std::abs(box_.x + x + 0.5 - middle) - outermost;
                const double outside = dx > 0 && dy > 0 ? std::sqrt(dx * dx + dy * dy) : std::max(dx, dy);
                row_[static_cast<std::size_t>(x)] = edgeCoverage(outside - radius_);
            }
        };
        fillSide(0, begin);
        std::fill_n(row_.begin() + begin, end - begin, edgeCoverage(dy - radius_));
        fillSide(end, box_.width);
    }

    static constexpr std::size_t kSlack = 16;
    PixelRect box_;
    Rect rect_;
    double radius_;
    std::vector<float> row_;
    Kind kind_ = Kind::none;
};

void toBytes(const float* coverage, int width, float strength, std::uint8_t* bytes) {
    for (int x = 0; x < width; ++x)
        bytes[x] = static_cast<std::uint8_t>(coverage[x] * strength * 255.0F + 0.5F);
}

} // namespace

PixelRect planeArea(PixelLayout layout, int plane, PixelRect box) {
    if (layout != PixelLayout::yuv420 || plane == 0) return box;
    return {box.x / 2, box.y / 2, chromaExtent(box.width), chromaExtent(box.height)};
}

PixelRect evenBox(PixelRect around, PixelSize canvas) {
    const PixelRect visible = intersected(around, wholeOf(canvas));
    // A chroma sample on column 2i is also made of columns 2i - 1 and 2i + 1: where an edge is even, the
    // sample beyond it is touched too.
    const int left = std::max(visible.x - 1, 0) & ~1;
    const int top = visible.y & ~1;
    const int right = std::min((visible.right() + 2) & ~1, canvas.width);
    const int bottom = std::min((visible.bottom() + 1) & ~1, canvas.height);
    return {left, top, std::max(right - left, 0), std::max(bottom - top, 0)};
}

PixelRect evenBox(Rect around, PixelSize canvas) {
    const auto left = static_cast<int>(std::floor(std::clamp(around.x, -1.0, canvas.width + 1.0)));
    const auto top = static_cast<int>(std::floor(std::clamp(around.y, -1.0, canvas.height + 1.0)));
    const auto right =
        static_cast<int>(std::ceil(std::clamp(around.x + around.width, -1.0, canvas.width + 1.0)));
    const auto bottom =
        static_cast<int>(std::ceil(std::clamp(around.y + around.height, -1.0, canvas.height + 1.0)));
    return evenBox(PixelRect{left, top, right - left, bottom - top}, canvas);
}

void Mask::addChroma(PixelLayout layout) {
    if (layout != PixelLayout::yuv420) return;
    chroma_ = Plane(chromaExtent(box_.width), chromaExtent(box_.height));
    reduceMaskToChroma(std::as_const(full_).view(), chroma_.view());
}

Mask Mask::roundedRect(PixelLayout layout, PixelRect box, Rect rect, double radius, float strength) {
    Mask mask(box);
    RoundedRectRows rows(box, rect, radius);
    for (int y = 0; y < box.height; ++y) {
        if (rows.moveTo(y))
            toBytes(rows.row(), box.width, strength, mask.full_.row(y));
        else
            std::copy_n(mask.full_.row(y - 1), box.width, mask.full_.row(y));
    }
    mask.addChroma(layout);
    return mask;
}

Mask Mask::blurredRoundedRect(PixelLayout layout, PixelRect box, Rect rect, double radius, double sigma,
                              float strength) {
    Mask mask(box);
    if (!isEmpty(box)) {
        const SoftRoundedRect shape(box, rect, radius, sigma);
        SoftRoundedRect::Reader reader(shape);
        for (int y = 0; y < box.height; ++y)
            toBytes(reader.row(y, 0, box.width), box.width, strength, mask.full_.row(y));
    }
    mask.addChroma(layout);
    return mask;
}

SoftRoundedRect::SoftRoundedRect(PixelRect box, Rect rect, double radius, double sigma)
    : margin_(blurMargin(sigma)), blurred_([&] {
          const PixelRect wide = grown(box, blurMargin(sigma));
          RoundedRectRows rows(wide, rect, radius);
          return BlurredPicture(rows, {wide.width, wide.height}, sigma);
      }()) {}

} // namespace glintro
