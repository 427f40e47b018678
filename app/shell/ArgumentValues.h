#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "app/editor/RenderPreset.h"
#include "core/base/Geometry.h"
#include "core/export/ExportOptions.h"
#include "core/model/Enumerations.h"
#include "core/model/Look.h"

// Options with checked values. Each one rejects a value by a CLI::ValidationError whose message is one whole
// sentence that says what is expected.
namespace glintro {

struct WholeRange {
    int least;
    int most;
};

struct SecondsRange {
    Seconds least;
    Seconds most;
};

CLI::Option* addText(CLI::App& app, const std::string& names, std::function<void(const std::string&)> accept,
                     const std::string& description);
// One or more words.
CLI::Option* addTexts(CLI::App& app, const std::string& names,
                      std::function<void(const std::vector<std::string>&)> accept,
                      const std::string& description);
CLI::Option* addWholeNumber(CLI::App& app, const std::string& names, WholeRange range,
                            std::function<void(int)> accept, const std::string& description);
template <class Number> // int or std::optional<int>
CLI::Option* addWhole(CLI::App& app, const std::string& names, WholeRange range, Number& value,
                      const std::string& description) {
    return addWholeNumber(
        app, names, range, [&value](int number) { value = number; }, description);
}
CLI::Option* addTime(CLI::App& app, const std::string& names, Seconds& value, const std::string& description);
// May be given more than once.
CLI::Option* addTimes(CLI::App& app, const std::string& names, std::vector<Seconds>& values,
                      const std::string& description);
CLI::Option* addSecondsNumber(CLI::App& app, const std::string& names, SecondsRange range,
                              std::function<void(Seconds)> accept, const std::string& description);
template <class Number> // Seconds or std::optional<Seconds>
CLI::Option* addSeconds(CLI::App& app, const std::string& names, SecondsRange range, Number& value,
                        const std::string& description) {
    return addSecondsNumber(
        app, names, range, [&value](Seconds seconds) { value = seconds; }, description);
}
// "2560x1600": two even numbers.
CLI::Option* addPixelSize(CLI::App& app, const std::string& names, WholeRange range, PixelSize& value,
                          const std::string& description);
CLI::Option* addSeed(CLI::App& app, std::uint64_t& value);
CLI::Option* addAspect(CLI::App& app, std::optional<AspectRatio>& value);
CLI::Option* addLook(CLI::App& app, std::optional<Look>& value);
CLI::Option* addPreset(CLI::App& app, std::optional<RenderPreset>& value);
CLI::Option* addFormat(CLI::App& app, std::optional<ExportFormat>& value);

[[noreturn]] void reject(const std::string& sentence);

} // namespace glintro
