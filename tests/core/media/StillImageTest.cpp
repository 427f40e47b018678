#include <fstream>
#include <iterator>
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

// Puts the orientation into a JPEG the way cameras do.
void addOrientation(const std::filesystem::path& file, char orientation) {
    std::ifstream in(file, std::ios::binary);
    std::string bytes(std::istreambuf_iterator<char>(in), {});
    const char segment[] = {'\xFF', '\xE1', 0, 34, 'E',         'x', 'i', 'f', 0,    0, 'I', 'I',
                            42,     0,      8, 0,  0,           0,   1,   0,   0x12, 1, 3,   0,
                            1,      0,      0, 0,  orientation, 0,   0,   0,   0,    0, 0,   0};
    bytes.insert(2, segment, sizeof segment);
    std::ofstream(file, std::ios::binary | std::ios::trunc) << bytes;
}

TEST(StillImage, TurnsPhotosUpright) {
    enum Corner { topLeft, topRight, bottomLeft, bottomRight };
    struct Row {
        char orientation;
        bool isTall;
        Corner white; // where the stored picture's top left corner is seen
        Corner red;   // and its top right one
    };
    const Row rows[] = {
        {1, false, topLeft, topRight},       {2, false, topRight, topLeft},
        {3, false, bottomRight, bottomLeft}, {4, false, bottomLeft, bottomRight},
        {5, true, topLeft, bottomLeft},      {6, true, topRight, bottomRight},
        {7, true, bottomRight, topRight},    {8, true, bottomLeft, topLeft},
    };
    const TemporaryFolder folder;
    for (const Row& row : rows) {
        test::makeMovie(
            "color=c=0x3040D0:s=64x32,format=rgb24,drawbox=0:0:32:16:color=white:t=fill,"
            "drawbox=32:0:32:16:color=0xC02040:t=fill",
            "null", {"-frames:v", "1", "-q:v", "1"}, folder / "a.jpg");
        addOrientation(folder / "a.jpg", row.orientation);
        const auto image = loadImage(folder / "a.jpg");
        ASSERT_TRUE(image) << image.error().message;
        ASSERT_EQ(image->size, (row.isTall ? PixelSize{32, 64} : PixelSize{64, 32}));
        const auto at = [&](Corner corner) {
            const bool right = corner == topRight || corner == bottomRight;
            const bool bottom = corner == bottomLeft || corner == bottomRight;
            return test::pixelAt(*image, image->size.width * (right ? 3 : 1) / 4,
                                 image->size.height * (bottom ? 3 : 1) / 4);
        };
        EXPECT_LE(test::distance(at(row.white), Rgb{255, 255, 255}), 4) << int{row.orientation};
        EXPECT_LE(test::distance(at(row.red), Rgb{0xC0, 0x20, 0x40}), 4) << int{row.orientation};
    }
}

TEST(StillImage, ScalesDownToWhatIsCovered) {
    struct Row {
        const char* file;
        char orientation;
        PixelSize covered;
        PixelSize expected;
    };
    // The pictures are 640 x 320; photos may be halved while they are decoded.
    const Row rows[] = {
        {"a.png", 1, {100, 20}, {100, 50}},  {"a.png", 1, {10, 80}, {160, 80}},
        {"a.png", 1, {900, 20}, {640, 320}}, {"a.jpg", 1, {100, 20}, {100, 50}},
        {"a.jpg", 1, {39, 39}, {78, 39}},    {"a.jpg", 6, {100, 20}, {100, 200}},
        {"a.jpg", 6, {20, 100}, {50, 100}},  {"a.jpg", 1, {300, 310}, {620, 310}},
    };
    const TemporaryFolder folder;
    for (const Row& row : rows) {
        test::makeMovie("color=c=0xC02040:s=640x320,format=rgb24", "null", {"-frames:v", "1", "-q:v", "1"},
                        folder / row.file);
        if (row.orientation != 1) addOrientation(folder / row.file, row.orientation);
        const auto image = loadImage(folder / row.file, row.covered);
        ASSERT_TRUE(image) << image.error().message;
        EXPECT_EQ(image->size, row.expected) << row.file << ' ' << row.covered.width;
        EXPECT_LE(test::distance(test::pixelAt(*image, 30, 20), Rgb{0xC0, 0x20, 0x40}), 4);
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
