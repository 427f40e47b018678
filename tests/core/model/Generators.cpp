#include "tests/core/model/Generators.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include <rapidcheck.h>

namespace glintro::test {
namespace {

// Of every magnitude, subnormal numbers and -0 included.
rc::Gen<double> anyFinite() {
    const auto anyBits = rc::gen::map(rc::gen::arbitrary<std::uint64_t>(),
                                      [](std::uint64_t bits) { return std::bit_cast<double>(bits); });
    return rc::gen::oneOf(rc::gen::suchThat(anyBits, [](double number) { return std::isfinite(number); }),
                          rc::gen::arbitrary<double>(), rc::gen::element(0.0, -0.0, 5e-324, 1.7e308, 1e15));
}

// Unicode text: letters, a quotation mark, control characters and a character beyond the basic plane.
rc::Gen<std::string> anyText() {
    const auto piece =
        rc::gen::element<std::string>("a", "Z", " ", "\"", "\\", "/", "\n", "\x01", "é", "”", "🎬");
    return rc::gen::map(rc::gen::container<std::vector<std::string>>(piece), [](const auto& pieces) {
        std::string text;
        for (const auto& each : pieces) text += each;
        return text;
    });
}

template <class Enumeration>
rc::Gen<Enumeration> anyCase() {
    return rc::gen::elementOf(allCases<Enumeration>);
}

rc::Gen<ZoomSegment> anyZoom() {
    return rc::gen::exec([] {
        return ZoomSegment{Uuid::random(), *anyFinite(), *anyFinite(), *anyFinite()};
    });
}
rc::Gen<CutSegment> anyCut() {
    return rc::gen::exec([] { return CutSegment{Uuid::random(), *anyFinite(), *anyFinite()}; });
}
rc::Gen<SpeedSegment> anySpeed() {
    return rc::gen::exec([] {
        return SpeedSegment{Uuid::random(), *anyFinite(), *anyFinite(), *anyFinite()};
    });
}

template <class Element>
std::vector<Element> someOf(const rc::Gen<Element>& element) {
    return *rc::gen::container<std::vector<Element>>(element);
}

ProjectSettings anySettings() {
    ProjectSettings settings;
    settings.background = *anyCase<BackgroundKind>();
    settings.gradientIndex = *rc::gen::arbitrary<std::int64_t>();
    settings.solidHex = *anyText();
    for (double* number :
         {&settings.wallpaperBlur, &settings.padding, &settings.cornerRadius, &settings.shadow,
          &settings.cursorSize, &settings.cursorSmoothing, &settings.trimStart, &settings.camSize}) {
        *number = *anyFinite();
    }
    for (bool* flag :
         {&settings.showCursor, &settings.clickRipple, &settings.followCursor, &settings.showCamera}) {
        *flag = *rc::gen::arbitrary<bool>();
    }
    settings.aspect = *anyCase<AspectRatio>();
    if (*rc::gen::arbitrary<bool>()) settings.trimEnd = *anyFinite();
    settings.zooms = someOf(anyZoom());
    settings.cuts = someOf(anyCut());
    settings.speeds = someOf(anySpeed());
    settings.splits = someOf(anyFinite());
    settings.camCorner = *anyCase<CamCorner>();
    settings.camShape = *anyCase<CamShape>();
    return settings;
}

rc::Gen<EventSample> anySample() {
    return rc::gen::exec([] {
        EventSample sample;
        sample.count = *rc::gen::inRange<std::uint8_t>(0, 4);
        for (std::size_t i = 0; i < sample.count; ++i) sample.numbers[i] = *anyFinite();
        return sample;
    });
}

} // namespace

std::size_t anyIndex(std::size_t from, std::size_t to) {
    return *rc::gen::resize(rc::kNominalSize, rc::gen::inRange(from, to));
}

char anyByte() {
    return *rc::gen::arbitrary<char>();
}

ProjectInfo anyInfo() {
    ProjectInfo info;
    info.name = *anyText();
    info.created =
        Timestamp(std::chrono::seconds(*rc::gen::inRange<std::int64_t>(-62167219200, 253402300800)));
    for (double* number : {&info.duration, &info.width, &info.height, &info.cameraOffset})
        *number = *anyFinite();
    info.hasCamera = *rc::gen::arbitrary<bool>();
    info.hasAudio = *rc::gen::arbitrary<bool>();
    info.settings = anySettings();
    return info;
}

RecordingEvents anyEvents() {
    return {*rc::gen::arbitrary<std::int64_t>(), *anyFinite(), someOf(anySample()), someOf(anySample())};
}

} // namespace glintro::test
