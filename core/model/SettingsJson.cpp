#include "core/model/SettingsJson.h"

#include <type_traits>
#include <utility>

#include "core/model/JsonNumbers.h"

namespace glintro {
namespace {

using nlohmann::json;

// read(value, field) stores the value when it is one of the field's type and leaves the field alone
// otherwise.
bool read(const json& value, bool& field) {
    if (!value.is_boolean()) return false;
    field = value.get<bool>();
    return true;
}

bool read(const json& value, double& field) {
    if (!value.is_number()) return false;
    field = value.get<double>();
    return true;
}

bool read(const json& value, std::int64_t& field) {
    if (!value.is_number()) return false;
    const auto integer = value.is_number_float()      ? exactInteger(value.get<double>())
                         : value.is_number_unsigned() ? exactInteger(value.get<std::uint64_t>())
                                                      : exactInteger(value.get<std::int64_t>());
    if (integer) field = *integer;
    return integer.has_value();
}

bool read(const json& value, std::string& field) {
    if (!value.is_string()) return false;
    field = value.get_ref<const std::string&>();
    return true;
}

bool read(const json& value, Uuid& field) {
    const auto uuid = value.is_string() ? Uuid::parse(value.get_ref<const std::string&>()) : std::nullopt;
    if (uuid) field = *uuid;
    return uuid.has_value();
}

template <class Enumeration>
requires std::is_enum_v<Enumeration>
bool read(const json& value, Enumeration& field) {
    if (!value.is_string()) return false;
    const auto found = fromStoredText<Enumeration>(value.get_ref<const std::string&>());
    if (found) field = *found;
    return found.has_value();
}

bool read(const json& value, std::optional<double>& field) {
    double number = 0;
    if (!read(value, number)) return false;
    field = number;
    return true;
}

template <class Element>
bool read(const json& value, std::vector<Element>& field);

template <class Field>
bool readMember(const json& object, const char* key, Field& field) {
    const auto found = object.find(key);
    return found != object.end() && read(*found, field);
}

template <TimeSegment Segment>
bool readRange(const json& value, Segment& segment) {
    return value.is_object() && readMember(value, "id", segment.id)
           && readMember(value, "start", segment.start) && readMember(value, "end", segment.end);
}

bool read(const json& value, ZoomSegment& segment) {
    return readRange(value, segment) && readMember(value, "scale", segment.scale);
}

bool read(const json& value, CutSegment& segment) {
    return readRange(value, segment);
}

bool read(const json& value, SpeedSegment& segment) {
    return readRange(value, segment) && readMember(value, "rate", segment.rate);
}

// An element to read into: a segment without an identity, since drawing one asks the system.
template <class Element>
Element blank() {
    return {};
}
template <TimeSegment Segment>
Segment blank() {
    return {.id = Uuid()};
}

template <class Element>
bool read(const json& value, std::vector<Element>& field) {
    if (!value.is_array()) return false;
    std::vector<Element> elements;
    elements.reserve(value.size());
    for (const json& each : value) {
        if (!read(each, elements.emplace_back(blank<Element>()))) return false;
    }
    field = std::move(elements);
    return true;
}

template <TimeSegment Segment>
json rangeToJson(const Segment& segment) {
    return {{"id", segment.id.text()}, {"start", segment.start}, {"end", segment.end}};
}

json toJson(const ZoomSegment& segment) {
    json object = rangeToJson(segment);
    object["scale"] = segment.scale;
    return object;
}

json toJson(const CutSegment& segment) {
    return rangeToJson(segment);
}

json toJson(const SpeedSegment& segment) {
    json object = rangeToJson(segment);
    object["rate"] = segment.rate;
    return object;
}

template <class Segment>
json toJson(const std::vector<Segment>& segments) {
    json list = json::array();
    for (const Segment& segment : segments) list.push_back(toJson(segment));
    return list;
}

} // namespace

json settingsToJson(const ProjectSettings& settings) {
    json object{
        {"background", storedText(settings.background)},
        {"gradientIndex", settings.gradientIndex},
        {"solidHex", settings.solidHex},
        {"wallpaperBlur", settings.wallpaperBlur},
        {"padding", settings.padding},
        {"cornerRadius", settings.cornerRadius},
        {"shadow", settings.shadow},
        {"aspect", storedText(settings.aspect)},
        {"showCursor", settings.showCursor},
        {"cursorSize", settings.cursorSize},
        {"cursorSmoothing", settings.cursorSmoothing},
        {"clickRipple", settings.clickRipple},
        {"zooms", toJson(settings.zooms)},
        {"followCursor", settings.followCursor},
        {"trimStart", settings.trimStart},
        {"cuts", toJson(settings.cuts)},
        {"speeds", toJson(settings.speeds)},
        {"splits", settings.splits},
        {"showCamera", settings.showCamera},
        {"camCorner", storedText(settings.camCorner)},
        {"camShape", storedText(settings.camShape)},
        {"camSize", settings.camSize},
    };
    if (settings.trimEnd) object["trimEnd"] = *settings.trimEnd;
    return object;
}

ProjectSettings settingsFromJson(const json& object) {
    ProjectSettings settings;
    // Whether a value could be read does not matter: the field keeps its default otherwise.
    readMember(object, "background", settings.background);
    readMember(object, "gradientIndex", settings.gradientIndex);
    readMember(object, "solidHex", settings.solidHex);
    readMember(object, "wallpaperBlur", settings.wallpaperBlur);
    readMember(object, "padding", settings.padding);
    readMember(object, "cornerRadius", settings.cornerRadius);
    readMember(object, "shadow", settings.shadow);
    readMember(object, "aspect", settings.aspect);
    readMember(object, "showCursor", settings.showCursor);
    readMember(object, "cursorSize", settings.cursorSize);
    readMember(object, "cursorSmoothing", settings.cursorSmoothing);
    readMember(object, "clickRipple", settings.clickRipple);
    readMember(object, "zooms", settings.zooms);
    readMember(object, "followCursor", settings.followCursor);
    readMember(object, "trimStart", settings.trimStart);
    readMember(object, "trimEnd", settings.trimEnd);
    readMember(object, "cuts", settings.cuts);
    readMember(object, "speeds", settings.speeds);
    readMember(object, "splits", settings.splits);
    readMember(object, "showCamera", settings.showCamera);
    readMember(object, "camCorner", settings.camCorner);
    readMember(object, "camShape", settings.camShape);
    readMember(object, "camSize", settings.camSize);
    return settings;
}

} // namespace glintro
