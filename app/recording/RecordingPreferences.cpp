#include "app/recording/RecordingPreferences.h"

#include <charconv>

namespace glintro {
namespace {

constexpr int kFPS = 60;
constexpr int kMostFPS = 240;

std::optional<int> wholeNumber(const std::string& text) {
    int number = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end) return std::nullopt;
    return number;
}

} // namespace

std::optional<std::string> TransientPreferenceStore::text(std::string_view key) const {
    const auto entry = texts_.find(key);
    return entry != texts_.end() ? std::optional(entry->second) : std::nullopt;
}

void TransientPreferenceStore::setText(std::string_view key, const std::string& text) {
    texts_.insert_or_assign(std::string(key), text);
}

int RecordingPreferences::captureFPS() const {
    const auto fps = wholeNumber(store_.text("captureFPS").value_or(""));
    return fps && *fps >= 1 && *fps <= kMostFPS ? *fps : kFPS;
}

bool RecordingPreferences::useHEVC() const {
    return flag("useHEVC", false);
}

bool RecordingPreferences::countdown() const {
    return flag("countdown", true);
}

bool RecordingPreferences::recordMic() const {
    return flag("recordMic", false);
}

bool RecordingPreferences::recordCamera() const {
    return flag("recordCamera", false);
}

void RecordingPreferences::setCaptureFPS(int fps) {
    store_.setText("captureFPS", std::to_string(fps));
}

void RecordingPreferences::setUseHEVC(bool on) {
    setFlag("useHEVC", on);
}

void RecordingPreferences::setCountdown(bool on) {
    setFlag("countdown", on);
}

void RecordingPreferences::setRecordMic(bool on) {
    setFlag("recordMic", on);
}

void RecordingPreferences::setRecordCamera(bool on) {
    setFlag("recordCamera", on);
}

bool RecordingPreferences::flag(std::string_view key, bool otherwise) const {
    const auto text = store_.text(key);
    if (text == "true") return true;
    if (text == "false") return false;
    return otherwise;
}

void RecordingPreferences::setFlag(std::string_view key, bool on) {
    store_.setText(key, on ? "true" : "false");
}

} // namespace glintro
