#include <algorithm>
#include <cmath>
#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "core/edit/EditScript.h"
#include "tests/core/edit/Rows.h"
#include "tests/core/timeline/Generators.h"

namespace glintro {
namespace {

constexpr double kDuration = 20;

bool isNear(double a, double b) {
    return std::abs(a - b) < 0.05;
}

// A zoom, a cut or a speed-up; `value` is its scale or rate.
struct Stretch {
    double start, end, value;
};
using Layer = std::vector<Stretch>;

struct Stretches {
    double start, end;
    const Stretch *zoom, *cut, *speed;
};

// The editor in the plainest words: every step walks all of every list.
class PlainReel {
  public:
    bool apply(const std::vector<std::string>& words);
    std::string text() const;

  private:
    std::vector<Stretches> shots() const;
    bool isSplit(double at) const;
    void clear(Layer& layer, double start, double end);
    void put(Layer& layer, const Stretches& over, double value);
    void tidy();
    bool split(double at);
    bool join(std::size_t number);
    bool move(double from, double to);
    bool trim(double start, double end);

    Layer zooms_, cuts_, speeds_;
    std::vector<double> splits_;
    double trimStart_ = 0;
    std::optional<double> trimEnd_;
};

enum class Wins { first, largest };

const Stretch* covering(const Layer& layer, double time, Wins wins) {
    const Stretch* found = nullptr;
    for (const Stretch& each : layer) {
        const bool covers = each.start < time && time < each.end;
        if (covers && (!found || (wins == Wins::largest && each.value > found->value))) found = &each;
    }
    return found;
}

std::vector<Stretches> PlainReel::shots() const {
    const double low = std::clamp(trimStart_, 0.0, kDuration);
    const double high = std::clamp(trimEnd_.value_or(kDuration), low, kDuration);
    std::vector<double> times = splits_;
    for (const Layer* layer : {&zooms_, &cuts_, &speeds_})
        for (const Stretch& each : *layer) times.insert(times.end(), {each.start, each.end});
    std::ranges::sort(times);
    std::vector<double> edges{low};
    for (const double time : times)
        if (low + 0.05 < time && time < high - 0.05 && time - edges.back() >= 0.05) edges.push_back(time);
    edges.push_back(high);
    std::vector<Stretches> row;
    for (std::size_t i = 0; i + 1 < edges.size(); ++i) {
        const double middle = (edges[i] + edges[i + 1]) * 0.5;
        const Stretches next{edges[i], edges[i + 1], covering(zooms_, middle, Wins::largest),
                             covering(cuts_, middle, Wins::first), covering(speeds_, middle, Wins::first)};
        const bool goesOn = !row.empty() && row.back().zoom == next.zoom && row.back().cut == next.cut
                            && row.back().speed == next.speed && !isSplit(next.start);
        if (goesOn)
            row.back().end = next.end;
        else
            row.push_back(next);
    }
    return row;
}

bool PlainReel::isSplit(double at) const {
    return std::ranges::any_of(splits_, [at](double split) { return isNear(split, at); });
}

void PlainReel::clear(Layer& layer, double start, double end) {
    Layer rest;
    for (const Stretch& each : layer) {
        const bool apart = each.end <= start + 0.05 || each.start >= end - 0.05;
        if (apart) rest.push_back(each);
        if (!apart && each.start < start - 0.05) rest.push_back({each.start, start, each.value});
        if (!apart && each.end > end + 0.05) rest.push_back({end, each.end, each.value});
    }
    layer = rest;
}

void PlainReel::put(Layer& layer, const Stretches& over, double value) {
    layer.push_back({over.start, over.end, value});
}

void PlainReel::tidy() {
    for (Layer* layer : {&zooms_, &cuts_, &speeds_}) {
        std::ranges::stable_sort(*layer, {}, &Stretch::start);
        std::erase_if(*layer, [](const Stretch& each) { return each.end - each.start < 0.05; });
        for (std::size_t i = 1; i < layer->size();) {
            Stretch& left = (*layer)[i - 1];
            const Stretch& right = (*layer)[i];
            const bool merges = isNear(left.end, right.start) && std::abs(left.value - right.value) < 0.001
                                && !isSplit(right.start);
            if (merges) left.end = std::max(left.end, right.end);
            if (merges)
                layer->erase(layer->begin() + static_cast<std::ptrdiff_t>(i));
            else
                ++i;
        }
    }
}

bool PlainReel::split(double at) {
    for (const Stretches& shot : shots()) {
        if (at < shot.start || at >= shot.end) continue;
        if (at - shot.start < 0.3 || shot.end - at < 0.3) return false;
        for (Layer* layer : {&zooms_, &cuts_, &speeds_}) {
            Layer parts;
            for (const Stretch& each : *layer) {
                const bool parted = each.start + 0.05 < at && each.end - 0.05 > at;
                parts.push_back({each.start, parted ? at : each.end, each.value});
                if (parted) parts.push_back({at, each.end, each.value});
            }
            *layer = parts;
        }
        splits_.push_back(at);
        std::ranges::sort(splits_);
        return true;
    }
    return false;
}

bool PlainReel::join(std::size_t number) {
    const auto row = shots();
    if (number >= row.size()) return false;
    const Stretches first = row[number - 1];
    const Stretches both{first.start, row[number].end, nullptr, nullptr, nullptr};
    const double scale = first.zoom ? first.zoom->value : 1;
    const double rate = first.speed ? first.speed->value : 1;
    const bool isCut = first.cut != nullptr;
    if (isSplit(first.end)) {
        std::erase_if(splits_, [&](double split) { return isNear(split, first.end); });
    } else {
        for (Layer* layer : {&zooms_, &cuts_, &speeds_}) clear(*layer, both.start, both.end);
        if (scale > 1.01) put(zooms_, both, scale);
        if (std::abs(rate - 1) > 0.001) put(speeds_, both, rate);
        if (isCut) put(cuts_, both, 0);
    }
    tidy();
    return true;
}

bool PlainReel::move(double from, double to) {
    const auto row = shots();
    std::vector<double> edges;
    for (const Stretches& shot : row) edges.push_back(shot.start);
    if (!row.empty()) edges.push_back(row.back().end);
    for (std::size_t i = 0; i < edges.size(); ++i) {
        if (!isNear(edges[i], from)) continue;
        const bool isLast = i + 1 == edges.size();
        const double low = i == 0 ? 0 : edges[i - 1] + 0.3;
        const double high = isLast ? kDuration : edges[i + 1] - 0.3;
        if (low > high || (low == high && low == edges[i])) return false;
        const double moved = std::min(std::max(low, to), high);
        for (Layer* layer : {&zooms_, &cuts_, &speeds_}) {
            for (Stretch& each : *layer) {
                if (isNear(each.start, edges[i])) each.start = moved;
                if (isNear(each.end, edges[i])) each.end = moved;
            }
            std::erase_if(*layer, [](const Stretch& each) { return each.end - each.start < 0.05; });
            std::ranges::stable_sort(*layer, {}, &Stretch::start);
        }
        for (double& split : splits_)
            if (isNear(split, edges[i])) split = moved;
        std::ranges::sort(splits_);
        splits_.erase(std::unique(splits_.begin(), splits_.end()), splits_.end());
        if (i == 0) trimStart_ = moved;
        if (isLast) trimEnd_ = moved >= kDuration - 0.01 ? std::nullopt : std::optional(moved);
        return true;
    }
    return false;
}

bool PlainReel::trim(double start, double end) {
    const bool toTheEnd = end >= kDuration - 0.01;
    if (end > kDuration + 0.01 || (toTheEnd ? kDuration : end) - start < 0.3) return false;
    trimStart_ = start;
    trimEnd_ = toTheEnd ? std::nullopt : std::optional(end);
    return true;
}

bool PlainReel::apply(const std::vector<std::string>& words) {
    const auto number = [&](std::size_t i) { return std::stod(words[i]); };
    const std::string& verb = words[0];
    if (verb == "split") return split(number(1));
    if (verb == "move") return move(number(1), number(2));
    if (verb == "trim") return trim(number(1), number(2));
    if (verb == "untrim") {
        trimStart_ = 0;
        trimEnd_.reset();
        return true;
    }
    const auto row = shots();
    const auto shotNumber = static_cast<std::size_t>(number(1));
    if (shotNumber > row.size()) return false;
    const Stretches shot = row[shotNumber - 1];
    const double value = words.size() > 2 ? number(2) : 0;
    if (verb == "join") return join(shotNumber);
    if (verb == "zoom" && shot.cut) return false;
    if ((verb == "cut" && shot.cut) || (verb == "restore" && !shot.cut)) return true;
    const bool hasOwnZoom =
        shot.zoom && isNear(shot.zoom->start, shot.start) && isNear(shot.zoom->end, shot.end);
    if (verb == "zoom" && value > 1.01 && hasOwnZoom) {
        const_cast<Stretch*>(shot.zoom)->value = value;
        return true;
    }
    Layer& layer = verb == "zoom" ? zooms_ : verb == "speed" ? speeds_ : cuts_;
    clear(layer, shot.start, shot.end);
    const bool puts =
        verb == "cut" || (verb == "zoom" && value > 1.01) || (verb == "speed" && std::abs(value - 1) > 0.001);
    if (puts) put(layer, shot, value);
    tidy();
    return true;
}

template <class Segments>
std::string rangesOf(const Segments& segments) {
    std::string text;
    for (const auto& each : segments) text += fmt::format(" {}-{}", each.start, each.end);
    return text;
}

// The row of shots, then the lists.
std::string PlainReel::text() const {
    std::string row;
    for (const Stretches& shot : shots()) {
        const char kind = shot.cut ? 'c' : shot.zoom ? 'z' : 'w';
        row += fmt::format("{}{}{}-{}", row.empty() ? "" : " ", kind, shot.start, shot.end);
        if (shot.zoom) row += fmt::format("x{}", shot.zoom->value);
        if (shot.speed) row += fmt::format("@{}", shot.speed->value);
    }
    return row + " |" + rangesOf(zooms_) + " |" + rangesOf(cuts_) + " |" + rangesOf(speeds_)
           + fmt::format(" | {} {} {}", fmt::join(splits_, " "), trimStart_, trimEnd_.value_or(-1));
}

std::string textOf(const ProjectInfo& info) {
    const ProjectSettings& settings = info.settings;
    return test::rowOf(info) + " |" + rangesOf(settings.zooms) + " |" + rangesOf(settings.cuts) + " |"
           + rangesOf(settings.speeds)
           + fmt::format(" | {} {} {}", fmt::join(settings.splits, " "), settings.trimStart,
                         settings.trimEnd.value_or(-1));
}

using testing::anyIndex;
using testing::anyStep;

// Mostly something that the reel at hand can do.
std::vector<std::string> anyOperation(const ProjectInfo& info) {
    const auto row = Storyboard::shots(info.settings, info.duration);
    const auto edges = Storyboard::boundaries(row);
    const auto time = [] { return fmt::format("{}", anyStep(0, 165, 0.125)); };
    const auto shot = [&] { return fmt::format("{}", 1 + anyIndex(static_cast<int>(row.size()) + 1)); };
    const char* const factors[] = {"1", "1.01", "2", "2.0005", "3"};
    const auto factor = [&] { return std::string(factors[anyIndex(5)]); };
    switch (anyIndex(11)) {
        case 0:
            return {"cut", shot()};
        case 1:
            return {"restore", shot()};
        case 2:
            return {"speed", shot(), factor()};
        case 3:
        case 4:
            return {"zoom", shot(), factor()};
        case 5:
            return {"join", shot()};
        case 6:
            return {"trim", "1.5", time()};
        case 7:
            return {"untrim"};
        case 8:
            if (!edges.empty())
                return {"move", fmt::format("{}", edges[anyIndex(static_cast<int>(edges.size()))]), time()};
            [[fallthrough]];
        default:
            return {"split", time()};
    }
}

RC_GTEST_PROP(RandomScripts, AgreeWithAPlainReel, ()) {
    ProjectInfo info{.name = "Reel", .duration = kDuration};
    PlainReel plain;
    std::vector<std::string> all;
    const ProjectInfo before = info;
    for (int i = 0; i < 30; ++i) {
        const auto words = anyOperation(info);
        RC_LOG() << fmt::format("{}\n", fmt::join(words, " "));
        const auto script = EditScript::parse(words);
        if (!script) continue; // a trim that no reel could follow
        const auto edited = script->apply(info, {});
        RC_ASSERT(edited.has_value() == plain.apply(words));
        if (!edited) continue;
        info = edited->info;
        all.insert(all.end(), words.begin(), words.end());
        RC_ASSERT(textOf(info) == plain.text());
        RC_ASSERT(decodeProjectInfo(encodeProjectInfo(info).value()).value() == info);
        RC_ASSERT(std::ranges::is_sorted(info.settings.zooms, {}, &ZoomSegment::start));
        RC_ASSERT(std::ranges::is_sorted(info.settings.splits));
    }
    // The same operations as one script.
    RC_ASSERT(textOf(EditScript::parse(all)->apply(before, {})->info) == textOf(info));
}

} // namespace
} // namespace glintro
