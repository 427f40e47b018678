#include <fstream>

#include <gtest/gtest.h>

#include "app/preferences/IniPreferenceStore.h"
#include "app/preferences/Preferences.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;

// Every value, as one text for tables.
std::string shown(const Preferences& from) {
    std::string text = std::to_string(from.captureFPS());
    for (const bool flag : {from.useHEVC(), from.countdown(), from.recordMic(), from.recordCamera()})
        text += flag ? " yes" : " no";
    text += " " + std::to_string(from.defaultZoom()).substr(0, 4) + " ";
    text += storedText(from.defaultAspect());
    return text + " " + from.settingsTab().toStdString() + " " + from.exportFolder().value_or("-").string();
}

constexpr const char* kDefaults = "60 no yes no no 2.00 16:9 general -";

TEST(Preferences, WrongValuesReadAsTheDefaults) {
    struct Row {
        const char* ini;
        const char* values;
    };
    const Row rows[] = {
        {"", kDefaults},
        {"captureFPS=30\nuseHEVC=true\ncountdown=false\nrecordMic=true\nrecordCamera=true\ndefaultZoom=1.75\n"
         "defaultAspect=1:1\nsettingsTab=updates\nexportFolder=/media/my films, new",
         "30 yes no yes yes 1.75 1:1 updates /media/my films, new"},
        {"captureFPS=45\ndefaultZoom=1.3\nexportFolder=films", kDefaults},
        {"captureFPS=30.0\ndefaultZoom=3.1\nexportFolder=", kDefaults},
        {"captureFPS=thirty\ndefaultZoom=2,5\ndefaultAspect=21:9", kDefaults},
        {"captureFPS=9999999999\nuseHEVC=yes\ncountdown=0\ndefaultZoom=nan", kDefaults},
        {"captureFPS=\nuseHEVC=\ncountdown=maybe\ndefaultZoom=1e999\nrecordMic=@Invalid()", kDefaults},
        {"captureFPS", kDefaults}};
    const TemporaryFolder home;
    for (const Row& row : rows) {
        const fs::path file = home / "glintro.ini";
        std::ofstream(file) << "[General]\n" << row.ini << "\n";
        IniPreferenceStore store(file);
        EXPECT_EQ(shown(Preferences(store)), row.values) << row.ini;
        fs::remove(file);
    }
    fs::create_directory(home / "folder");
    IniPreferenceStore unreadable(home / "folder");
    EXPECT_EQ(shown(Preferences(unreadable)), kDefaults);
}

TEST(Preferences, AreThereInTheNextRun) {
    const TemporaryFolder home;
    const test::ScopedEnvironment there("XDG_CONFIG_HOME", home.path());
    const fs::path file = IniPreferenceStore::fileOfUser();
    EXPECT_EQ(file, home / "glintro/glintro.ini");
    int changes = 0;
    {
        IniPreferenceStore store(file);
        Preferences preferences(store);
        QObject::connect(&preferences, &Preferences::changed, [&] { ++changes; });
        preferences.setCaptureFPS(30);
        preferences.setCaptureFPS(30);
        preferences.setUseHEVC(true);
        preferences.setDefaultZoom(2.6);
        preferences.setDefaultAspect(AspectRatio::original);
        preferences.setExportFolder(home / "été, 1");
        preferences.setSettingsTab("updates");
    }
    EXPECT_EQ(changes, 6) << "a value that stays is no change";
    IniPreferenceStore store(file);
    EXPECT_EQ(shown(Preferences(store)),
              "30 yes yes no no 2.60 Source updates " + (home / "été, 1").string());
}

} // namespace
} // namespace glintro
