#include "app/editor/ShotActions.h"

#include <QPointer>
#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>

#include <fmt/format.h>

#include "app/base/Text.h"
#include "app/editor/ReelNotices.h"
#include "core/model/TimeFormat.h"
#include "core/timeline/AutoZoom.h"
#include "core/timeline/Storyboard.h"

namespace glintro {
namespace {

Toast withUndo(Toast toast, ReelEdits& edits) {
    toast.action = "Undo";
    toast.run = [edits = QPointer(&edits), isDone = std::make_shared<bool>(false)] {
        if (!std::exchange(*isDone, true) && edits) edits->undo();
    };
    return toast;
}

double nextRate(double rate) {
    const double r = rate + 0.01;
    if (r >= 1 && r < 2) return 2;
    if (r >= 2 && r < 4) return 4;
    return r >= 4 && r < 8 ? 8 : 1;
}

} // namespace

ShotActions::ShotActions(ReelEdits& edits, ShotSelection& selection, Playback& playback,
                         const Preferences& preferences, QObject* parent)
    : QObject(parent), edits_(edits), selection_(selection), playback_(playback), preferences_(preferences) {}

// In a gesture the shots are those that it began with.
std::optional<Shot> ShotActions::shotOf(int number) const {
    const std::vector<Shot>& shots = edits_.shotsToEdit();
    const Shot* shot = nullptr;
    if (number == 0) {
        if (const auto time = selection_.time()) shot = Storyboard::shot(*time, shots);
        if (!shot) shot = Storyboard::shot(playback_.clock()->time(), shots);
    } else if (number > 0 && number <= static_cast<int>(shots.size())) {
        shot = &shots[static_cast<std::size_t>(number) - 1];
    }
    return shot ? std::optional(*shot) : std::nullopt;
}

void ShotActions::splitAtPlayhead() {
    const Seconds playhead = playback_.clock()->time();
    const bool isDone = edits_.edit(
        [&](ProjectSettings& settings) { Storyboard::split(settings, playhead, edits_.duration()); });
    if (isDone) return selection_.selectTime(playhead + 0.01);
    emit beeped();
    emit toastShown(
        {.text = toQt(notice::kTooCloseToSplit), .symbol = "scissors", .tone = Toast::Tone::secondary});
}

void ShotActions::cutShot(int number) {
    const auto shot = shotOf(number);
    if (!shot) return;
    if (shot->kind == Shot::Kind::cut) {
        edits_.edit([&](ProjectSettings& settings) { Storyboard::restore(settings, *shot); });
        return;
    }
    edits_.edit([&](ProjectSettings& settings) { Storyboard::cut(settings, *shot); });
    const auto text =
        fmt::format("Shot {} cut · {} shorter", shot->number, shortDuration(shot->end - shot->start));
    emit toastShown(withUndo({.text = toQt(text), .symbol = "scissors", .tone = Toast::Tone::cut}, edits_));
}

void ShotActions::cycleSpeed(int number) {
    const auto shot = shotOf(number);
    if (!shot) return;
    const double rate = nextRate(shot->rate);
    edits_.edit([&](ProjectSettings& settings) { Storyboard::setSpeed(settings, *shot, rate); });
    const auto text = rate == 1 ? fmt::format("Shot {} at normal speed", shot->number)
                                : fmt::format("Shot {} at {:.0f}×", shot->number, rate);
    emit toastShown({.text = toQt(text), .symbol = "forward.fill", .tone = Toast::Tone::speed});
}

void ShotActions::toggleZoom(int number) {
    const auto shot = shotOf(number);
    if (!shot || shot->kind == Shot::Kind::cut) return;
    const double scale = shot->kind == Shot::Kind::zoom ? 1.0 : preferences_.defaultZoom();
    edits_.edit([&](ProjectSettings& settings) { Storyboard::setZoom(settings, *shot, scale); });
}

void ShotActions::nudgeZoom(int tenths, int number) {
    const auto shot = shotOf(number);
    if (!shot || shot->kind == Shot::Kind::cut) return;
    setZoom(number, std::round(shot->scale * 10 + tenths) / 10);
}

void ShotActions::joinWithNext(int number) {
    const auto shot = shotOf(number);
    if (!shot) return;
    edits_.edit(
        [&](ProjectSettings& settings) { Storyboard::joinWithNext(settings, *shot, edits_.duration()); });
}

void ShotActions::setZoom(int number, double scale) {
    const auto shot = shotOf(number);
    if (!shot || !std::isfinite(scale)) return;
    const double kept = std::clamp(scale, 1.0, kMostZoom);
    edits_.apply([&](ProjectSettings& settings) { Storyboard::setZoom(settings, *shot, kept); });
}

void ShotActions::setSpeed(int number, double rate) {
    const auto shot = shotOf(number);
    if (!shot || !std::isfinite(rate)) return;
    const double kept = std::clamp(rate, kLeastRate, kMostRate);
    edits_.apply([&](ProjectSettings& settings) { Storyboard::setSpeed(settings, *shot, kept); });
}

void ShotActions::moveBoundary(double from, double to) {
    if (!std::isfinite(to)) return;
    edits_.edit(
        [&](ProjectSettings& settings) { Storyboard::moveBoundary(settings, from, to, edits_.duration()); });
}

void ShotActions::setClicks(std::vector<EventSample> clicks) {
    clicks_ = std::move(clicks);
    if (std::exchange(wantsAutoShots_, false)) autoShots();
}

void ShotActions::autoShots() {
    wantsAutoShots_ = !clicks_;
    if (!clicks_) return;
    const bool isDone = edits_.edit([&](ProjectSettings& settings) {
        auto zooms = AutoZoom::segments(*clicks_, edits_.duration(), preferences_.defaultZoom());
        AutoZoom::keepIdentities(zooms, settings.zooms);
        settings.zooms = std::move(zooms);
    });
    selection_.clear();
    const std::size_t count = clicks_->size();
    Toast toast{.text = toQt(fmt::format("Zooms made from {} click{}", count, count == 1 ? "" : "s")),
                .symbol = "rebuild"};
    if (count == 0)
        toast = {.text = toQt(notice::kNoClicks), .symbol = "info", .tone = Toast::Tone::secondary};
    emit toastShown(isDone ? withUndo(std::move(toast), edits_) : toast);
}

void ShotActions::trimStartHere() {
    edits_.edit([&](ProjectSettings& settings) { settings.trimStart = playback_.clock()->time(); });
}

void ShotActions::trimEndHere() {
    edits_.edit([&](ProjectSettings& settings) { settings.trimEnd = playback_.clock()->time(); });
}

void ShotActions::clearTrim() {
    edits_.edit([](ProjectSettings& settings) {
        settings.trimStart = 0;
        settings.trimEnd.reset();
    });
}

void ShotActions::playShot(int number) {
    const auto shot = shotOf(number);
    if (shot && shot->kind != Shot::Kind::cut) playback_.playRange(shot->start, shot->end);
}

} // namespace glintro
