#include "sample/PointerPath.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace glintro::sample {
namespace {

constexpr double kObservationsPerSecond = 60;
constexpr Seconds kLeadIn = 0.1; // loggers start a moment before the movie does

double minimumJerk(double p) {
    return p * p * p * (10 + p * (6 * p - 15));
}

double distance(Point a, Point b) {
    return std::hypot(b.x - a.x, b.y - a.y);
}

} // namespace

Seconds PointerPath::reach(Point target, double size, Seconds start, Random& random) {
    const Point from = end();
    const double way = distance(from, target);
    if (way < 1) return start;
    const Seconds duration =
        (0.17 + 0.13 * std::log2(way / std::max(size, 8.0) + 1)) * random.between(0.92, 1.15);
    const double bend = random.normal() * 0.045;
    if (way < 90 || random.unit() < 0.35) {
        add(target, start, duration, bend, random);
        return start + duration;
    }
    const double along = 1 + random.between(-0.035, 0.03);
    const double aside = random.normal() * 0.012;
    const Point first{from.x + (target.x - from.x) * along - (target.y - from.y) * aside,
                      from.y + (target.y - from.y) * along + (target.x - from.x) * aside};
    add(first, start, duration, bend, random);
    const Seconds again = start + duration + random.between(0.02, 0.07);
    const Seconds correction = random.between(0.12, 0.2);
    add(target, again, correction, 0, random);
    return again + correction;
}

Seconds PointerPath::glide(Point target, Seconds start, Seconds duration, Random& random) {
    add(target, start, duration, random.normal() * 0.02, random);
    return start + duration;
}

void PointerPath::add(Point target, Seconds start, Seconds duration, double bend, Random& random) {
    moves_.push_back({start, duration, end(), target, bend, random.between(0.3, 0.8),
                      random.between(0, 2 * std::numbers::pi)});
}

const PointerPath::Move* PointerPath::lastBefore(Seconds time) const {
    const auto next = std::ranges::upper_bound(moves_, time, {}, &Move::start);
    return next == moves_.begin() ? nullptr : &*(next - 1);
}

bool PointerPath::moves(Seconds time) const {
    const Move* move = lastBefore(time);
    return move && time < move->start + move->duration;
}

Point PointerPath::at(Seconds time) const {
    const Move* move = lastBefore(time);
    if (!move) return rest_;
    const double p = std::min((time - move->start) / move->duration, 1.0);
    if (p >= 1) return move->to;
    const double done = minimumJerk(p);
    const double dx = move->to.x - move->from.x;
    const double dy = move->to.y - move->from.y;
    const double arch = std::sin(std::numbers::pi * done) * move->bend;
    const double shake = std::sin(std::numbers::pi * p) * move->tremor;
    const double angle = 2 * std::numbers::pi * 9.0 * time + move->phase; // hands tremble at 8 to 12 Hz
    return {move->from.x + dx * done - dy * arch + shake * std::sin(angle),
            move->from.y + dy * done + dx * arch + shake * std::cos(angle * 1.13)};
}

EventSample observation(Seconds time, Point at, const AppLayout& layout, PixelSize pixels) {
    const double x = std::clamp(std::floor(at.x * layout.scale), 0.0, pixels.width - 1.0);
    const double y = std::clamp(std::floor(at.y * layout.scale), 0.0, pixels.height - 1.0);
    return {{time, (x + 0.5) / pixels.width, (y + 0.5) / pixels.height}};
}

std::vector<EventSample> observe(const PointerPath& path, const AppLayout& layout, PixelSize pixels,
                                 Seconds duration, Random random) {
    std::vector<EventSample> samples;
    const double step = 1 / kObservationsPerSecond;
    const auto add = [&](Seconds time) {
        samples.push_back(observation(time, path.at(time), layout, pixels));
    };
    for (int i = 0;; ++i) {
        const Seconds time = i * step - kLeadIn + random.between(0, step * 0.25);
        if (time > duration) break;
        add(time);
        const Seconds between = time + step * random.between(0.4, 0.6);
        if (between <= duration && path.moves(between)) add(between);
    }
    return samples;
}

} // namespace glintro::sample
