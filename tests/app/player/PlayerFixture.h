#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <utility>

#include "app/player/ReelPlayer.h"
#include "core/raster/Convert.h"
#include "core/render/ReelCompositor.h"
#include "tests/support/EventLoop.h"
#include "tests/support/Reels.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro::test {

// What an export draws at a composition time, in a canvas of 16:9.
class ExportedPictures {
  public:
    ExportedPictures(const Project& project, const ProjectSettings& settings, PixelSize canvas,
                     std::shared_ptr<const BgraImage> wallpaper = nullptr)
        : reel_(ReelComposition::build(project, settings).value()),
          renderer_(settings, reel_.sourceSize, project.loadEvents(), std::move(wallpaper), Framing::fit),
          compositor_(reel_, renderer_, canvas),
          canvas_(PixelLayout::rgb444, canvas) {}

    BgraImage at(Seconds compositionTime) {
        const ReelFrame frame = compositor_.frameAt(compositionTime).value();
        DrawScratch scratch;
        renderer_.draw(frame.plan, frame.screen.get(), frame.webcam.get(), canvas_, scratch);
        return toBgra(std::as_const(canvas_).view());
    }
    const TimeMap& map() const { return reel_.map; }

  private:
    ReelComposition reel_;
    FrameRenderer renderer_;
    ReelCompositor compositor_;
    PictureBuffer canvas_;
};

// A reel of six seconds whose every frame has a colour of its own, with a camera, a pointer and clicks, and a
// player for it whose host clock the test moves.
class PlayerFixture {
  public:
    static constexpr PixelSize kView{320, 180};
    static constexpr int kFps = 30;
    static constexpr Seconds kDuration = 6;

    PlayerFixture() {
        application();
        const auto colour = [](int frame) { return Rgb{30 + frame, 250 - frame, frame * 37 % 200}; };
        const auto made = makeReel(
            folder / "reel",
            {.fps = kFps, .frames = static_cast<int>(kDuration * kFps), .colour = colour, .grain = true},
            movingPointer(), MovieRecipe{.size = {160, 120}, .frames = 150});
        project.emplace(made.value());
        settings = project->info.settings;
        settings.zooms = {{.start = 1, .end = 2.5, .scale = 2}};
        makePlayer(parts());
    }

    ReelPlayer::Parts parts() {
        ReelPlayer::Parts parts;
        parts.hostTime = [clock = clock] { return clock->load(); };
        return parts;
    }
    void makePlayer(const ReelPlayer::Parts& parts) {
        player.emplace(parts);
        player->setViewSize(kView);
        QObject::connect(&*player, &ReelPlayer::failed, [this](const QString& why) { failures << why; });
        QObject::connect(&*player, &ReelPlayer::ended, [this] { ++ends; });
    }
    [[nodiscard]] bool open(Seconds compositionTime = 0) {
        player->open(*project, settings, compositionTime);
        return rests();
    }
    [[nodiscard]] bool rests() {
        return handleUntil([this] { return player->isAtRest(); });
    }
    void pass(Seconds duration) { clock->store(clock->load() + duration); }
    PlayerPicture shown() const { return player->mailbox()->newest(); }
    ExportedPictures exported(std::shared_ptr<const BgraImage> wallpaper = nullptr) const {
        return {*project, settings, kView, std::move(wallpaper)};
    }
    TimeMap map() const { return {settings, kDuration}; }

    static RecordingEvents movingPointer() {
        RecordingEvents events{.duration = kDuration};
        for (int i = 0; i < 360; ++i) {
            const Seconds time = i / 60.0;
            events.cursor.push_back({{time, 0.5 + 0.4 * std::sin(time * 3), 0.5 + 0.4 * std::cos(time * 2)}});
        }
        for (int i = 0; i < 5; ++i) events.clicks.push_back({{i + 0.5, 0.5, 0.5}});
        return events;
    }

    TemporaryFolder folder;
    std::shared_ptr<std::atomic<Seconds>> clock = std::make_shared<std::atomic<Seconds>>(100);
    std::optional<Project> project;
    ProjectSettings settings;
    std::optional<ReelPlayer> player;
    QStringList failures;
    int ends = 0;
};

} // namespace glintro::test
