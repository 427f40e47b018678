#include <gtest/gtest.h>

#include "app/editor/RenderPreset.h"
#include "app/editor/RenderPresetList.h"

namespace glintro {
namespace {

TEST(RenderPreset, HonoursOnlyTheChoicesThatItOffers) {
    const RenderChoices low{720, 30, 480};
    const RenderChoices high{2160, 60, 1000};
    for (const RenderPreset preset : kRenderPresets) {
        const bool isFixed = preset != RenderPreset::master && preset != RenderPreset::gif;
        EXPECT_EQ(options(preset, low) == options(preset, high), isFixed) << identifier(preset);
    }
    const Size source{2560, 1600};
    EXPECT_EQ(options(RenderPreset::vertical, high).outputSize({}, source), (PixelSize{1080, 1920}));
    EXPECT_EQ(options(RenderPreset::square, low).outputSize({}, source), (PixelSize{1080, 1080}));
    EXPECT_EQ(options(RenderPreset::gif, {.gifWidth = 700}).gifFPS, 12);
    EXPECT_EQ(options(RenderPreset::gif, {.gifWidth = 701}).gifFPS, 15);
}

TEST(RenderPresetList, TellsAViewWhatAChoiceChanges) {
    RenderPresetList list;
    int changes = 0;
    QObject::connect(&list, &RenderPresetList::choicesChanged, [&] { ++changes; });
    const auto text = [&](int row, RenderPresetList::Role role) {
        return list.data(list.index(row), role).toString().toStdString();
    };
    const auto gif = text(1, RenderPresetList::SubtitleRole);
    EXPECT_TRUE(gif.ends_with(" fps without sound — right for READMEs and chat.")) << gif;
    list.setGifWidth(1000);
    list.setGifWidth(1000);
    list.setGifWidth(33);
    list.setShortSide(2160);
    EXPECT_EQ(changes, 2);
    EXPECT_NE(text(1, RenderPresetList::SubtitleRole), gif);
    EXPECT_EQ(text(0, RenderPresetList::LabelRole), "4K · 60 fps");
    EXPECT_EQ(list.optionsOf(1).gifWidth, 1000);
    EXPECT_EQ(text(3, RenderPresetList::AspectRole), "9:16");
    EXPECT_FALSE(list.data(list.index(5), RenderPresetList::TitleRole).isValid());
}

} // namespace
} // namespace glintro
