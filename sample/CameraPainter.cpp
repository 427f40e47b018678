#include "sample/CameraPainter.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <numbers>

#include "sample/CameraRoom.h"

namespace glintro::sample {
namespace {

constexpr Colour kSkin = rgb(0xE3AE8B);
constexpr Colour kSkinShade = rgb(0xC98D6B);
constexpr Colour kHair = rgb(0x4A2F27);
constexpr Colour kHairLight = rgb(0x684538);
constexpr Colour kSweater = rgb(0xD9694B);
constexpr Colour kSweaterShade = rgb(0xB9523A);
constexpr Colour kLips = rgb(0xB8574F);
constexpr Colour kMouthInside = rgb(0x6E2A2B);
constexpr Point kHead{640, 318};
constexpr double kNearness = 1.17; // how much larger the person is than drawn
constexpr Seconds kBlinkLength = 0.17;

void fillEllipse(cairo_t* context, Point middle, double across, double down, Colour colour) {
    ellipse(context, middle, across, down);
    setSource(context, colour);
    cairo_fill(context);
}

double wave(Seconds time, double period, double phase) {
    return std::sin(2 * std::numbers::pi * time / period + phase);
}

} // namespace

CameraPainter::CameraPainter(const SpeechRhythm& rhythm, Seconds duration, std::uint64_t seed)
    : rhythm_(&rhythm), canvas_(kSize, 1), room_(blurredRoom(kSize)), light_(windowLight(kSize)) {
    Random random(seed);
    sway_ = random.between(0, 6);
    Seconds next = random.between(0.8, 2);
    while (next < duration) {
        blinks_.push_back(next);
        if (random.unit() < 0.15) blinks_.push_back(next + 0.3);
        next += random.between(1.8, 5);
    }
}

CameraPainter::Face CameraPainter::face(Seconds time) const {
    const auto next = std::ranges::upper_bound(blinks_, time);
    double lids = 0;
    if (next != blinks_.begin() && time - *(next - 1) < kBlinkLength) {
        lids = std::sin(std::numbers::pi * (time - *(next - 1)) / kBlinkLength);
    }
    // The mouth is slower than the voice: the mean over a frame and a half.
    double mouth = 0;
    double lately = 0;
    for (int i = -3; i <= 3; ++i) mouth += rhythm_->openness(time + i * 0.012) / 7;
    for (int i = 0; i < 12; ++i) lately += rhythm_->openness(time - i * 0.06) / 12;
    return {0.55 * wave(time, 6.3, sway_) + 0.3 * wave(time, 3.7, sway_ * 2),
            4 * wave(time, 4.9, sway_) + 9 * lately,
            lids,
            mouth,
            rhythm_->roundness(time),
            6 * std::clamp(lately * 2 - 0.3, 0.0, 1.0)};
}

void CameraPainter::paint(Seconds sourceTime) {
    const Face now = face(sourceTime);
    cairo_t* context = canvas_.context();
    cairo_set_source_surface(context, room_.get(), 0, 0);
    cairo_paint(context);
    cairo_save(context);
    cairo_translate(context, kSize.width / 2.0, kSize.height);
    cairo_scale(context, kNearness, kNearness);
    cairo_translate(context, -kSize.width / 2.0, -kSize.height);
    const double breath = wave(sourceTime, 4.1, 0);
    cairo_translate(context, 5 * wave(sourceTime, 8.7, sway_), 2 * breath);
    cairo_save(context);
    tiltHead(now);
    paintHairBehind();
    cairo_restore(context);
    paintBody(now);
    tiltHead(now);
    paintHead(now);
    cairo_restore(context);
    cairo_set_source_surface(context, light_.get(), 0, 0);
    cairo_paint_with_alpha(context, 0.85 + 0.15 * wave(sourceTime, 9, 1));
}

void CameraPainter::tiltHead(const Face& now) {
    cairo_t* context = canvas_.context();
    cairo_translate(context, 7 * now.turn, now.nod);
    cairo_translate(context, kHead.x, kHead.y + 140);
    cairo_rotate(context, 0.025 * now.turn);
    cairo_translate(context, -kHead.x, -kHead.y - 140);
}

void CameraPainter::paintBody(const Face& now) {
    cairo_t* context = canvas_.context();
    cairo_save(context);
    cairo_translate(context, 2 * now.turn, 0);
    cairo_move_to(context, 330, 760);
    cairo_curve_to(context, 345, 610, 420, 575, 545, 540);
    cairo_curve_to(context, 600, 520, 680, 520, 735, 540);
    cairo_curve_to(context, 860, 575, 935, 610, 950, 760);
    cairo_close_path(context);
    const PatternPtr wool(cairo_pattern_create_linear(330, 0, 950, 0));
    cairo_pattern_add_color_stop_rgb(wool.get(), 0, kSweater.red, kSweater.green, kSweater.blue);
    cairo_pattern_add_color_stop_rgb(wool.get(), 0.55, kSweater.red, kSweater.green, kSweater.blue);
    cairo_pattern_add_color_stop_rgb(wool.get(), 1, kSweaterShade.red, kSweaterShade.green,
                                     kSweaterShade.blue);
    cairo_set_source(context, wool.get());
    cairo_fill(context);
    for (const double side : {-1.0, 1.0}) { // the sleeves' seams
        cairo_move_to(context, 640 + side * 196, 600);
        cairo_curve_to(context, 640 + side * 176, 640, 640 + side * 170, 690, 640 + side * 172, 740);
        setSource(context, kSweaterShade.withAlpha(0.55));
        cairo_set_line_width(context, 5);
        cairo_set_line_cap(context, CAIRO_LINE_CAP_ROUND);
        cairo_stroke(context);
    }
    cairo_restore(context);
    cairo_move_to(context, 586, 420); // the neck
    cairo_line_to(context, 694, 420);
    cairo_curve_to(context, 694, 500, 702, 528, 722, 540);
    cairo_curve_to(context, 690, 592, 590, 592, 558, 540);
    cairo_curve_to(context, 578, 528, 586, 500, 586, 420);
    cairo_close_path(context);
    setSource(context, kSkinShade);
    cairo_fill(context);
    cairo_move_to(context, 552, 540); // the collar
    cairo_curve_to(context, 588, 600, 692, 600, 728, 540);
    setSource(context, kSweaterShade);
    cairo_set_line_width(context, 17);
    cairo_stroke(context);
}

void CameraPainter::paintHairBehind() {
    cairo_t* context = canvas_.context();
    cairo_move_to(context, 512, 330);
    cairo_curve_to(context, 500, 150, 780, 150, 768, 330);
    cairo_curve_to(context, 772, 400, 782, 440, 758, 484);
    cairo_curve_to(context, 700, 500, 580, 500, 522, 484);
    cairo_curve_to(context, 498, 440, 508, 400, 512, 330);
    cairo_close_path(context);
    setSource(context, kHair);
    cairo_fill(context);
}

void CameraPainter::paintHairInFront() {
    cairo_t* context = canvas_.context();
    cairo_move_to(context, 526, 330);
    cairo_curve_to(context, 512, 150, 768, 148, 756, 330);
    cairo_curve_to(context, 748, 268, 726, 246, 694, 238);
    cairo_curve_to(context, 640, 268, 574, 262, 552, 262);
    cairo_curve_to(context, 536, 284, 530, 304, 526, 330);
    cairo_close_path(context);
    setSource(context, kHair);
    cairo_fill(context);
    cairo_move_to(context, 566, 226);
    cairo_curve_to(context, 596, 196, 650, 190, 690, 208);
    setSource(context, kHairLight);
    cairo_set_line_width(context, 7);
    cairo_stroke(context);
}

void CameraPainter::paintHead(const Face& now) {
    cairo_t* context = canvas_.context();
    cairo_move_to(context, 528, 300);
    cairo_curve_to(context, 526, 180, 754, 180, 752, 300);
    cairo_curve_to(context, 754, 396, 706, 462, 640, 466);
    cairo_curve_to(context, 574, 462, 526, 396, 528, 300);
    cairo_close_path(context);
    const PatternPtr skin(cairo_pattern_create_linear(528, 0, 752, 0));
    cairo_pattern_add_color_stop_rgb(skin.get(), 0, 0.93, 0.73, 0.6);
    cairo_pattern_add_color_stop_rgb(skin.get(), 0.6, kSkin.red, kSkin.green, kSkin.blue);
    cairo_pattern_add_color_stop_rgb(skin.get(), 1, 0.84, 0.61, 0.47);
    cairo_set_source(context, skin.get());
    cairo_fill(context);
    const double shift = 8 * now.turn; // features move further than the head does
    cairo_save(context);
    cairo_translate(context, shift, 0);
    for (const double side : {-1.0, 1.0}) {
        glow(context, {640 + side * 66, 384}, 36, rgb(0xE0705F).withAlpha(0.3));
        paintEye(side, now);
    }
    cairo_move_to(context, 638, 336); // the nose
    cairo_curve_to(context, 632, 362, 624, 372, 632, 378);
    cairo_curve_to(context, 638, 382, 646, 381, 652, 376);
    setSource(context, kSkinShade);
    cairo_set_line_width(context, 5);
    cairo_set_line_cap(context, CAIRO_LINE_CAP_ROUND);
    cairo_stroke(context);
    paintMouth(now);
    cairo_restore(context);
    paintHairInFront();
}

void CameraPainter::paintEye(double side, const Face& now) {
    cairo_t* context = canvas_.context();
    const Point middle{640 + side * 47, 324};
    cairo_move_to(context, middle.x - 25, 292 - now.brows + (side < 0 ? 5 : 0));
    cairo_curve_to(context, middle.x - 8, 282 - now.brows, middle.x + 8, 282 - now.brows, middle.x + 25,
                   292 - now.brows + (side > 0 ? 5 : 0));
    setSource(context, kHair);
    cairo_set_line_width(context, 7);
    cairo_set_line_cap(context, CAIRO_LINE_CAP_ROUND);
    cairo_stroke(context);
    const double open = 1 - now.lids;
    if (open > 0.12) {
        cairo_save(context);
        ellipse(context, middle, 19, 14 * open);
        setSource(context, rgb(0xFDF9F4));
        cairo_fill_preserve(context);
        cairo_clip(context);
        const double gaze = 4 * now.turn;
        fillEllipse(context, {middle.x + gaze, middle.y}, 11, 11, rgb(0x4B6A5A));
        fillEllipse(context, {middle.x + gaze, middle.y}, 6, 6, rgb(0x1D1A1A));
        fillEllipse(context, {middle.x + gaze - 4, middle.y - 4}, 2.6, 2.6, theme::kWhite);
        cairo_restore(context);
    }
    const double lid = middle.y - 14 * open + 3 * now.lids;
    cairo_move_to(context, middle.x - 20, middle.y - 1 + 3 * now.lids);
    cairo_curve_to(context, middle.x - 10, lid - 3 * open + 11 * now.lids, middle.x + 10,
                   lid - 3 * open + 11 * now.lids, middle.x + 20, middle.y - 1 + 3 * now.lids);
    setSource(context, rgb(0x38231E));
    cairo_set_line_width(context, 4.5);
    cairo_stroke(context);
}

void CameraPainter::paintMouth(const Face& now) {
    cairo_t* context = canvas_.context();
    const double half = 34 - 11 * now.round * std::min(1.0, now.mouth * 2);
    const double open = 30 * now.mouth;
    const double y = 412;
    cairo_move_to(context, 640 - half, y - 3);
    cairo_curve_to(context, 640 - half * 0.4, y + 4 - open * 0.25, 640 + half * 0.4, y + 4 - open * 0.25,
                   640 + half, y - 3);
    cairo_curve_to(context, 640 + half * 0.5, y + 10 + open, 640 - half * 0.5, y + 10 + open, 640 - half,
                   y - 3);
    cairo_close_path(context);
    if (open > 3) {
        setSource(context, kMouthInside);
        cairo_fill_preserve(context);
        cairo_save(context);
        cairo_clip_preserve(context);
        fillRect(context, {640 - half * 0.8, y - 6, half * 1.6, 9 + open * 0.1}, rgb(0xFBF4EE));
        cairo_new_path(context);
        fillEllipse(context, {640, y + 12 + open}, half * 0.6, 10, rgb(0xC9635F));
        cairo_restore(context);
        cairo_move_to(context, 640 - half, y - 3);
        cairo_curve_to(context, 640 - half * 0.4, y + 4 - open * 0.25, 640 + half * 0.4, y + 4 - open * 0.25,
                       640 + half, y - 3);
        cairo_curve_to(context, 640 + half * 0.5, y + 10 + open, 640 - half * 0.5, y + 10 + open, 640 - half,
                       y - 3);
        cairo_close_path(context);
    }
    setSource(context, kLips);
    cairo_set_line_width(context, 5.5);
    cairo_set_line_join(context, CAIRO_LINE_JOIN_ROUND);
    if (open <= 3) cairo_fill_preserve(context);
    cairo_stroke(context);
}

} // namespace glintro::sample
