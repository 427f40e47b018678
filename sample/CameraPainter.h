#pragma once

#include <cstdint>
#include <vector>

#include "sample/Canvas.h"
#include "sample/SpeechRhythm.h"

namespace glintro::sample {

// Draws what the presenter's camera sees, 1280 x 720: a person in a softly lit room, who speaks, blinks, nods
// and looks about. Everything that matters lies within the middle square.
class CameraPainter {
  public:
    static constexpr PixelSize kSize{1280, 720};

    // `rhythm` must outlive the painter.
    CameraPainter(const SpeechRhythm& rhythm, Seconds duration, std::uint64_t seed);

    void paint(Seconds sourceTime);
    Canvas& canvas() { return canvas_; }

  private:
    struct Face {
        double turn;  // sideways, -1..1
        double nod;   // points down
        double lids;  // 0 open .. 1 closed
        double mouth; // openness 0..1
        double round; // 0..1
        double brows; // points up
    };
    Face face(Seconds time) const;
    void tiltHead(const Face& face);
    void paintBody(const Face& face);
    void paintHead(const Face& face);
    void paintHairBehind();
    void paintHairInFront();
    void paintEye(double side, const Face& face);
    void paintMouth(const Face& face);

    const SpeechRhythm* rhythm_;
    std::vector<Seconds> blinks_;
    double sway_;
    Canvas canvas_;
    SurfacePtr room_;
    SurfacePtr light_;
};

} // namespace glintro::sample
