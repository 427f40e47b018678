#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <vector>

#include <gtest/gtest.h>

#include "core/media/encode/MovieWriter.h"
#include "core/reel/Project.h"
#include "tests/support/Pictures.h"

namespace glintro::test {

// A small movie whose frames are one colour each, with an optional mono sound track. With grain, every pixel
// differs from frame to frame, so that the file has some size.
struct MovieRecipe {
    PixelSize size{320, 200};
    int fps = 30;
    int frames = 60;
    std::function<Rgb(int frame)> colour = [](int frame) { return Rgb{30 + frame * 3, 128, 60}; };
    bool grain = false;
    std::vector<float> sound = {}; // 48 kHz
};

inline void writeMovie(const std::filesystem::path& file, const MovieRecipe& recipe) {
    std::optional<AudioTrackSettings> audio;
    if (!recipe.sound.empty()) audio = AudioTrackSettings{48000, 1, 96000};
    auto writer =
        MovieWriter::create(file, {recipe.size, recipe.fps, 4'000'000, recipe.fps * 2, "ultrafast"}, audio);
    ASSERT_TRUE(writer) << writer.error().message;
    for (int i = 0; i < recipe.frames; ++i) {
        const Rgb colour = recipe.colour(i);
        const auto pixel = [&](int x, int y) {
            return recipe.grain ? Rgb{(x * 31 + y * 17 + i * 101) * 7919 % 251, colour.green, colour.blue}
                                : colour;
        };
        ASSERT_TRUE((*writer)->writeFrame(*recording(recipe.size, pixel), i));
    }
    if (audio) {
        ASSERT_TRUE((*writer)->writeAudio(recipe.sound));
    }
    const auto finished = (*writer)->finish();
    ASSERT_TRUE(finished) << finished.error().message;
}

// A registered reel in a folder of its own.
inline std::optional<Project> makeReel(const std::filesystem::path& folder, const MovieRecipe& recipe,
                                       const RecordingEvents& events = {},
                                       const std::optional<MovieRecipe>& camera = {}) {
    std::filesystem::create_directories(folder);
    writeMovie(folder / "raw.mov", recipe);
    if (camera) writeMovie(folder / "camera.mov", *camera);
    EXPECT_TRUE(writeEvents(events, folder / "events.json"));
    return Project::registerReel(folder, {.name = "Test reel",
                                          .hasCamera = camera.has_value(),
                                          .hasAudio = !recipe.sound.empty(),
                                          .aspect = AspectRatio::wide,
                                          .created = {}});
}

} // namespace glintro::test
