#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/media/decode/StillImage.h"
#include "tests/core/media/MediaTools.h"
#include "tests/support/Pictures.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro {
namespace {

using test::Rgb;

TEST(StillImage, LoadsTheColoursOfEveryFormat) {
    struct Row {
        std::string file;
        std::vector<std::string> encoding;
        int tolerance;
    };
    const Row rows[] = {
        {"a.png", {}, 0},
        {"deep.png", {"-pix_fmt", "rgb48"}, 0},
        {"a.bmp", {}, 0},
        {"a.tiff", {}, 0},
        {"a.jpg", {"-q:v", "1"}, 3},
        {"a.webp", {"-quality", "95"}, 4},
        {"a %02d.png", {"-update", "1"}, 0},
    };
    const TemporaryFolder folder;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.file);
        std::vector<std::string> encoding{"-frames:v", "1"};
        encoding.insert(encoding.end(), row.encoding.begin(), row.encoding.end());
        test::makeMovie("color=c=0xC02040:s=60x40,format=rgb24,drawbox=30:0:30:40:color=0x3040D0:t=fill",
                        "null", encoding, folder / row.file);
        const auto image = loadImage(folder / row.file);
        ASSERT_TRUE(image) << image.error().message;
        ASSERT_EQ(image->size, (PixelSize{60, 40}));
        EXPECT_LE(test::distance(test::pixelAt(*image, 10, 20), Rgb{0xC0, 0x20, 0x40}), row.tolerance);
        EXPECT_LE(test::distance(test::pixelAt(*image, 50, 20), Rgb{0x30, 0x40, 0xD0}), row.tolerance);
        EXPECT_EQ(image->row(0)[3], 255);
    }
}

TEST(StillImage, LoadsBackExactlyWhatItSaved) {
    const TemporaryFolder folder;
    for (const bool isOpaque : {true, false}) {
        BgraImage image({37, 21});
        for (std::size_t i = 0; i < image.pixels.size(); ++i) {
            image.pixels[i] = static_cast<std::uint8_t>(i % 4 == 3 && isOpaque ? 255 : i * 37);
        }
        ASSERT_TRUE(savePng(image, folder / "image.png"));
        const auto loaded = loadImage(folder / "image.png");
        ASSERT_TRUE(loaded);
        EXPECT_EQ(loaded->size, image.size);
        EXPECT_EQ(loaded->pixels, image.pixels);
    }
}

TEST(StillImage, LeavesTheOldFileAndNothingElseWhenSavingFails) {
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder / "folder.png");
    const auto saved = savePng(BgraImage({4, 4}), folder / "folder.png");
    ASSERT_FALSE(saved);
    EXPECT_EQ(saved.error().message, "The picture can’t be written there: it is a folder.");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1);
    EXPECT_FALSE(savePng(BgraImage({4, 4}), folder / "absent/image.png"));
}

TEST(StillImage, RefusesWhatIsNoPicture) {
    const TemporaryFolder folder;
    std::ofstream(folder / "empty.png");
    std::ofstream(folder / "text.jpg") << "no picture";
    ASSERT_TRUE(savePng(BgraImage({64, 64}), folder / "whole.png"));
    std::filesystem::copy_file(folder / "whole.png", folder / "cut.png");
    std::filesystem::resize_file(folder / "cut.png", 30);
    for (const std::string name : {"absent.png", "empty.png", "text.jpg", "cut.png", "."}) {
        const auto image = loadImage(folder / name);
        ASSERT_FALSE(image) << name;
        EXPECT_EQ(image.error().message, "The picture can’t be read.") << name;
    }
}

} // namespace
} // namespace glintro
