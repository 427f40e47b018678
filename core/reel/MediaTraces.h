#pragma once

#include <filesystem>

namespace glintro {

// Whether pictures or sound stand anywhere in what may be a damaged movie of a take, which cannot be told by
// its boxes once one of them is damaged: looks for the names of the boxes that fragments are made of. A file
// that cannot be read counts as one that holds some. Reads the file up to the first such name.
[[nodiscard]] bool holdsMedia(const std::filesystem::path& file);

} // namespace glintro
