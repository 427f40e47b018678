#include "core/edit/SettingsField.h"

#include <algorithm>
#include <array>
#include <type_traits>

#include <fmt/format.h>

#include "core/base/Numbers.h"
#include "core/model/Colour.h"
#include "core/model/Presets.h"

namespace glintro {
namespace {

using Settings = ProjectSettings;
using Field = SettingsField;

constexpr SettingsField::AnyPlace decimal(double Settings::*member, double least, double most) {
    return Field::Ranged<double>{member, least, most};
}

constexpr SettingsField::AnyPlace whole(std::int64_t Settings::*member, std::int64_t least,
                                        std::int64_t most) {
    return Field::Ranged<std::int64_t>{member, least, most};
}

template <class T>
constexpr SettingsField::AnyPlace plain(T Settings::*member) {
    return Field::Place<T>{member};
}

constexpr std::int64_t kLastGradient = Presets::gradients.size() - 1;

constexpr std::array<SettingsField, 17> kFields{{
    {"background", plain(&Settings::background)},
    {"gradientIndex", whole(&Settings::gradientIndex, 0, kLastGradient)},
    {"solidHex", plain(&Settings::solidHex)},
    {"wallpaperBlur", decimal(&Settings::wallpaperBlur, 0, 100)},
    {"padding", decimal(&Settings::padding, 0, 0.2)},
    {"cornerRadius", decimal(&Settings::cornerRadius, 0, 60)},
    {"shadow", decimal(&Settings::shadow, 0, 1)},
    {"aspect", plain(&Settings::aspect)},
    {"showCursor", plain(&Settings::showCursor)},
    {"cursorSize", decimal(&Settings::cursorSize, 0.8, 3)},
    {"cursorSmoothing", decimal(&Settings::cursorSmoothing, 0, 1)},
    {"clickRipple", plain(&Settings::clickRipple)},
    {"followCursor", plain(&Settings::followCursor)},
    {"showCamera", plain(&Settings::showCamera)},
    {"camCorner", plain(&Settings::camCorner)},
    {"camShape", plain(&Settings::camShape)},
    {"camSize", decimal(&Settings::camSize, 0.12, 0.4)},
}};

std::string expects(const Field::Place<bool>&) {
    return "true or false";
}

std::string expects(const Field::Place<std::string>&) {
    return "a colour such as #16161C";
}

std::string expects(const Field::Ranged<std::int64_t>& place) {
    return fmt::format("a whole number from {} to {}", place.least, place.most);
}

std::string expects(const Field::Ranged<double>& place) {
    return fmt::format("a number from {} to {}", place.least, place.most);
}

template <class Enumeration>
std::string expects(const Field::Place<Enumeration>&) {
    std::string texts;
    for (const Enumeration each : allCases<Enumeration>)
        texts.append(texts.empty() ? "one of " : ", ").append(storedText(each));
    return texts;
}

std::optional<bool> read(const Field::Place<bool>&, std::string_view text) {
    if (text != "true" && text != "false") return std::nullopt;
    return text == "true";
}

std::optional<std::string> read(const Field::Place<std::string>&, std::string_view text) {
    return parseHexColour(text) ? std::optional<std::string>(text) : std::nullopt;
}

template <class Number>
std::optional<Number> within(const Field::Ranged<Number>& place, std::optional<Number> number) {
    const bool fits = number && *number >= place.least && *number <= place.most;
    return fits ? number : std::nullopt;
}

std::optional<std::int64_t> read(const Field::Ranged<std::int64_t>& place, std::string_view text) {
    return within(place, parseWhole(text));
}

std::optional<double> read(const Field::Ranged<double>& place, std::string_view text) {
    return within(place, parseDecimal(text));
}

template <class Enumeration>
std::optional<Enumeration> read(const Field::Place<Enumeration>&, std::string_view text) {
    return fromStoredText<Enumeration>(text);
}

} // namespace

std::span<const SettingsField> SettingsField::all() {
    return kFields;
}

const SettingsField* SettingsField::named(std::string_view key) {
    const auto field = std::ranges::find(kFields, key, &SettingsField::key);
    return field == kFields.end() ? nullptr : &*field;
}

std::string SettingsField::expectation() const {
    return std::visit([](const auto& typed) { return expects(typed); }, place);
}

std::optional<SettingsField::Value> SettingsField::parse(std::string_view text) const {
    return std::visit(
        [text](const auto& typed) {
            const auto value = read(typed, text);
            return value ? std::optional<Value>(*value) : std::nullopt;
        },
        place);
}

void SettingsField::assign(const Value& value, ProjectSettings& to) const {
    const auto put = [&](const auto& typed) {
        auto& member = to.*typed.member;
        member = std::get<std::remove_reference_t<decltype(member)>>(value);
    };
    std::visit(put, place);
}

} // namespace glintro
