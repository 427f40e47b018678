#include <algorithm>
#include <array>
#include <limits>
#include <optional>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "core/base/Numbers.h"
#include "core/edit/EditScript.h"
#include "core/timeline/Storyboard.h"

namespace glintro {
namespace {

using namespace operation;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

struct Bounds {
    double least = -kInfinity;
    double most = kInfinity;
    bool hold(double number) const { return number >= least && number <= most; }
};

constexpr Bounds kTimes{0};
constexpr Bounds kEdges{-Storyboard::kSameMoment}; // a time that near the first edge means it
constexpr Bounds kRates{0.25, 16};
constexpr Bounds kScales{1, 10};

// An end this near the recording's end means it, so that nearly the shortest shot may be asked for.
constexpr Seconds kLeastTrim = Storyboard::kShortestShot - 0.01;

std::string rangeText(Bounds bounds) {
    if (bounds.most < kInfinity) return fmt::format(" from {} to {}", bounds.least, bounds.most);
    return bounds.least > -kInfinity ? fmt::format(" from {}", bounds.least) : "";
}

// What separates words, by their encodings in UTF-8.
constexpr std::array<std::string_view, 25> kWhiteSpace{
    " ",      "\t",     "\n",     "\v",     "\f",     "\r",     "\u0085", "\u00A0", "\u1680",
    "\u2000", "\u2001", "\u2002", "\u2003", "\u2004", "\u2005", "\u2006", "\u2007", "\u2008",
    "\u2009", "\u200A", "\u2028", "\u2029", "\u202F", "\u205F", "\u3000"};

std::string_view trimmed(std::string_view text) {
    for (bool found = true; found;) {
        found = false;
        for (const std::string_view space : kWhiteSpace) {
            const bool before = text.starts_with(space);
            if (before) text.remove_prefix(space.size());
            const bool behind = text.ends_with(space);
            if (behind) text.remove_suffix(space.size());
            found = found || before || behind;
        }
    }
    return text;
}

std::string lookNames() {
    std::string names;
    for (const Look& look : Look::all()) names += (names.empty() ? "" : ", ") + look.name;
    return names;
}

std::string fieldKeys() {
    std::string keys;
    for (const SettingsField& field : SettingsField::all())
        keys.append(keys.empty() ? "" : ", ").append(field.key);
    return keys;
}

// The values of one operation, read from the words behind its name. What is asked for behind the first one
// that is not as expected has no meaning any more.
class Values {
  public:
    // `usage` as the help has it: "speed N RATE".
    Values(std::string_view usage, std::span<const std::string> words) : usage_(usage), words_(words) {}

    std::int64_t shot();
    double number(const char* what, Bounds bounds);
    Seconds time(Bounds bounds = kTimes) { return number("a time in seconds", bounds); }
    std::optional<double> numberIfAny(const char* what, Bounds bounds);
    Trim trim();
    Look look();
    SetField field();
    std::string name();

    std::size_t count() const { return next_; }
    const std::optional<std::string>& refusal() const { return refusal_; }

  private:
    const std::string& next();
    void refuse(std::string_view expectation, std::string_view word);
    std::string_view operationName() const { return usage_.substr(0, usage_.find(' ')); }

    std::string_view usage_;
    std::span<const std::string> words_;
    std::size_t next_ = 0;
    std::optional<std::string> refusal_;
};

const std::string& Values::next() {
    static const std::string none;
    if (next_ < words_.size()) return words_[next_++];
    if (!refusal_) refusal_ = fmt::format("More is expected behind “{}”: {}.", operationName(), usage_);
    return none;
}

void Values::refuse(std::string_view expectation, std::string_view word) {
    if (!refusal_) refusal_ = fmt::format("{} expects {}, not “{}”.", operationName(), expectation, word);
}

std::int64_t Values::shot() {
    const std::string& word = next();
    const auto number = parseWhole(word);
    if (!number || *number < 1) refuse("a shot’s number from 1", word);
    return number.value_or(0);
}

double Values::number(const char* what, Bounds bounds) {
    const std::string& word = next();
    const auto number = parseDecimal(word);
    if (!number || !bounds.hold(*number)) refuse(what + rangeText(bounds), word);
    return number.value_or(0);
}

std::optional<double> Values::numberIfAny(const char* what, Bounds bounds) {
    if (next_ == words_.size() || !parseDecimal(words_[next_])) return std::nullopt;
    return number(what, bounds);
}

Trim Values::trim() {
    const Trim trim{.start = time(), .end = time()};
    if (trim.end - trim.start < kLeastTrim)
        refuse(fmt::format("an END at least {} s behind START", Storyboard::kShortestShot),
               fmt::format("{} {}", trim.start, trim.end));
    return trim;
}

Look Values::look() {
    const std::string& word = next();
    const auto look = Look::named(word);
    if (!look) refuse("one of " + lookNames(), word);
    return look.value_or(Look());
}

SetField Values::field() {
    const std::string& key = next();
    const SettingsField* field = SettingsField::named(key);
    if (!field) refuse("one of " + fieldKeys(), key);
    const std::string& word = next();
    if (!field) return {};
    auto value = field->parse(word);
    if (!value) refuse(fmt::format("{} to be {}", key, field->expectation()), word);
    return {field, std::move(value).value_or(false)};
}

std::string Values::name() {
    const std::string& word = next();
    const std::string_view name = trimmed(word);
    if (name.empty()) refuse("a name", word);
    return std::string(name);
}

// One kind of operation: how it is given, what the help says of it, and how its values are read.
struct Form {
    std::string_view usage;
    std::string_view does;
    EditOperation (*read)(Values& values);

    std::string_view name() const { return usage.substr(0, usage.find(' ')); }
};

constexpr std::array kForms{
    Form{"split T", "Split the shot at T",
         [](Values& values) -> EditOperation { return Split{values.time()}; }},
    Form{"cut N", "Leave shot N out", [](Values& values) -> EditOperation { return Cut{values.shot()}; }},
    Form{"restore N", "Take shot N back in",
         [](Values& values) -> EditOperation { return Restore{values.shot()}; }},
    Form{"speed N RATE", "Play shot N at RATE, 0.25 to 16; 1 is normal",
         [](Values& values) -> EditOperation {
             return SetSpeed{values.shot(), values.number("a rate", kRates)};
         }},
    Form{"zoom N SCALE", "Zoom shot N by SCALE, 1 to 10; 1 makes it wide",
         [](Values& values) -> EditOperation {
             return SetZoom{values.shot(), values.number("a scale", kScales)};
         }},
    Form{"join N", "Make the next shot part of shot N",
         [](Values& values) -> EditOperation { return Join{values.shot()}; }},
    Form{"move FROM TO", "Move the edge at FROM to TO, as far as its neighbours let it",
         [](Values& values) -> EditOperation {
             return MoveEdge{values.time(kEdges), values.time(Bounds())};
         }},
    Form{"trim START END", "Keep only what is between the two",
         [](Values& values) -> EditOperation { return values.trim(); }},
    Form{"untrim", "Keep the whole recording", [](Values&) -> EditOperation { return RemoveTrims(); }},
    Form{"look NAME", "Apply a Look",
         [](Values& values) -> EditOperation { return ApplyLook{values.look()}; }},
    Form{
        "auto-zoom [LEVEL]", "Rebuild the zooms from the clicks, at LEVEL, 1 to 10",
        [](Values& values) -> EditOperation { return RebuildZooms{values.numberIfAny("a level", kScales)}; }},
    Form{"set KEY VALUE", "Set a field of the settings",
         [](Values& values) -> EditOperation { return values.field(); }},
    Form{"rename NAME", "Name the reel",
         [](Values& values) -> EditOperation { return Rename{values.name()}; }},
};

std::string formNames() {
    std::string names;
    for (const Form& form : kForms) names.append(names.empty() ? "" : ", ").append(form.name());
    return names;
}

std::string joined(std::span<const std::string> words) {
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
    return text;
}

} // namespace

Result<EditScript> EditScript::parse(std::span<const std::string> words) {
    EditScript script;
    while (!words.empty()) {
        const auto form = std::ranges::find(kForms, words.front(), &Form::name);
        if (form == kForms.end())
            return failure(fmt::format("“{}” is not an operation. They are {}.", words.front(), formNames()));
        Values values(form->usage, words.subspan(1));
        EditOperation operation = form->read(values);
        if (values.refusal()) return failure(*values.refusal());
        const std::size_t count = 1 + values.count();
        script.steps_.push_back({joined(words.first(count)), std::move(operation)});
        words = words.subspan(count);
    }
    return script;
}

std::string EditScript::help() {
    std::string text;
    for (const Form& form : kForms) text += fmt::format("  {:<18}{}\n", form.usage, form.does);
    text += "\nThe fields of “set”:\n";
    for (const SettingsField& field : SettingsField::all())
        text += fmt::format("  {:<18}{}\n", field.key, field.expectation());
    return text;
}

} // namespace glintro
