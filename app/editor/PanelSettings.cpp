#include "app/editor/PanelSettings.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <type_traits>
#include <utility>
#include <variant>

#include "app/base/Text.h"
#include "core/edit/SettingsField.h"
#include "core/model/Colour.h"
#include "core/model/Enumerations.h"

namespace glintro {
namespace {

template <class T>
using Place = SettingsField::Place<T>;
template <class T>
using Ranged = SettingsField::Ranged<T>;

template <class T>
QVariant toVariant(const T& value) {
    if constexpr (std::is_enum_v<T>)
        return toQt(storedText(value));
    else if constexpr (std::is_same_v<T, std::string>)
        return toQt(value);
    else if constexpr (std::is_same_v<T, std::int64_t>)
        return QVariant(static_cast<qlonglong>(value));
    else
        return QVariant(value);
}

bool isNumber(const QVariant& value) {
    bool isOne = false;
    return value.typeId() != QMetaType::Bool && std::isfinite(value.toDouble(&isOne)) && isOne;
}

std::optional<bool> read(const Place<bool>&, const QVariant& value) {
    return value.typeId() == QMetaType::Bool ? std::optional(value.toBool()) : std::nullopt;
}

std::optional<std::string> read(const Place<std::string>&, const QVariant& value) {
    const std::string text = value.toString().toStdString();
    return parseHexColour(text) ? std::optional(text) : std::nullopt;
}

template <class Number>
std::optional<Number> read(const Ranged<Number>& place, const QVariant& value) {
    if (!isNumber(value)) return std::nullopt;
    const auto least = static_cast<double>(place.least);
    const auto most = static_cast<double>(place.most);
    return static_cast<Number>(std::clamp(value.toDouble(), least, most));
}

template <class Enumeration>
requires std::is_enum_v<Enumeration> std::optional<Enumeration> read(const Place<Enumeration>&,
                                                                     const QVariant& value) {
    return fromStoredText<Enumeration>(value.toString().toStdString());
}

QVariantMap valuesOf(const ProjectSettings& settings) {
    QVariantMap values;
    for (const SettingsField& field : SettingsField::all()) {
        values[toQt(field.key)] =
            std::visit([&](const auto& place) { return toVariant(settings.*place.member); }, field.place);
    }
    return values;
}

} // namespace

PanelSettings::PanelSettings(ReelEdits& edits, QObject* parent)
    : QObject(parent), edits_(edits), values_(valuesOf(edits.settings())) {
    connect(&edits, &ReelEdits::changed, this, &PanelSettings::update);
}

void PanelSettings::update() {
    const QVariantMap values = valuesOf(edits_.settings());
    if (std::exchange(values_, values) != values) emit valuesChanged();
}

QVariantMap PanelSettings::ranges() {
    const ProjectSettings standard;
    QVariantMap ranges;
    for (const SettingsField& field : SettingsField::all()) {
        std::visit(
            [&](const auto& place) {
                if constexpr (requires { place.least; })
                    ranges[toQt(field.key)] = QVariantMap{{"least", toVariant(place.least)},
                                                          {"most", toVariant(place.most)},
                                                          {"standard", toVariant(standard.*place.member)}};
            },
            field.place);
    }
    return ranges;
}

void PanelSettings::set(const QString& key, const QVariant& value) {
    const SettingsField* field = SettingsField::named(key.toStdString());
    if (!field) return;
    std::visit(
        [&](const auto& place) {
            const auto wanted = read(place, value);
            if (wanted) edits_.apply([&](ProjectSettings& settings) { settings.*place.member = *wanted; });
        },
        field->place);
}

void PanelSettings::resetFrame() {
    edits_.edit([](ProjectSettings& settings) {
        const ProjectSettings standard;
        settings.padding = standard.padding;
        settings.cornerRadius = standard.cornerRadius;
        settings.shadow = standard.shadow;
    });
}

} // namespace glintro
