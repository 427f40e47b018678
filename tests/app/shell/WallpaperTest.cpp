#include <sstream>

#include <gtest/gtest.h>

#include "app/shell/Wallpaper.h"
#include "core/media/decode/StillImage.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro {
namespace {

constexpr PixelSize kCanvas{20, 10};

class WallpaperTest : public testing::Test {
  protected:
    WallpaperTest() {
        for (const auto& [name, value] : {std::pair{"named.png", 40}, {"desktop.png", 90}}) {
            BgraImage image({64, 64});
            std::fill(image.pixels.begin(), image.pixels.end(), static_cast<std::uint8_t>(value));
            EXPECT_TRUE(savePng(image, folder_ / name));
        }
        shown_.background = BackgroundKind::wallpaper;
    }

    Wallpaper wallpaper(std::optional<std::string> named, std::optional<DesktopPicture> desktop) {
        std::optional<std::filesystem::path> file;
        if (named) file = folder_ / *named;
        const auto ask = [this, desktop] {
            ++asked_;
            return desktop;
        };
        return {file, ask, console_};
    }
    DesktopPicture desktopFile() { return folder_ / "desktop.png"; }

    TemporaryFolder folder_;
    std::ostringstream out_;
    std::ostringstream error_;
    Console console_{out_, error_};
    ProjectSettings shown_;
    int asked_ = 0;
};

TEST_F(WallpaperTest, IsTheFileNamedElseTheDesktopsOwn) {
    const auto named = wallpaper("named.png", desktopFile()).pictureFor(shown_, kCanvas);
    ASSERT_TRUE(named);
    EXPECT_EQ((*named)->pixels[0], 40);
    EXPECT_EQ(asked_, 0);
    const auto desktop = wallpaper({}, desktopFile()).pictureFor(shown_, kCanvas);
    ASSERT_TRUE(desktop);
    EXPECT_EQ((*desktop)->pixels[0], 90);
    EXPECT_EQ((*desktop)->size, (PixelSize{20, 20})) << "no larger than the canvas needs";
    const auto pixels = wallpaper({}, DesktopPixels{{1, 1}, {7, 8, 9, 0}}).pictureFor(shown_, kCanvas);
    ASSERT_TRUE(pixels);
    EXPECT_EQ((*pixels)->pixels[2], 9);
    EXPECT_EQ(error_.str(), "");
}

TEST_F(WallpaperTest, IsNotAskedForWhenNothingShowsIt) {
    const auto none = wallpaper({}, desktopFile()).pictureFor({}, kCanvas);
    ASSERT_TRUE(none);
    EXPECT_EQ(*none, nullptr);
    EXPECT_EQ(asked_, 0);
    EXPECT_FALSE(wallpaper("absent.png", desktopFile()).pictureFor({}, kCanvas)) << "a wrong name is said";
}

TEST_F(WallpaperTest, SaysOnceThatThereIsNone) {
    const std::optional<DesktopPicture> desktops[] = {std::nullopt, folder_ / "absent.png",
                                                      DesktopPixels{{0, 0}, {}}};
    for (const auto& desktop : desktops) {
        error_.str("");
        Wallpaper source = wallpaper({}, desktop);
        for (int reel = 0; reel < 3; ++reel) {
            const auto picture = source.pictureFor(shown_, kCanvas);
            ASSERT_TRUE(picture) << picture.error().message;
            EXPECT_EQ(*picture, nullptr);
        }
        const std::string said = error_.str();
        EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1) << said;
    }
}

} // namespace
} // namespace glintro
