#pragma once

#include <array>
#include <string>
#include <vector>

#include "sample/AppState.h"

namespace glintro::sample {

// Everything that decides one picture of the application, evaluated at a time: equal frames look alike.
struct AppFrame {
    enum class Posture { resting, lifted, gap }; // a gap stays where the lifted card was
    struct Card {
        int task = 0;
        Rect area;
        double opacity = 1;
        bool selected = false;
        Posture posture = Posture::resting;
        bool operator==(const Card&) const = default;
    };
    struct Heading { // sidebar and both headers
        std::string search;
        int filter = 0;
        Part focus = Part::none;
        bool caret = false;
        int minute = 0;
        bool operator==(const Heading&) const = default;
    };
    struct Dialog {
        std::string title;
        Priority priority = Priority::medium;
        int person = 0;
        bool focused = false;
        bool caret = false;
        bool operator==(const Dialog&) const = default;
    };

    Heading heading;
    Target hover;
    Rect hoverArea;
    Target pressed;
    Rect pressedArea;
    std::vector<Card> cards; // the lifted one last
    std::array<int, kColumnCount> counts{};
    int dropColumn = -1; // under the lifted card
    double menuShows = 0;
    double dialogShows = 0;
    Dialog dialog;
    std::string toast;
    double toastShows = 0;
    bool operator==(const AppFrame&) const = default;

    // What `state` looks like at `time` with the pointer at `pointer` (points).
    static AppFrame evaluate(const AppState& state, Seconds time, Point pointer);
};

// The areas (points) in which the two may look different.
std::vector<Rect> damage(const AppFrame& before, const AppFrame& after, const AppLayout& layout);

} // namespace glintro::sample
