#include "core/model/ProjectInfo.h"

#include <algorithm>
#include <cmath>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "core/model/JsonText.h"
#include "core/model/SettingsJson.h"

namespace glintro {
namespace {

using nlohmann::json;

constexpr JsonLimits kLimits{.bytes = kLongestProjectText, .values = 1'000'000, .depth = 512};
constexpr const char* kDamaged = "The project file is damaged.";

std::unexpected<Failure> damaged(std::string detail) {
    return failure(kDamaged, std::move(detail));
}

const json* member(const json& object, const char* key, bool (json::*hasType)() const noexcept) {
    const auto found = object.find(key);
    return found != object.end() && ((*found).*hasType)() ? &*found : nullptr;
}

// Reads the record's values one after the other and remembers the first that is missing or mistyped.
class RecordReader {
  public:
    explicit RecordReader(const json& record) : record_(record) {}

    std::string text(const char* key) {
        const json* value = require(key, &json::is_string);
        return value ? value->get<std::string>() : std::string();
    }
    double number(const char* key) {
        const json* value = require(key, &json::is_number);
        return value ? value->get<double>() : 0;
    }
    bool flag(const char* key) {
        const json* value = require(key, &json::is_boolean);
        return value && value->get<bool>();
    }
    Timestamp time(const char* key) {
        const auto value = parseTimestamp(text(key));
        if (!value) reject(key);
        return value.value_or(Timestamp());
    }
    ProjectSettings settings(const char* key) {
        const json* value = require(key, &json::is_object);
        return value ? settingsFromJson(*value) : ProjectSettings();
    }
    const std::string& rejectedKey() const { return rejectedKey_; }

  private:
    const json* require(const char* key, bool (json::*hasType)() const noexcept) {
        const json* value = member(record_, key, hasType);
        if (!value) reject(key);
        return value;
    }
    void reject(const char* key) {
        if (rejectedKey_.empty()) rejectedKey_ = key;
    }

    const json& record_;
    std::string rejectedKey_;
};

bool holdsOnlyFiniteNumbers(const json& value) {
    if (value.is_structured()) return std::ranges::all_of(value, holdsOnlyFiniteNumbers);
    return !value.is_number_float() || std::isfinite(value.get<double>());
}

} // namespace

Result<ProjectInfo> decodeProjectInfo(std::string_view text) {
    const auto record = parseJson(text, kLimits);
    if (!record) return damaged(record.error().detail);
    if (!record->is_object()) return damaged("not a JSON object");
    RecordReader reader(*record);
    ProjectInfo info;
    info.name = reader.text("name");
    info.created = reader.time("created");
    info.duration = reader.number("duration");
    info.width = reader.number("width");
    info.height = reader.number("height");
    info.hasCamera = reader.flag("hasCamera");
    info.cameraOffset = reader.number("cameraOffset");
    info.hasAudio = reader.flag("hasAudio");
    info.settings = reader.settings("settings");
    if (!reader.rejectedKey().empty()) {
        return damaged(fmt::format("“{}” is missing or of the wrong type", reader.rejectedKey()));
    }
    return info;
}

Result<std::string> encodeProjectInfo(const ProjectInfo& info) {
    const auto created = timestampText(info.created);
    if (!created) return failure("The date of this reel can’t be stored.");
    const json record{
        {"name", info.name},
        {"created", *created},
        {"duration", info.duration},
        {"width", info.width},
        {"height", info.height},
        {"hasCamera", info.hasCamera},
        {"cameraOffset", info.cameraOffset},
        {"hasAudio", info.hasAudio},
        {"settings", settingsToJson(info.settings)},
    };
    if (!holdsOnlyFiniteNumbers(record))
        return failure("This reel’s edits hold a number that can’t be stored.");
    return record.dump(2, ' ', false, json::error_handler_t::replace);
}

} // namespace glintro
