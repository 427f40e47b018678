#include <algorithm>
#include <array>
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
    bool isShort() const { return end - start < 0.05; }
};
using Layer = std::vector<Stretch>;
enum Kind { zooms, cuts, speeds };

struct PlainShot {
    double start, end;
    std::array<const Stretch*, 3> by; // what covers it in each layer
};

// The editor in the plainest words: every step walks all of every list.
class PlainReel {
  public:
    bool apply(const std::vector<std::string>& words);
    std::string text() const;

  private:
    std::vector<PlainShot> shots() const;
    bool isSplit(double at) const;
    void replace(Kind kind, const PlainShot& over, std::optional<double> value);
    void tidy();
    bool split(double at);
    bool join(std::size_t number);
    bool move(double from, double to);
    bool trim(double start, double end);

    std::array<Layer, 3> layers_;
    std::vector<double> splits_;
    double trimStart_ = 0;
    double trimEnd_ = kDuration;
};

// The largest zoom, the first of cuts and speed-ups.
const Stretch* covering(const Layer& layer, double time, bool largest) {
    const Stretch* found = nullptr;
    for (const Stretch& each : layer) {
        const bool covers = each.start < time && time < each.end;
        if (covers && (!found || (largest && each.value > found->value))) found = &each;
    }
    return found;
}

std::vector<PlainShot> PlainReel::shots() const {
    std::vector<double> times = splits_;
    for (const Layer& layer : layers_)
        for (const Stretch& each : layer) times.insert(times.end(), {each.start, each.end});
    std::ranges::sort(times);
    std::vector<double> edges{trimStart_};
    for (const double time : times) {
        const bool isInside = trimStart_ + 0.05 < time && time < trimEnd_ - 0.05;
        if (isInside && time - edges.back() >= 0.05) edges.push_back(time);
    }
    edges.push_back(trimEnd_);
    std::vector<PlainShot> row;
    for (std::size_t i = 0; i + 1 < edges.size(); ++i) {
        PlainShot next{edges[i], edges[i + 1], {}};
        for (const Kind kind : {zooms, cuts, speeds})
            next.by[kind] = covering(layers_[kind], (next.start + next.end) * 0.5, kind == zooms);
        if (!row.empty() && row.back().by == next.by && !isSplit(next.start))
            row.back().end = next.end;
        else
            row.push_back(next);
    }
    return row;
}

bool PlainReel::isSplit(double at) const {
    return std::ranges::any_of(splits_, [at](double split) { return isNear(split, at); });
}

void PlainReel::replace(Kind kind, const PlainShot& over, std::optional<double> value) {
    Layer rest;
    for (const Stretch& each : layers_[kind]) {
        const bool apart = each.end <= over.start + 0.05 || each.start >= over.end - 0.05;
        if (apart) rest.push_back(each);
        if (!apart && each.start < over.start - 0.05) rest.push_back({each.start, over.start, each.value});
        if (!apart && each.end > over.end + 0.05) rest.push_back({over.end, each.end, each.value});
    }
    if (value) rest.push_back({over.start, over.end, *value});
    layers_[kind] = rest;
}

void PlainReel::tidy() {
    for (Layer& layer : layers_) {
        std::ranges::stable_sort(layer, {}, &Stretch::start);
        std::erase_if(layer, &Stretch::isShort);
        Layer merged;
        for (const Stretch& each : layer) {
            const bool merges = !merged.empty() && isNear(merged.back().end, each.start)
                                && std::abs(merged.back().value - each.value) < 0.001 && !isSplit(each.start);
            if (merges)
                merged.back().end = std::max(merged.back().end, each.end);
            else
                merged.push_back(each);
        }
        layer = merged;
    }
}

bool PlainReel::split(double at) {
    const auto row = shots();
    const auto holds = [at](const PlainShot& shot) { return at - shot.start >= 0.3 && shot.end - at >= 0.3; };
    if (std::ranges::none_of(row, holds)) return false;
    for (Layer& layer : layers_) {
        Layer parts;
        for (const Stretch& each : layer) {
            const bool parted = each.start + 0.05 < at && each.end - 0.05 > at;
            parts.push_back({each.start, parted ? at : each.end, each.value});
            if (parted) parts.push_back({at, each.end, each.value});
        }
        std::ranges::stable_sort(parts, {}, &Stretch::start);
        layer = parts;
    }
    splits_.push_back(at);
    std::ranges::sort(splits_);
    return true;
}

bool PlainReel::join(std::size_t number) {
    const auto row = shots();
    if (number >= row.size()) return false;
    const PlainShot first = row[number - 1];
    if (isSplit(first.end)) {
        std::erase_if(splits_, [&](double split) { return isNear(split, first.end); });
    } else {
        std::array<std::optional<double>, 3> values;
        for (const Kind kind : {zooms, cuts, speeds})
            if (first.by[kind]) values[kind] = first.by[kind]->value;
        for (const Kind kind : {zooms, cuts, speeds})
            replace(kind, {first.start, row[number].end, {}}, values[kind]);
    }
    tidy();
    return true;
}

bool PlainReel::move(double from, double to) {
    const auto row = shots();
    std::vector<double> edges{row.front().start};
    for (const PlainShot& shot : row) edges.push_back(shot.end);
    const auto found = std::ranges::find_if(edges, [from](double edge) { return isNear(edge, from); });
    if (found == edges.end()) return false;
    const double old = *found;
    const double low = found == edges.begin() ? 0 : found[-1] + 0.3;
    const double high = found + 1 == edges.end() ? kDuration : found[1] - 0.3;
    if (low > high || (low == high && low == old)) return false;
    const double moved = std::min(std::max(low, to), high);
    for (Layer& layer : layers_) {
        for (Stretch& each : layer) {
            if (isNear(each.start, old)) each.start = moved;
            if (isNear(each.end, old)) each.end = moved;
        }
        std::erase_if(layer, &Stretch::isShort);
        std::ranges::stable_sort(layer, {}, &Stretch::start);
    }
    for (double& split : splits_)
        if (isNear(split, old)) split = moved;
    std::ranges::sort(splits_);
    splits_.erase(std::unique(splits_.begin(), splits_.end()), splits_.end());
    if (found == edges.begin()) trimStart_ = moved;
    if (found + 1 == edges.end()) trimEnd_ = moved >= kDuration - 0.01 ? kDuration : moved;
    return true;
}

bool PlainReel::trim(double start, double end) {
    const double kept = end >= kDuration - 0.01 ? kDuration : end;
    if (end > kDuration + 0.01 || kept - start < 0.3) return false;
    trimStart_ = start;
    trimEnd_ = kept;
    return true;
}

bool PlainReel::apply(const std::vector<std::string>& words) {
    const auto number = [&](std::size_t i) { return std::stod(words[i]); };
    const std::string& verb = words[0];
    if (verb == "split") return split(number(1));
    if (verb == "move") return move(number(1), number(2));
    if (verb == "trim") return trim(number(1), number(2));
    if (verb == "untrim") return trim(0, kDuration);
    const auto row = shots();
    const auto shotNumber = static_cast<std::size_t>(number(1));
    if (shotNumber > row.size()) return false;
    if (verb == "join") return join(shotNumber);
    const PlainShot shot = row[shotNumber - 1];
    const double value = words.size() > 2 ? number(2) : 0;
    if (verb == "zoom") {
        if (shot.by[cuts]) return false;
        const Stretch* own = shot.by[zooms];
        if (value > 1.01 && own && isNear(own->start, shot.start) && isNear(own->end, shot.end)) {
            const_cast<Stretch*>(own)->value = value;
            return true;
        }
        replace(zooms, shot, value > 1.01 ? std::optional(value) : std::nullopt);
    }
    if (verb == "speed") replace(speeds, shot, value != 1 ? std::optional(value) : std::nullopt);
    if (verb == "cut" && !shot.by[cuts]) replace(cuts, shot, 0);
    if (verb == "restore" && shot.by[cuts]) replace(cuts, shot, {});
    if (verb == "zoom" || verb == "speed" || (verb == "cut") != (shot.by[cuts] != nullptr)) tidy();
    return true;
}

std::string listsText(const auto& zoomList, const auto& cutList, const auto& speedList,
                      const std::vector<double>& splits, double trimStart, double trimEnd) {
    std::string text;
    const auto add = [&text](const auto& stretches) {
        for (const auto& each : stretches) text += fmt::format(" {}-{}", each.start, each.end);
        text += " |";
    };
    add(zoomList);
    add(cutList);
    add(speedList);
    return text + fmt::format(" {} {} {}", fmt::join(splits, " "), trimStart, trimEnd);
}

// The row of shots, then the lists.
std::string PlainReel::text() const {
    std::string row;
    for (const PlainShot& shot : shots()) {
        const char kind = shot.by[cuts] ? 'c' : shot.by[zooms] ? 'z' : 'w';
        row += fmt::format("{}{}{}-{}", row.empty() ? "" : " ", kind, shot.start, shot.end);
        if (shot.by[zooms]) row += fmt::format("x{}", shot.by[zooms]->value);
        if (shot.by[speeds]) row += fmt::format("@{}", shot.by[speeds]->value);
    }
    return row + listsText(layers_[zooms], layers_[cuts], layers_[speeds], splits_, trimStart_, trimEnd_);
}

std::string textOf(const ProjectInfo& info) {
    const ProjectSettings& settings = info.settings;
    return test::rowOf(info)
           + listsText(settings.zooms, settings.cuts, settings.speeds, settings.splits, settings.trimStart,
                       settings.trimEnd.value_or(kDuration));
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
        RC_ASSERT(std::ranges::is_sorted(info.settings.cuts, {}, &CutSegment::start));
        RC_ASSERT(std::ranges::is_sorted(info.settings.speeds, {}, &SpeedSegment::start));
        RC_ASSERT(std::ranges::is_sorted(info.settings.splits, std::less_equal()));
    }
    // The same operations as one script.
    RC_ASSERT(textOf(EditScript::parse(all)->apply(before, {})->info) == textOf(info));
}

} // namespace
} // namespace glintro
