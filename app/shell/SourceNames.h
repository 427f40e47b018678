#pragma once

#include <string>
#include <vector>

#include "app/recording/CaptureSource.h"
#include "core/base/Failure.h"
#include "platform/ShareableContent.h"

// Finds displays and windows by their names on the command line. A failure names the choices there are. Where
// the user chooses in a dialog of the system's, any name stands for that dialog.
namespace glintro {

// By its number, counted from 1, or its name.
[[nodiscard]] Result<CaptureSource::Kind> displayNamed(const std::string& name,
                                                       const ShareableContent& content);
// By its id (decimal, or hexadecimal with 0x), its title or, when that names one window only, a part of it or
// its application.
[[nodiscard]] Result<CaptureSource::Kind> windowNamed(const std::string& name,
                                                      const ShareableContent& content);
// The default.
[[nodiscard]] Result<CaptureSource::Kind> mainDisplay(const ShareableContent& content);

// Windows that a title may name: ordinary ones of other processes.
std::vector<ShareableWindow> nameableWindows(const ShareableContent& content);

} // namespace glintro
