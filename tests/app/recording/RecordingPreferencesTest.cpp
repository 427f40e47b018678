#include <gtest/gtest.h>

#include "app/recording/RecordingPreferences.h"

namespace glintro {
namespace {

TEST(RecordingPreferences, ReadsWhatIsNoValueAsTheDefault) {
    struct Row {
        std::optional<std::string> text;
        int fps;
        bool countdown; // on by default
        bool hevc;      // off by default
    };
    const Row rows[] = {
        {std::nullopt, 60, true, false}, {"30", 30, true, false},    {"60", 60, true, false},
        {"thirty", 60, true, false},     {"30.0", 60, true, false},  {"30 ", 60, true, false},
        {"", 60, true, false},           {"-30", 60, true, false},   {"0", 60, true, false},
        {"9999999999", 60, true, false}, {"true", 60, true, true},   {"false", 60, false, false},
        {"yes", 60, true, false},        {"False", 60, true, false},
    };
    for (const Row& row : rows) {
        TransientPreferenceStore store;
        if (row.text)
            for (const char* key : {"captureFPS", "countdown", "useHEVC"}) store.setText(key, *row.text);
        const RecordingPreferences preferences(store);
        EXPECT_EQ(preferences.captureFPS(), row.fps) << row.text.value_or("nothing");
        EXPECT_EQ(preferences.countdown(), row.countdown) << row.text.value_or("nothing");
        EXPECT_EQ(preferences.useHEVC(), row.hevc) << row.text.value_or("nothing");
    }
}

} // namespace
} // namespace glintro
