#include "core/raster/Blur.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "core/raster/Blur.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

// Multiplications and additions stay apart, so that no machine fuses them and all round alike.
HWY_BEFORE_NAMESPACE();
namespace glintro::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// A row of a FloatPlane is padded to whole vectors of this many, and may be read and written up to there.
using Samples = hn::CappedTag<float, 16>;

// sums += row
void accumulate(const float* row, int width, float* sums) {
    const Samples d;
    for (int x = 0; x < width; x += static_cast<int>(hn::Lanes(d))) {
        hn::StoreU(hn::Add(hn::LoadU(d, sums + x), hn::LoadU(d, row + x)), d, sums + x);
    }
}

// to = sum of weights[k] * (rows[-k] + rows[k]), where rows[k][x] is what `at(k)` points to.
template <class At>
HWY_INLINE void symmetricSum(const At& at, const float* weights, int radius, int width, float* to) {
    const Samples d;
    for (int x = 0; x < width; x += static_cast<int>(hn::Lanes(d))) {
        auto sum = hn::Mul(hn::LoadU(d, at(0) + x), hn::Set(d, weights[0]));
        for (int k = 1; k <= radius; ++k) {
            const auto pair = hn::Add(hn::LoadU(d, at(-k) + x), hn::LoadU(d, at(k) + x));
            sum = hn::Add(sum, hn::Mul(pair, hn::Set(d, weights[k])));
        }
        hn::StoreU(sum, d, to + x);
    }
}

// `padded` has `radius` samples more on either side than the row it becomes.
void convolveAcross(const float* padded, const float* weights, int radius, int width, float* to) {
    symmetricSum([=](int k) { return padded + radius + k; }, weights, radius, width, to);
}

// rows[radius] is the middle one.
void convolveDown(const float* const* rows, const float* weights, int radius, int width, float* to) {
    symmetricSum([=](int k) { return rows[radius + k]; }, weights, radius, width, to);
}

// to = weights[0] * rows[0] + ... + weights[3] * rows[3]
void mixFour(const float* const* rows, const float* weights, int width, float* to) {
    const Samples d;
    for (int x = 0; x < width; x += static_cast<int>(hn::Lanes(d))) {
        const auto upper = hn::Add(hn::Mul(hn::LoadU(d, rows[0] + x), hn::Set(d, weights[0])),
                                   hn::Mul(hn::LoadU(d, rows[1] + x), hn::Set(d, weights[1])));
        const auto lower = hn::Add(hn::Mul(hn::LoadU(d, rows[2] + x), hn::Set(d, weights[2])),
                                   hn::Mul(hn::LoadU(d, rows[3] + x), hn::Set(d, weights[3])));
        hn::StoreU(hn::Add(upper, lower), d, to + x);
    }
}

// Every four neighbouring cells become `factor` samples; phase p of them uses weights[k * stride + p] of
// cell k. Whole vectors are written: what one cell writes too much, the next overwrites.
void enlargeAcross(const float* cells, int count, const float* weights, int stride, int factor, float* to) {
    const Samples d;
    for (int i = 0; i < count; ++i, to += factor) {
        for (int p = 0; p < factor; p += static_cast<int>(hn::Lanes(d))) {
            auto sum = hn::Zero(d);
            for (int k = 0; k < 4; ++k) {
                sum = hn::Add(sum, hn::Mul(hn::LoadU(d, weights + k * stride + p), hn::Set(d, cells[i + k])));
            }
            hn::StoreU(sum, d, to + p);
        }
    }
}

} // namespace glintro::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace glintro {
namespace {

HWY_EXPORT(accumulate);
HWY_EXPORT(convolveAcross);
HWY_EXPORT(convolveDown);
HWY_EXPORT(mixFour);
HWY_EXPORT(enlargeAcross);

constexpr int kSlack = 16; // what a vector may read or write beyond a row

// The half of a normalised Gaussian, from its middle on.
std::vector<float> gaussian(double sigma) {
    const int radius = static_cast<int>(std::ceil(3.5 * sigma));
    const auto height = [sigma](int k) { return std::exp(-0.5 * (k / sigma) * (k / sigma)); };
    double sum = 1;
    for (int k = 1; k <= radius; ++k) sum += 2 * height(k);
    std::vector<float> weights;
    for (int k = 0; k <= radius; ++k) weights.push_back(static_cast<float>(height(k) / sum));
    return weights;
}

void convolve(FloatPlane& plane, double sigma) {
    const std::vector<float> weights = gaussian(sigma);
    const int radius = static_cast<int>(weights.size()) - 1;
    const int width = plane.width();
    const int height = plane.height();
    FloatPlane across(width, height);
    std::vector<float> padded(static_cast<std::size_t>(width + 2 * radius + kSlack));
    for (int y = 0; y < height; ++y) {
        const float* const row = plane.row(y);
        auto end = std::fill_n(padded.begin(), radius, row[0]);
        end = std::copy_n(row, width, end);
        std::fill_n(end, radius, row[width - 1]);
        HWY_DYNAMIC_DISPATCH(convolveAcross)(padded.data(), weights.data(), radius, width, across.row(y));
    }
    std::vector<const float*> rows(static_cast<std::size_t>(2 * radius + 1));
    for (int y = 0; y < height; ++y) {
        for (int k = -radius; k <= radius; ++k) {
            rows[static_cast<std::size_t>(k + radius)] = across.row(std::clamp(y + k, 0, height - 1));
        }
        HWY_DYNAMIC_DISPATCH(convolveDown)(rows.data(), weights.data(), radius, width, plane.row(y));
    }
}

// A wide blur varies so slowly that it can be computed on cells of factor x factor samples:
//
//   samples ──mean──► cells ──Gaussian──► cells ──cubic B-spline──► samples
//
// All three are blurs, and the variances of blurs add up, so the Gaussian contributes what the other two
// leave of sigma.

// Cells beyond each edge of the picture, for the spline to read.
constexpr int kMargin = 2;

int cellSize(double sigma) {
    return std::max(static_cast<int>(sigma / 4), 1);
}

int cellsOver(int length, int factor) {
    return (length + factor - 1) / factor + 2 * kMargin;
}

double cellSigma(double sigma, int factor) {
    const double square = static_cast<double>(factor) * factor;
    const double ofMeans = (square - 1) / 12;
    const double ofSpline = square / 3;
    return std::sqrt((sigma * sigma - ofMeans - ofSpline) / square);
}

// The cubic B-spline at phase p of the way from the second of four cells to the third. The middle of an even
// number of samples lies half a sample off all of them.
std::array<float, 4> splineWeights(int p, int factor) {
    const double t = (p + (factor % 2 == 0 ? 0.5 : 0.0)) / factor;
    const double rest = 1 - t;
    return {static_cast<float>(rest * rest * rest / 6), static_cast<float>((3 * t - 6) * t * t / 6 + 4.0 / 6),
            static_cast<float>((3 * rest - 6) * rest * rest / 6 + 4.0 / 6),
            static_cast<float>(t * t * t / 6)};
}

// Adds the source's rows up to rows of cells.
class CellSums {
  public:
    CellSums(FloatRowSource& source, PixelSize size, int factor)
        : source_(source),
          size_(size),
          factor_(factor),
          sums_(static_cast<std::size_t>(size.width + kSlack)) {}

    FloatPlane means() {
        FloatPlane cells(cellsOver(size_.width, factor_), cellsOver(size_.height, factor_));
        bool wasUniform = false;
        for (int j = 0; j < cells.height(); ++j) {
            const bool isUniform = !add(j);
            // Rows all alike, in these cells and in those above: so are the cells.
            if (isUniform && wasUniform)
                std::copy_n(cells.row(j - 1), cells.width(), cells.row(j));
            else
                meansAcross(cells.row(j), cells.width());
            wasUniform = isUniform;
        }
        return cells;
    }

  private:
    // Adds up the rows of cell row j; whether any of them differs from the row before it.
    bool add(int j) {
        bool differs = false;
        std::fill(sums_.begin(), sums_.end(), 0.0F);
        for (int k = 0; k < factor_; ++k) {
            const int y = std::clamp((j - kMargin) * factor_ + k, 0, size_.height - 1);
            if (y != last_) differs = source_.moveTo(y) || differs;
            last_ = y;
            HWY_DYNAMIC_DISPATCH(accumulate)(source_.row(), size_.width, sums_.data());
        }
        return differs;
    }

    void meansAcross(float* cells, int count) const {
        const float scale = 1.0F / (static_cast<float>(factor_) * static_cast<float>(factor_));
        for (int i = 0; i < count; ++i) {
            float sum = 0;
            for (int k = 0; k < factor_; ++k) {
                const int x = std::clamp((i - kMargin) * factor_ + k, 0, size_.width - 1);
                sum += sums_[static_cast<std::size_t>(x)];
            }
            cells[i] = sum * scale;
        }
    }

    FloatRowSource& source_;
    PixelSize size_;
    int factor_;
    std::vector<float> sums_;
    int last_ = -1;
};

FloatPlane copyOf(FloatRowSource& source, PixelSize size) {
    FloatPlane plane(size.width, size.height);
    for (int y = 0; y < size.height; ++y) {
        source.moveTo(y);
        std::copy_n(source.row(), size.width, plane.row(y));
    }
    return plane;
}

class PlaneRows : public FloatRowSource {
  public:
    explicit PlaneRows(const FloatPlane& plane) : plane_(plane) {}
    bool moveTo(int y) override {
        y_ = y;
        return true;
    }
    const float* row() const override { return plane_.row(y_); }

  private:
    const FloatPlane& plane_;
    int y_ = 0;
};

} // namespace

BlurredPicture::BlurredPicture(FloatRowSource& source, PixelSize size, double sigma)
    : factor_(cellSize(sigma)) {
    if (factor_ > 1) {
        cells_ = CellSums(source, size, factor_).means();
        convolve(cells_, cellSigma(sigma, factor_));
        return;
    }
    cells_ = copyOf(source, size);
    if (sigma > 0) convolve(cells_, sigma);
}

BlurredPicture::Reader::Reader(const BlurredPicture& picture) : picture_(picture) {
    const int factor = picture.factor_;
    if (factor == 1) return;
    const int stride = factor + kSlack;
    weights_.resize(static_cast<std::size_t>(4 * stride));
    for (int p = 0; p < factor; ++p) {
        const std::array<float, 4> spline = splineWeights(p, factor);
        for (int k = 0; k < 4; ++k)
            weights_[static_cast<std::size_t>(k * stride + p)] = spline[static_cast<std::size_t>(k)];
    }
    line_.resize(static_cast<std::size_t>(picture.cells_.width() + kSlack));
    samples_.resize(static_cast<std::size_t>((picture.cells_.width() + 1) * factor + 2 * kSlack));
}

const float* BlurredPicture::Reader::row(int y, int x, int count) {
    const int factor = picture_.factor_;
    const FloatPlane& cells = picture_.cells_;
    if (factor == 1) return cells.row(y) + x;
    // Where the sample lies, in samples from the middle of the margin's first cell.
    const int shift = factor / 2;
    const int down = y + kMargin * factor - shift;
    const int across = x + (kMargin - 1) * factor - shift;
    const int first = across / factor;
    const int wanted = (across % factor + count + factor - 1) / factor;
    std::array<const float*, 4> rows;
    for (int k = 0; k < 4; ++k) rows[static_cast<std::size_t>(k)] = cells.row(down / factor - 1 + k) + first;
    HWY_DYNAMIC_DISPATCH(mixFour)
    (rows.data(), splineWeights(down % factor, factor).data(), wanted + 3, line_.data());
    HWY_DYNAMIC_DISPATCH(enlargeAcross)
    (line_.data(), wanted, weights_.data(), factor + kSlack, factor, samples_.data());
    return samples_.data() + across % factor;
}

void gaussianBlur(FloatPlane& plane, double sigma) {
    if (sigma <= 0 || plane.width() == 0 || plane.height() == 0) return;
    if (cellSize(sigma) == 1) {
        convolve(plane, sigma);
        return;
    }
    PlaneRows source(plane);
    const BlurredPicture blurred(source, {plane.width(), plane.height()}, sigma);
    BlurredPicture::Reader reader(blurred);
    for (int y = 0; y < plane.height(); ++y)
        std::copy_n(reader.row(y, 0, plane.width()), plane.width(), plane.row(y));
}

} // namespace glintro
#endif
