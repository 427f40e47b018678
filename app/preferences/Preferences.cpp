#include "app/preferences/Preferences.h"

#include <charconv>
#include <string>

namespace glintro {
namespace {

constexpr int kDefaultFPS = 60;
constexpr double kDefaultZoom = 2.0;

template <class Number>
std::optional<Number> parsed(const std::string& text) {
    Number number = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

std::string textOf(double number) {
    char digits[32];
    return {digits, std::to_chars(digits, digits + sizeof digits, number).ptr};
}

} // namespace

int Preferences::captureFPS() const {
    const auto fps = parsed<int>(store_.text("captureFPS").value_or(""));
    return fps == 30 || fps == 60 ? *fps : kDefaultFPS;
}

bool Preferences::useHEVC() const {
    return flag("useHEVC", false);
}

bool Preferences::countdown() const {
    return flag("countdown", true);
}

bool Preferences::recordMic() const {
    return flag("recordMic", false);
}

bool Preferences::recordCamera() const {
    return flag("recordCamera", false);
}

double Preferences::defaultZoom() const {
    const auto level = parsed<double>(store_.text("defaultZoom").value_or(""));
    return level && *level >= kLeastZoom && *level <= kMostZoom ? *level : kDefaultZoom;
}

AspectRatio Preferences::defaultAspect() const {
    const auto text = store_.text("defaultAspect").value_or("");
    return fromStoredText<AspectRatio>(text).value_or(AspectRatio::wide);
}

QString Preferences::settingsTab() const {
    return QString::fromStdString(store_.text("settingsTab").value_or("general"));
}

std::optional<std::filesystem::path> Preferences::exportFolder() const {
    const std::filesystem::path folder = store_.text("exportFolder").value_or("");
    return folder.is_absolute() ? std::optional(folder) : std::nullopt;
}

void Preferences::setCaptureFPS(int fps) {
    set("captureFPS", std::to_string(fps));
}

void Preferences::setUseHEVC(bool on) {
    setFlag("useHEVC", on);
}

void Preferences::setCountdown(bool on) {
    setFlag("countdown", on);
}

void Preferences::setRecordMic(bool on) {
    setFlag("recordMic", on);
}

void Preferences::setRecordCamera(bool on) {
    setFlag("recordCamera", on);
}

void Preferences::setDefaultZoom(double level) {
    set("defaultZoom", textOf(level));
}

void Preferences::setDefaultAspect(AspectRatio aspect) {
    set("defaultAspect", std::string(storedText(aspect)));
}

void Preferences::setExportFolder(const std::optional<std::filesystem::path>& folder) {
    set("exportFolder", folder ? folder->string() : "");
}

void Preferences::setSettingsTab(const QString& tab) {
    set("settingsTab", tab.toStdString());
}

bool Preferences::flag(std::string_view key, bool otherwise) const {
    const auto text = store_.text(key);
    if (text == "true") return true;
    if (text == "false") return false;
    return otherwise;
}

void Preferences::setFlag(std::string_view key, bool on) {
    set(key, on ? "true" : "false");
}

void Preferences::set(std::string_view key, const std::string& text) {
    if (store_.text(key) == text) return;
    store_.setText(key, text);
    emit changed();
}

QString Preferences::defaultAspectText() const {
    const std::string_view text = storedText(defaultAspect());
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

void Preferences::setDefaultAspectText(const QString& text) {
    set("defaultAspect", text.toStdString());
}

QString Preferences::exportFolderText() const {
    return QString::fromStdString(exportFolder().value_or("").string());
}

void Preferences::setExportFolderText(const QString& folder) {
    set("exportFolder", folder.toStdString());
}

} // namespace glintro
