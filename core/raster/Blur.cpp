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

// Every four neighbouring cells become `factor` samples; phase p of them takes weights[k * stride + p] of
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
// All three are blurs, and the variances of blurs add up, so the Gaussian takes what the other two leave of
// sigma.
class CellGrid {
  public:
    // kMargin cells lie beyond each edge of the plane; the spline reads them.
    CellGrid(const FloatPlane& plane, int factor)
        : factor_(factor), cells_(cellsOver(plane.width()), cellsOver(plane.height())) {
        std::vector<float> sums(static_cast<std::size_t>(plane.width() + kSlack));
        for (int j = 0; j < cells_.height(); ++j) {
            std::fill(sums.begin(), sums.end(), 0.0F);
            for (int k = 0; k < factor; ++k) {
                const int y = std::clamp((j - kMargin) * factor + k, 0, plane.height() - 1);
                HWY_DYNAMIC_DISPATCH(accumulate)(plane.row(y), plane.width(), sums.data());
            }
            meansAcross(sums, plane.width(), cells_.row(j));
        }
    }

    void blur(double sigma) {
        const double square = static_cast<double>(factor_) * factor_;
        const double ofMeans = (square - 1) / 12;
        const double ofSpline = square / 3;
        convolve(cells_, std::sqrt((sigma * sigma - ofMeans - ofSpline) / square));
    }

    void enlarge(FloatPlane& plane) const {
        const int stride = factor_ + kSlack;
        std::vector<float> weights(static_cast<std::size_t>(4 * stride));
        for (int p = 0; p < factor_; ++p) {
            const std::array<float, 4> spline = splineWeights(p);
            for (int k = 0; k < 4; ++k)
                weights[static_cast<std::size_t>(k * stride + p)] = spline[static_cast<std::size_t>(k)];
        }
        const int shift = factor_ / 2;
        std::vector<float> line(static_cast<std::size_t>(cells_.width() + kSlack));
        std::vector<float> samples(static_cast<std::size_t>((cells_.width() + 1) * factor_ + kSlack));
        for (int y = 0; y < plane.height(); ++y) {
            const int place = y + (kMargin * factor_) - shift;
            std::array<const float*, 4> rows;
            for (int k = 0; k < 4; ++k)
                rows[static_cast<std::size_t>(k)] = cells_.row(place / factor_ - 1 + k);
            HWY_DYNAMIC_DISPATCH(mixFour)
            (rows.data(), splineWeights(place % factor_).data(), cells_.width(), line.data());
            HWY_DYNAMIC_DISPATCH(enlargeAcross)
            (line.data(), cells_.width() - 3, weights.data(), stride, factor_, samples.data());
            std::copy_n(samples.begin() + (kMargin - 1) * factor_ - shift, plane.width(), plane.row(y));
        }
    }

  private:
    static constexpr int kMargin = 2;

    // The cubic B-spline at phase p of the way from the second of four cells to the third. The middle of an
    // even number of samples lies half a sample off all of them.
    std::array<float, 4> splineWeights(int p) const {
        const double t = (p + (factor_ % 2 == 0 ? 0.5 : 0.0)) / factor_;
        const double rest = 1 - t;
        return {static_cast<float>(rest * rest * rest / 6),
                static_cast<float>((3 * t - 6) * t * t / 6 + 4.0 / 6),
                static_cast<float>((3 * rest - 6) * rest * rest / 6 + 4.0 / 6),
                static_cast<float>(t * t * t / 6)};
    }

    int cellsOver(int length) const { return (length + factor_ - 1) / factor_ + 2 * kMargin; }

    void meansAcross(const std::vector<float>& sums, int width, float* cells) const {
        const float scale = 1.0F / (static_cast<float>(factor_) * static_cast<float>(factor_));
        for (int i = 0; i < cells_.width(); ++i) {
            float sum = 0;
            for (int k = 0; k < factor_; ++k) {
                sum += sums[static_cast<std::size_t>(std::clamp((i - kMargin) * factor_ + k, 0, width - 1))];
            }
            cells[i] = sum * scale;
        }
    }

    int factor_;
    FloatPlane cells_;
};

} // namespace

void gaussianBlur(FloatPlane& plane, double sigma) {
    if (sigma <= 0 || plane.width() == 0 || plane.height() == 0) return;
    const int factor = static_cast<int>(sigma / 4);
    if (factor < 2) {
        convolve(plane, sigma);
        return;
    }
    CellGrid cells(plane, factor);
    cells.blur(sigma);
    cells.enlarge(plane);
}

} // namespace glintro
#endif
