#include "core/render/Backdrop.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <vector>

#include "core/model/Colour.h"
#include "core/model/Presets.h"

namespace glintro {
namespace {

PlaneColour planesOf(PixelLayout layout, Colour colour) {
    return planeColour(layout, colour.red, colour.green, colour.blue);
}

// Three rows of float samples, one for each plane.
class RowTriple {
  public:
    explicit RowTriple(int width) {
        for (auto& row : rows_) row.resize(static_cast<std::size_t>(width + kFloatRowSlack));
    }
    float* operator[](int plane) { return rows_[static_cast<std::size_t>(plane)].data(); }

  private:
    std::array<std::vector<float>, 3> rows_;
};

// Paints `count` pixels of a ground from (x, y) on.
struct RowPainter {
    int x;
    int y;
    int count;
    RowTriple& rows;

    void operator()(const PlaneColour& flat) const {
        for (int i = 0; i < 3; ++i) std::fill_n(rows[i], count, flat.values[i]);
    }
    void operator()(const Gradient& gradient) const {
        float* const targets[] = {rows[0], rows[1], rows[2]};
        gradientRow(gradient, x, y, count, targets);
    }
    void operator()(const std::shared_ptr<const FinePicture>& picture) const {
        for (int i = 0; i < 3; ++i)
            fineToFloatRow((*picture)[static_cast<std::size_t>(i)].row(y) + x, count, rows[i]);
    }
};

// Draws two rows at a time, as chroma needs them, so that no float picture of the canvas is needed.
class BackdropWriter {
  public:
    BackdropWriter(const Ground& ground, BackdropShadow shadow, PictureBuffer& picture)
        : ground_(ground),
          strength_(shadow.strength),
          picture_(picture),
          even_(picture.size().width),
          odd_(picture.size().width),
          chroma_(static_cast<std::size_t>(chromaExtent(picture.size().width) + kFloatRowSlack)) {
        if (shadow.shape != nullptr) shadow_.emplace(*shadow.shape);
    }

    void writeAround(const PixelRect& hole) {
        const PixelSize size = picture_.size();
        for (int y = 0; y < size.height; y += 2) {
            if (isEmpty(hole) || y < hole.y || y >= hole.bottom()) {
                writePair(0, size.width, y);
                continue;
            }
            writePair(0, hole.x, y);
            // From two columns before, for the first chroma sample beyond the hole reads one of them.
            writePair(hole.right() - 2, size.width, y);
        }
    }

  private:
    // Columns [begin, end) of rows y and y + 1; `begin` is even.
    void writePair(int begin, int end, int y) {
        if (begin >= end) return;
        writeRow(begin, end, y, even_);
        writeRow(begin, end, std::min(y + 1, picture_.size().height - 1), odd_);
        if (picture_.layout() != PixelLayout::yuv420) return;
        for (int plane = 1; plane < 3; ++plane) {
            reduceRowsToChroma(even_[plane], odd_[plane], end - begin, chroma_.data());
            ditherRow(chroma_.data(), chromaExtent(end - begin), begin / 2, y / 2,
                      picture_.plane(plane).row(y / 2) + begin / 2);
        }
    }

    void writeRow(int begin, int end, int y, RowTriple& rows) {
        const int count = end - begin;
        std::visit(RowPainter{begin, y, count, rows}, ground_);
        if (shadow_) {
            const float* const shade = shadow_->row(y, begin, count);
            for (int i = 0; i < 3; ++i) shadeRow(rows[i], shade, count, black_.values[i], strength_);
        }
        const int fullPlanes = picture_.layout() == PixelLayout::yuv420 ? 1 : 3;
        for (int i = 0; i < fullPlanes; ++i)
            ditherRow(rows[i], count, begin, y, picture_.plane(i).row(y) + begin);
    }

    const Ground& ground_;
    std::optional<SoftRoundedRect::Reader> shadow_;
    float strength_;
    PictureBuffer& picture_;
    PlaneColour black_ = planeColour(picture_.layout(), 0, 0, 0);
    RowTriple even_;
    RowTriple odd_;
    std::vector<float> chroma_;
};

} // namespace

// Rounded, so that dither leaves the colour flat.
Ground solidGround(PixelLayout layout, std::string_view hexColour) {
    PlaneColour colour = planesOf(layout, hexColourOrDefault(hexColour));
    for (float& value : colour.values) value = std::round(value);
    return colour;
}

// The gradient runs along the canvas's diagonal.
Ground gradientGround(PixelLayout layout, PixelSize canvas, std::int64_t index) {
    const auto& gradients = Presets::gradients;
    const auto last = static_cast<std::int64_t>(gradients.size()) - 1;
    const auto& preset = gradients[static_cast<std::size_t>(std::clamp<std::int64_t>(index, 0, last))];
    const auto width = static_cast<float>(canvas.width);
    const auto height = static_cast<float>(canvas.height);
    const float diagonal = width * width + height * height;
    return Gradient{.start = planesOf(layout, hexColourOrDefault(preset.a)),
                    .end = planesOf(layout, hexColourOrDefault(preset.b)),
                    .xStep = width / diagonal,
                    .yStep = height / diagonal,
                    .highlight = planeColour(layout, 1, 1, 1),
                    .strength = 0.2F,
                    .centreX = 0.22F * width,
                    .centreY = 0.12F * height,
                    .radius = 0.75F * std::max(width, height)};
}

void drawBackdrop(const Ground& ground, BackdropShadow shadow, const PixelRect& hole,
                  PictureBuffer& picture) {
    BackdropWriter(ground, shadow, picture).writeAround(hole);
}

} // namespace glintro
