#pragma once

#include <memory>
#include <string>

#include "core/plan/FrameGeometry.h"
#include "core/plan/FramePlan.h"
#include "core/render/Backdrop.h"
#include "core/render/Bubble.h"
#include "core/render/Mask.h"

namespace glintro {

// A value with everything that it was made from: equal keys make equal values.
template <class Key, class Value>
struct Keyed {
    Key key;
    Value value;
};
template <class Key, class Value>
using KeyedPtr = std::shared_ptr<const Keyed<Key, Value>>;

// What a frame's static layers are made from. `settings` and `wallpaper` must outlive the call they are
// handed to.
struct StaticLayersInput {
    const ProjectSettings& settings;
    Size source; // the recording's size in pixels
    Framing framing = Framing::fit;
    const std::shared_ptr<const BgraImage>& wallpaper; // may be null
};

// All that stays the same from frame to frame on one canvas in one layout: backdrop with the recording's
// shadow, the mask of its corners, and the webcam bubble's masks. An immutable value that threads share. Each
// piece depends on a few settings only, and a piece of other layers that was made from the same ones is
// shared instead of made again: dragging one slider redraws what that slider changes.
//
//   wallpaper ─► cover ─► blurred ─┐
//   settings, canvas ─► target ────┼─► shadow ─► backdrop
//                          └───────┼─► corners
//                                  └─► bubble
class StaticLayers {
  public:
    // `previous` may be null, and of another canvas or layout. The picture does not depend on it.
    static std::shared_ptr<const StaticLayers> make(const StaticLayersInput& input, PixelLayout layout,
                                                    PixelSize canvas, const StaticLayers* previous);

    PixelLayout layout() const { return layout_; }
    PixelSize canvas() const { return canvas_; }
    PixelRect target() const { return shown_; } // where the recording lies, cut to the canvas
    const Bubble* bubble() const { return bubble_ ? &bubble_->value : nullptr; }

    // The backdrop around the recording; what lies under it is left as it is.
    void drawSurroundings(PictureBuffer& canvas) const;
    // Puts the backdrop back over a drawn recording outside its rounded corners.
    void roundCorners(PictureBuffer& canvas) const;

  private:
    struct CoverKey {
        std::shared_ptr<const BgraImage> picture;
        PixelSize canvas;
        int reach = 0;
        bool operator==(const CoverKey&) const = default;
    };
    using CoverPtr = KeyedPtr<CoverKey, WallpaperCover>;
    struct BlurKey {
        CoverPtr cover;
        PixelLayout layout{};
        double sigma = 0;
        bool operator==(const BlurKey&) const = default;
    };
    using BlurPtr = KeyedPtr<BlurKey, std::shared_ptr<const FinePicture>>;
    struct ShapeKey { // the recording's rounded rectangle
        PixelSize canvas;
        PixelRect target;
        double radius = 0;
        bool operator==(const ShapeKey&) const = default;
    };
    using ShadowPtr = KeyedPtr<ShapeKey, SoftRoundedRect>;
    struct GroundKey {
        BackgroundKind kind{};
        std::int64_t gradientIndex = 0;
        std::string solidHex;
        BlurPtr wallpaper;
        bool operator==(const GroundKey&) const = default;
    };
    struct BackdropKey {
        PixelLayout layout{};
        PixelSize canvas;
        GroundKey ground;
        ShadowPtr shadow;
        float strength = 0;
        PixelRect hole;
        bool operator==(const BackdropKey&) const = default;
    };
    struct CornersKey {
        PixelLayout layout{};
        ShapeKey shape;
        bool operator==(const CornersKey&) const = default;
    };
    struct BubbleKey {
        PixelLayout layout{};
        PixelSize canvas;
        BubblePlan plan;
        bool operator==(const BubbleKey&) const = default;
    };

    StaticLayers(const StaticLayersInput& input, PixelLayout layout, PixelSize canvas,
                 const StaticLayers& previous);
    StaticLayers() = default; // with no piece

    void makeWallpaper(const StaticLayersInput& input, const StaticLayers& previous);
    void makeBackdrop(const ProjectSettings& settings, const ShapeKey& shape, const StaticLayers& previous);
    Ground ground(const GroundKey& key) const;
    int reach(int plane) const;
    PixelRect hole() const;

    PixelLayout layout_{};
    PixelSize canvas_;
    PixelRect shown_;
    PixelRect box_;        // shown_ with even edges
    int cornerExtent_ = 0; // rows and columns that the rounding reaches into
    CoverPtr cover_;       // null unless a wallpaper is shown
    BlurPtr blurred_;
    ShadowPtr shadow_; // null without shadow
    KeyedPtr<BackdropKey, PictureBuffer> backdrop_;
    KeyedPtr<CornersKey, Mask> corners_;
    KeyedPtr<BubbleKey, Bubble> bubble_; // null without bubble
};

} // namespace glintro
