#pragma once

#include <string>

// Which desktop runs, and what its settings say.
namespace glintro {

// An environment variable; empty when it is not set.
std::string environmentText(const char* name);

// Whether the desktop calls itself that, for example "GNOME".
bool desktopIs(const std::string& name);

// A setting of GNOME's, for example of "background picture-uri": its value without quotes, empty when it is
// not known. Lasts up to 3 seconds where the settings do not answer: not for the main thread.
std::string gnomeSetting(const std::string& schemaAndKey);

} // namespace glintro
