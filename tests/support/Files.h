#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace glintro::test {

// Empty for a file that cannot be read.
inline std::string contentOf(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

inline void putFile(const std::filesystem::path& file, std::string_view bytes) {
    if (!(std::ofstream(file, std::ios::binary) << bytes).flush())
        throw std::runtime_error("cannot write " + file.string());
}

// What a folder holds, sorted.
inline std::vector<std::string> namesIn(const std::filesystem::path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        names.push_back(entry.path().filename());
    std::ranges::sort(names);
    return names;
}

// Every file below a folder with what it holds, by its path from there.
inline std::map<std::string, std::string> filesIn(const std::filesystem::path& folder) {
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        files[std::filesystem::relative(entry.path(), folder)] =
            entry.is_regular_file() ? contentOf(entry.path()) : "no file";
    return files;
}

} // namespace glintro::test
