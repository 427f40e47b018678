#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace glintro {

// The file that the running desktop's own settings name as its picture. `nullopt` when the desktop is
// neither GNOME nor KDE, shows a plain colour, or the file is not there. Lasts some seconds where the
// settings do not answer: not for the main thread.
std::optional<std::filesystem::path> pictureOfDesktopSettings();

// The file of "file:///a%20b" or of a plain path; `nullopt` for what is neither.
std::optional<std::filesystem::path> fileOfUri(const std::string& uri);

} // namespace glintro
