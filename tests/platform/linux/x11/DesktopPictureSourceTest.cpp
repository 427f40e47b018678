#include <fstream>

#include <gtest/gtest.h>

#include "platform/linux/x11/DesktopSettings.h"
#include "platform/linux/x11/X11Desktop.h"
#include "tests/support/XSession.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;
using test::ScopedEnvironment;
using test::XSession;

// A user's settings and pictures in a folder of their own, and no X server.
class DesktopSettingsTest : public testing::Test {
  protected:
    fs::path write(const std::string& name, const std::string& text) {
        const fs::path file = folder_ / name;
        fs::create_directories(file.parent_path());
        std::ofstream(file) << text;
        return file;
    }
    std::optional<fs::path> pictureOn(const std::string& desktop) {
        const ScopedEnvironment current("XDG_CURRENT_DESKTOP", desktop);
        const auto picture = createDesktopPictureSource()->picture();
        return picture ? std::optional(std::get<fs::path>(*picture)) : std::nullopt;
    }

    TemporaryFolder folder_;
    ScopedEnvironment configuration_{"XDG_CONFIG_HOME", folder_.path().string()};
    ScopedEnvironment settings_{"GSETTINGS_BACKEND", "keyfile"}; // a file of that folder
    ScopedEnvironment display_{"DISPLAY", std::nullopt};
};

bool setGnome(const std::string& schema, const std::string& key, const std::string& value) {
    return test::ChildProcess({"gsettings", "set", "org.gnome.desktop." + schema, key, value}).wait() == 0;
}

TEST_F(DesktopSettingsTest, NameTheFileThatGnomeShows) {
    const fs::path light = write("it's a light one.jpg", "x"), dark = write("dark.jpg", "x");
    const fs::path slides = write("slides.xml", "<background><static><file>\n <size width='1'>"
                                                    + dark.string() + "</size></file></static></background>");
    if (!setGnome("background", "picture-uri",
                  "file://" + (folder_ / "it's%20a%20light%20one.jpg").string())) {
        GTEST_SKIP() << "This test needs gsettings and its desktop schemas: install libglib2.0-bin and "
                        "gsettings-desktop-schemas.";
    }
    ASSERT_TRUE(setGnome("background", "picture-uri-dark", "file://" + dark.string()));
    EXPECT_EQ(pictureOn("ubuntu:GNOME"), light);
    EXPECT_FALSE(pictureOn("XFCE"));
    ASSERT_TRUE(setGnome("interface", "color-scheme", "prefer-dark"));
    EXPECT_EQ(pictureOn("GNOME"), dark);
    ASSERT_TRUE(setGnome("background", "picture-uri-dark", "file:///not/there.jpg"));
    EXPECT_FALSE(pictureOn("GNOME"));
    ASSERT_TRUE(setGnome("background", "picture-uri-dark", "file://" + slides.string()));
    EXPECT_EQ(pictureOn("GNOME"), dark) << "the first of the slides";
    ASSERT_TRUE(setGnome("background", "picture-options", "none"));
    EXPECT_FALSE(pictureOn("GNOME")) << "a plain colour";
}

TEST_F(DesktopSettingsTest, NameTheFileThatKdeShows) {
    EXPECT_FALSE(pictureOn("KDE"));
    const fs::path one = write("a b.png", "x");
    const fs::path large = write("Next/contents/images/3840x2160.png", "the larger file");
    write("Next/contents/images/640x480.png", "small");
    const auto settings = [&](const std::string& image) {
        write("plasma-org.kde.plasma.desktop-appletsrc",
              "[Containments][1]\nImage=/etc/passwd\n\n[Containments][1][Wallpaper][org.kde.image][General]\n"
              "Image=/not/there\n[Containments][2][Wallpaper][org.kde.image][General]\nFillMode=2\nImage="
                  + image + "\n[Containments][2][General]\nImage=/etc/hostname\n");
    };
    settings("file://" + (folder_ / "a%20b.png").string());
    EXPECT_EQ(pictureOn("KDE"), one);
    settings((folder_ / "Next/").string());
    EXPECT_EQ(pictureOn("KDE"), large);
    settings("https://example.org/a.png");
    EXPECT_FALSE(pictureOn("KDE"));
}

TEST(DesktopPictureFile, IsReadFromItsAddress) {
    const struct {
        const char* uri;
        std::optional<fs::path> file;
    } rows[] = {{"file:///a%20b%c3%bc.png", "/a bü.png"},
                {"/plain%20.png", "/plain%20.png"},
                {"file:///100%", "/100%"},
                {"file:///100%zz", "/100%zz"},
                {"file://host/a", std::nullopt},
                {"http://x/y", std::nullopt},
                {"", std::nullopt},
                {"file://", std::nullopt}};
    for (const auto& row : rows) EXPECT_EQ(fileOfUri(row.uri), row.file) << row.uri;
}

TEST(DesktopPictureOfTheRoot, IsThePixmapItsPropertyNames) {
    if (const auto why = XSession::whyNoXvfb()) GTEST_SKIP() << *why;
    const auto session = XSession::xvfb(64, 48, XSession::WindowManager::none);
    const XSession::Environment environment(*session);
    const ScopedEnvironment noDesktop("XDG_CURRENT_DESKTOP", std::nullopt);
    const auto source = createDesktopPictureSource();
    EXPECT_FALSE(source->picture());

    const test::XConnection painter = test::connectTo(session->display());
    xcb_connection_t* server = painter.get();
    const xcb_window_t root = test::rootOf(server);
    const xcb_pixmap_t pixmap = xcb_generate_id(server);
    xcb_create_pixmap(server, 24, pixmap, root, 64, 48);
    const xcb_gcontext_t brush = xcb_generate_id(server);
    const auto fill = [&](std::uint32_t colour, xcb_rectangle_t area) {
        xcb_change_gc(server, brush, XCB_GC_FOREGROUND, &colour);
        xcb_poly_fill_rectangle(server, pixmap, brush, 1, &area);
    };
    xcb_create_gc(server, brush, pixmap, 0, nullptr);
    fill(0x102030, {0, 0, 64, 48});
    fill(0xFF8040, {5, 7, 1, 1});
    xcb_change_property(server, XCB_PROP_MODE_REPLACE, root, test::atomOf(server, "_XROOTPMAP_ID"),
                        XCB_ATOM_PIXMAP, 32, 1, &pixmap);
    test::synchronise(server);
    const auto picture = source->picture();
    ASSERT_TRUE(picture && std::holds_alternative<DesktopPixels>(*picture));
    const auto& pixels = std::get<DesktopPixels>(*picture);
    ASSERT_EQ(pixels.size, (PixelSize{64, 48}));
    const auto colourAt = [&](int x, int y) {
        const std::uint8_t* at = pixels.bgra.data() + 4 * (y * 64 + x);
        return at[0] | at[1] << 8 | at[2] << 16;
    };
    EXPECT_EQ(colourAt(5, 7), 0xFF8040);
    EXPECT_EQ(colourAt(4, 7), 0x102030);
    EXPECT_EQ(colourAt(63, 47), 0x102030);
    xcb_free_pixmap(server, pixmap);
    test::synchronise(server);
    EXPECT_FALSE(source->picture()) << "the pixmap has gone, its name has stayed";
}

} // namespace
} // namespace glintro
