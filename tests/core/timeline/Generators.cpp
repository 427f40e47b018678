#include "tests/core/timeline/Generators.h"

#include <limits>

#include <rapidcheck.h>

namespace glintro::testing {
namespace {

// RapidCheck narrows ranges for the small sizes that short lists are made with; times use their whole grid.
rc::Gen<double> gridTime(int from, int to, double step) {
    const auto index = rc::gen::resize(rc::kNominalSize, rc::gen::inRange(from, to));
    return rc::gen::map(index, [step](int steps) { return steps * step; });
}

rc::Gen<Seconds> time(Temper temper) {
    const auto tame = rc::gen::oneOf(gridTime(0, 400, 0.05), gridTime(0, 2000, 0.01), gridTime(0, 100, 0.2));
    if (temper == Temper::tame) return tame;
    const auto huge = std::numeric_limits<double>::max();
    return rc::gen::weightedOneOf<Seconds>({{8, tame},
                                            {2, gridTime(-400, 4800, 0.005)},
                                            {1, rc::gen::arbitrary<double>()},
                                            {1, rc::gen::element(1e17, -1e17, 1e300, -1e300, huge, -huge)}});
}

// One of few, so that equal ids, scales and rates happen.
rc::Gen<Uuid> id(Temper temper) {
    if (temper == Temper::tame) return rc::gen::exec([] { return Uuid::random(); });
    return rc::gen::map(rc::gen::inRange(0, 40),
                        [](int number) { return Uuid{{static_cast<std::uint8_t>(number)}}; });
}

rc::Gen<double> factor(Temper temper) {
    if (temper == Temper::tame) return rc::gen::element(0.5, 1.5, 2.0, 2.0005, 4.0);
    return rc::gen::element(2.0, 2.0005, 2.5, 1.0, 0.1, 0.0, -3.0, 1e300);
}

template <TimeSegment Segment>
rc::Gen<Segment> segment(Temper temper) {
    return rc::gen::exec([temper] {
        Segment segment;
        segment.id = *id(temper);
        segment.start = *time(temper);
        segment.end = temper == Temper::tame ? segment.start + *gridTime(1, 100, 0.05) : *time(temper);
        if constexpr (requires { segment.scale; }) segment.scale = *factor(temper);
        if constexpr (requires { segment.rate; }) segment.rate = *factor(temper);
        return segment;
    });
}

// A list whose length does not hang on RapidCheck's growing size: few are as telling as many.
template <class T>
rc::Gen<std::vector<T>> list(const rc::Gen<T>& element) {
    return rc::gen::mapcat(rc::gen::element(0, 1, 2, 5, 40), [element](int most) {
        return rc::gen::resize(most, rc::gen::container<std::vector<T>>(element));
    });
}

rc::Gen<ProjectSettings> settings(Temper temper) {
    return rc::gen::exec([temper] {
        ProjectSettings settings;
        settings.zooms = *list(segment<ZoomSegment>(temper));
        settings.cuts = *list(segment<CutSegment>(temper));
        settings.speeds = *list(segment<SpeedSegment>(temper));
        settings.splits = *list(time(temper));
        if (*rc::gen::element(0, 1, 2) == 0) settings.trimStart = *time(temper);
        if (*rc::gen::element(0, 1, 2) == 0) settings.trimEnd = *time(temper);
        return settings;
    });
}

rc::Gen<Seconds> recordingDuration() {
    return rc::gen::weightedElement<Seconds>(
        {{8, 20.0}, {2, 12.345}, {1, 0.0}, {1, 0.02}, {1, 0.11}, {1, 1e17}});
}

} // namespace

int anyIndex(int count) {
    return *rc::gen::resize(rc::kNominalSize, rc::gen::inRange(0, count));
}

double anyStep(int from, int to, double step) {
    return *gridTime(from, to, step);
}

Seconds anyTime(Temper temper) {
    return *time(temper);
}

std::vector<Seconds> anyTimes(Temper temper) {
    return *list(time(temper));
}

double anyFactor(Temper temper) {
    return *factor(temper);
}

ProjectSettings anySettings(Temper temper) {
    return *settings(temper);
}

Seconds anyRecordingDuration() {
    return *recordingDuration();
}

} // namespace glintro::testing
