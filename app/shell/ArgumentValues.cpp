#include "app/shell/ArgumentValues.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include <fmt/format.h>

#include "core/base/Numbers.h"

namespace glintro {
namespace {

Seconds secondsFrom(const std::string& names, const std::string& text) {
    const auto seconds = parseDecimal(text);
    if (!seconds) reject(fmt::format("{} expects a time in seconds such as 2.5, not “{}”.", names, text));
    return *seconds;
}

std::string lookNames() {
    std::string names;
    for (const Look& look : Look::all()) names += (names.empty() ? "" : ", ") + look.name;
    return names;
}

std::string aspectNames() {
    std::string names;
    for (const AspectRatio aspect : allCases<AspectRatio>)
        names.append(names.empty() ? "" : ", ").append(storedText(aspect));
    return names;
}

} // namespace

void reject(const std::string& sentence) {
    throw CLI::ValidationError(sentence, CLI::ExitCodes::ValidationError);
}

CLI::Option* addText(CLI::App& app, const std::string& names, std::function<void(const std::string&)> accept,
                     const std::string& description) {
    const CLI::callback_t callback = [accept = std::move(accept)](const CLI::results_t& texts) {
        accept(texts.front());
        return true;
    };
    return app.add_option(names, callback, description);
}

CLI::Option* addTexts(CLI::App& app, const std::string& names,
                      std::function<void(const std::vector<std::string>&)> accept,
                      const std::string& description) {
    const CLI::callback_t callback = [accept = std::move(accept)](const CLI::results_t& texts) {
        accept(texts);
        return true;
    };
    return app.add_option(names, callback, description)
        ->take_all()

        ->allow_extra_args();
}

CLI::Option* addWholeNumber(CLI::App& app, const std::string& names, WholeRange range,
                            std::function<void(int)> accept, const std::string& description) {
    const auto check = [names, range, accept = std::move(accept)](const std::string& text) {
        const auto number = parseWhole(text);
        if (!number || *number < range.least || *number > range.most)
            reject(fmt::format("{} expects a whole number from {} to {}, not “{}”.", names, range.least,
                               range.most, text));
        accept(static_cast<int>(*number));
    };
    return addText(app, names, check, description)->type_name("N");
}

CLI::Option* addTime(CLI::App& app, const std::string& names, Seconds& value,
                     const std::string& description) {
    const auto accept = [names, &value](const std::string& text) { value = secondsFrom(names, text); };
    return addText(app, names, accept, description)->type_name("T");
}

CLI::Option* addTimes(CLI::App& app, const std::string& names, std::vector<Seconds>& values,
                      const std::string& description) {
    const CLI::callback_t callback = [names, &values](const CLI::results_t& texts) {
        std::ranges::transform(texts, std::back_inserter(values),
                               [&](const std::string& text) { return secondsFrom(names, text); });
        return true;
    };
    return app.add_option(names, callback, description)->type_name("T")->take_all()->allow_extra_args(false);
}

CLI::Option* addSecondsNumber(CLI::App& app, const std::string& names, SecondsRange range,
                              std::function<void(Seconds)> accept, const std::string& description) {
    const auto check = [names, range, accept = std::move(accept)](const std::string& text) {
        const auto seconds = parseDecimal(text);
        if (!seconds || *seconds < range.least || *seconds > range.most)
            reject(fmt::format("{} expects seconds from {} to {}, not “{}”.", names, range.least, range.most,
                               text));
        accept(*seconds);
    };
    return addText(app, names, check, description)->type_name("N");
}

CLI::Option* addPixelSize(CLI::App& app, const std::string& names, WholeRange range, PixelSize& value,
                          const std::string& description) {
    const auto fits = [range](int side) {
        return side >= range.least && side <= range.most && side % 2 == 0;
    };
    const auto accept = [names, range, fits, &value](const std::string& text) {
        const auto size = parsePixelSize(text);
        if (!size || !fits(size->width) || !fits(size->height))
            reject(fmt::format("{} expects two even numbers from {} to {} such as 1920x1200, not “{}”.",
                               names, range.least, range.most, text));
        value = *size;
    };
    return addText(app, names, accept, description)->type_name("WxH");
}

CLI::Option* addSeed(CLI::App& app, std::uint64_t& value) {
    const auto accept = [&value](const std::string& text) {
        const auto number = parseWhole(text);
        if (!number || *number < 0)
            reject(fmt::format("--seed expects a whole number from 0, not “{}”.", text));
        value = static_cast<std::uint64_t>(*number);
    };
    return addText(app, "--seed", accept, "The same seed gives the same reel (default 1)")->type_name("N");
}

CLI::Option* addAspect(CLI::App& app, std::optional<AspectRatio>& value) {
    const auto accept = [&value](const std::string& text) {
        value = fromStoredText<AspectRatio>(text);
        if (!value) reject(fmt::format("--aspect expects one of {}, not “{}”.", aspectNames(), text));
    };
    return addText(app, "--aspect", accept,
                   "Shape of the canvas instead of the reel's own:\n" + aspectNames())
        ->type_name("SHAPE");
}

CLI::Option* addLook(CLI::App& app, std::optional<Look>& value) {
    const auto accept = [&value](const std::string& text) {
        value = Look::named(text);
        if (!value) reject(fmt::format("There is no Look “{}”. The Looks are {}.", text, lookNames()));
    };
    return addText(app, "--look", accept, "Look instead of the reel's own:\n" + lookNames())
        ->type_name("NAME");
}

CLI::Option* addPreset(CLI::App& app, std::optional<RenderPreset>& value) {
    std::string names;
    for (const RenderPreset preset : kRenderPresets)
        names.append(names.empty() ? "" : ", ").append(identifier(preset));
    const auto accept = [&value, names](const std::string& text) {
        value = renderPreset(text);
        if (!value) reject(fmt::format("--preset expects one of {}, not “{}”.", names, text));
    };
    return addText(app, "--preset", accept, "A way of rendering with its own shape and rate:\n" + names)
        ->type_name("NAME");
}

CLI::Option* addFormat(CLI::App& app, std::optional<ExportFormat>& value) {
    const auto accept = [&value](const std::string& text) {
        if (text != "mp4" && text != "gif")
            reject(fmt::format("--format expects mp4 or gif, not “{}”.", text));
        value = text == "gif" ? ExportFormat::gif : ExportFormat::mp4;
    };
    return addText(app, "--format", accept, "mp4 or gif (default: by the output's ending, else mp4)")
        ->type_name("FORMAT");
}

} // namespace glintro
