#include <gtest/gtest.h>

#include "app/editor/RenderPreset.h"

namespace glintro {
namespace {

TEST(RenderPreset, BecomesTheOptionsOfItsRow) {
    struct Row {
        RenderPreset preset;
        RenderChoices choices;
        ExportOptions options;
    };
    const RenderChoices high{2160, 24, 900};
    const Row rows[] = {
        {RenderPreset::master, {}, {}},
        {RenderPreset::master, high, {.shortSide = 2160, .fps = 24}},
        {RenderPreset::gif, {.gifWidth = 700}, {.format = ExportFormat::gif, .gifWidth = 700, .gifFPS = 12}},
        {RenderPreset::gif, {.gifWidth = 701}, {.format = ExportFormat::gif, .gifWidth = 701, .gifFPS = 15}},
        {RenderPreset::square, high, {.fps = 30, .aspect = AspectRatio::square}},
        {RenderPreset::vertical, high, {.fps = 30, .aspect = AspectRatio::tall, .fill = true}},
        {RenderPreset::youtube, high, {.aspect = AspectRatio::wide}},
    };
    for (const Row& row : rows)
        EXPECT_EQ(options(row.preset, row.choices), row.options) << identifier(row.preset);
}

TEST(RenderPreset, IsFoundByItsIdentifierAndDescribed) {
    for (const RenderPreset preset : kRenderPresets) EXPECT_EQ(renderPreset(identifier(preset)), preset);
    EXPECT_EQ(renderPreset("GIF"), std::nullopt);
    EXPECT_EQ(subtitle(RenderPreset::gif, {}), "640 px · 12 fps without sound — right for READMEs and chat.");
}

} // namespace
} // namespace glintro
