#include "core/edit/EditScript.h"

#include <algorithm>
#include <cmath>
#include <expected>
#include <limits>
#include <utility>

#include <fmt/format.h>

#include "core/model/TimeFormat.h"
#include "core/timeline/AutoZoom.h"
#include "core/timeline/Storyboard.h"

namespace glintro {
namespace {

using namespace operation;

constexpr Seconds kRounding = 1e-9; // of a difference of times as they were typed
constexpr Seconds kAtTheEnd = 0.01; // a trim this near the recording's end is none
constexpr double kInfinity = std::numeric_limits<double>::infinity();

// Does one operation after the other. Each answers what it did, in one line of text, or why this reel
// refuses it: what stands behind "can’t be done: ".
class Editing {
  public:
    using Outcome = std::expected<std::string, std::string>;

    Editing(ProjectInfo& info, const EditInputs& inputs) : info_(info), inputs_(inputs) {}

    Outcome operator()(const Split& split);
    Outcome operator()(const Cut& cut);
    Outcome operator()(const Restore& restore);
    Outcome operator()(const SetSpeed& speed);
    Outcome operator()(const SetZoom& zoom);
    Outcome operator()(const Join& join);
    Outcome operator()(const MoveEdge& move);
    Outcome operator()(const Trim& trim);
    Outcome operator()(const RemoveTrims&);
    Outcome operator()(const ApplyLook& look);
    Outcome operator()(const RebuildZooms& zooms);
    Outcome operator()(const SetField& set);
    Outcome operator()(const Rename& rename);

  private:
    ProjectSettings& settings() { return info_.settings; }
    std::vector<Shot> shots() const { return Storyboard::shots(info_.settings, info_.duration); }
    std::expected<Shot, std::string> shot(std::int64_t number) const;
    bool canMove(Seconds from, Seconds edge) const;

    ProjectInfo& info_;
    const EditInputs& inputs_;
};

// As it would be typed.
double milliseconds(Seconds time) {
    return std::round(time * 1000) / 1000;
}

std::unexpected<std::string> refused(std::string why) {
    return std::unexpected(std::move(why));
}

std::expected<Shot, std::string> Editing::shot(std::int64_t number) const {
    const std::vector<Shot> row = shots();
    if (row.empty()) return refused("the reel has no shots");
    if (number > std::ssize(row)) return refused(fmt::format("the last shot is shot {}", row.size()));
    return row[static_cast<std::size_t>(number - 1)];
}

Editing::Outcome Editing::operator()(const Split& split) {
    const std::vector<Shot> row = shots();
    if (!Storyboard::shot(split.at, row)) return refused("no shot shows that time");
    if (!Storyboard::split(settings(), split.at, info_.duration))
        return refused(
            fmt::format("that is less than {} s from the edge of a shot", Storyboard::kShortestShot));
    return fmt::format("Split at {} s", milliseconds(split.at));
}

Editing::Outcome Editing::operator()(const Cut& cut) {
    const auto target = shot(cut.shot);
    if (!target) return std::unexpected(target.error());
    if (target->kind != Shot::Kind::cut) Storyboard::cut(settings(), *target);
    return fmt::format("Shot {} cut · {} shorter", cut.shot, shortDuration(target->end - target->start));
}

Editing::Outcome Editing::operator()(const Restore& restore) {
    const auto target = shot(restore.shot);
    if (!target) return std::unexpected(target.error());
    if (target->kind == Shot::Kind::cut) Storyboard::restore(settings(), *target);
    return fmt::format("Shot {} restored", restore.shot);
}

Editing::Outcome Editing::operator()(const SetSpeed& speed) {
    const auto target = shot(speed.shot);
    if (!target) return std::unexpected(target.error());
    Storyboard::setSpeed(settings(), *target, speed.rate);
    return fmt::format("Shot {} at {:g}×", speed.shot, speed.rate);
}

Editing::Outcome Editing::operator()(const SetZoom& zoom) {
    const auto target = shot(zoom.shot);
    if (!target) return std::unexpected(target.error());
    if (target->kind == Shot::Kind::cut) return refused(fmt::format("shot {} is cut", zoom.shot));
    Storyboard::setZoom(settings(), *target, zoom.scale);
    return fmt::format("Shot {} zoomed by {:g}", zoom.shot, zoom.scale);
}

Editing::Outcome Editing::operator()(const Join& join) {
    const auto target = shot(join.shot);
    if (!target) return std::unexpected(target.error());
    if (!Storyboard::joinWithNext(settings(), *target, info_.duration))
        return refused(fmt::format("shot {} is the last one", join.shot));
    return fmt::format("Shot {} joined with the next", join.shot);
}

Editing::Outcome Editing::operator()(const MoveEdge& move) {
    const std::vector<Seconds> edges = Storyboard::boundaries(shots());
    const auto edge = std::ranges::find_if(
        edges, [&](Seconds each) { return std::abs(each - move.from) < Storyboard::kSameMoment; });
    if (edge == edges.end())
        return refused(fmt::format("no edge is within {} s of {}", Storyboard::kSameMoment, move.from));
    if (!canMove(move.from, *edge)) return refused("the edges beside it are too close");
    const Seconds moved = Storyboard::moveBoundary(settings(), move.from, move.to, info_.duration);
    return fmt::format("Edge moved from {} to {} s", milliseconds(*edge), milliseconds(moved));
}

// Neither to the left nor to the right is there room for an edge without any. It is tried by the time that
// was given: another edge may be as near to this one.
bool Editing::canMove(Seconds from, Seconds edge) const {
    const auto reaches = [&](Seconds to) {
        ProjectSettings tried = info_.settings;
        return Storyboard::moveBoundary(tried, from, to, info_.duration);
    };
    const Seconds left = reaches(-kInfinity);
    return reaches(kInfinity) != left || (left != from && left != edge);
}

Editing::Outcome Editing::operator()(const Trim& trim) {
    const Seconds duration = info_.duration;
    if (trim.start > duration || trim.end > duration + kAtTheEnd)
        return refused(fmt::format("the recording ends at {} s", duration));
    const bool toTheEnd = trim.end >= duration - kAtTheEnd;
    if ((toTheEnd ? duration : trim.end) - trim.start < Storyboard::kShortestShot - kRounding)
        return refused(fmt::format("less than {} s would be left", Storyboard::kShortestShot));
    settings().trimStart = trim.start;
    settings().trimEnd = toTheEnd ? std::nullopt : std::optional(trim.end);
    return fmt::format("Trimmed to {}–{} s", milliseconds(trim.start),
                       milliseconds(toTheEnd ? duration : trim.end));
}

Editing::Outcome Editing::operator()(const RemoveTrims&) {
    settings().trimStart = 0;
    settings().trimEnd.reset();
    return "Trims removed";
}

Editing::Outcome Editing::operator()(const ApplyLook& look) {
    look.look.apply(settings());
    return fmt::format("Look {}", look.look.name);
}

Editing::Outcome Editing::operator()(const RebuildZooms& zooms) {
    auto made = AutoZoom::segments(inputs_.clicks, info_.duration, zooms.level.value_or(inputs_.defaultZoom));
    AutoZoom::keepIdentities(made, settings().zooms);
    settings().zooms = std::move(made);
    const std::size_t count = settings().zooms.size();
    return fmt::format("{} automatic zoom{}", count, count == 1 ? "" : "s");
}

Editing::Outcome Editing::operator()(const SetField& set) {
    set.field->assign(set.value, settings());
    return fmt::format("{} set", set.field->key);
}

Editing::Outcome Editing::operator()(const Rename& rename) {
    info_.name = rename.name;
    return fmt::format("Renamed to “{}”", rename.name);
}

} // namespace

bool EditScript::needsClicks() const {
    return std::ranges::any_of(
        steps_, [](const Step& step) { return std::holds_alternative<RebuildZooms>(step.operation); });
}

Result<EditedReel> EditScript::apply(const ProjectInfo& to, const EditInputs& inputs) const {
    EditedReel reel{.info = to};
    for (const Step& step : steps_) {
        const ProjectInfo before = reel.info;
        auto line = std::visit(Editing(reel.info, inputs), step.operation);
        if (!line) return failure(fmt::format("“{}” can’t be done: {}.", step.words, line.error()));
        if (reel.info != before) reel.done.push_back(std::move(*line));
    }
    return reel;
}

} // namespace glintro
