#include "app/shell/EditOptions.h"

#include <memory>
#include <utility>

#include <fmt/format.h>

#include "app/shell/ArgumentValues.h"

namespace glintro {
namespace {

// Names in the usage what the parser does not know.
class EditFormatter final : public CLI::Formatter {
  public:
    std::string make_usage(const CLI::App* app, std::string name) const override {
        std::string usage = CLI::Formatter::make_usage(app, std::move(name));
        usage.insert(usage.find_last_not_of('\n') + 1, " OPERATION...");
        return usage;
    }
};

} // namespace

EditWords editWords(const std::vector<std::string>& words) {
    EditWords result;
    std::vector<std::string> operations;
    bool optionsEnded = false;
    for (const std::string& word : words) {
        if (optionsEnded)
            operations.push_back(word);
        else if (word == "--")
            optionsEnded = true;
        else if (word == "--help" || word == "-h")
            result.isHelp = true;
        else if (word == "--dry-run")
            result.isDryRun = true;
        else if (word == "--json")
            result.isJson = true;
        else if (word.starts_with("--"))
            reject(fmt::format("“{}” is not an option of glintro edit.", word));
        else
            operations.push_back(word);
    }
    if (result.isHelp) return result;
    if (operations.empty()) reject("At least one operation is expected, such as “cut 2”.");
    auto script = EditScript::parse(operations);
    if (!script) reject(script.error().message);
    result.script = *std::move(script);
    return result;
}

void describeEdit(CLI::App& command) {
    auto formatter = std::make_shared<EditFormatter>();
    formatter->label("REQUIRED", "");
    command.formatter(formatter);
    command.prefix_command();
    command.footer("Operations, done in their order, all or none:\n" + EditScript::help()
                   + "Times are seconds of the recording. A shot’s number counts the shots as the operations\n"
                     "before it left them; “glintro inspect” lists them.\n\n"
                     "Examples:\n"
                     "  glintro edit my-reel cut 2 speed 3 4\n"
                     "  glintro edit latest trim 1.5 20 look Dusk set padding 0.05 --dry-run\n"
                     "  glintro edit \"Quarterly demo\" auto-zoom 2.5 rename \"Demo, final\" --json");
}

} // namespace glintro
