#include "app/shell/GlintroApp.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>

#include <fmt/format.h>

#include "app/library/LibraryFolder.h"
#include "app/preferences/IniPreferenceStore.h"
#include "app/preferences/Preferences.h"
#include "app/shell/CommandLine.h"
#include "app/shell/DemoRender.h"
#include "app/shell/EditCommand.h"
#include "app/shell/ImportCommand.h"
#include "app/shell/InspectCommand.h"
#include "app/shell/ListCommand.h"
#include "app/shell/RecordCommand.h"
#include "app/shell/RecoverCommand.h"
#include "app/shell/ReelFinder.h"
#include "app/shell/RenderCommand.h"
#include "app/shell/SampleCommand.h"
#include "app/shell/SourcesCommand.h"
#include "app/shell/StillCommand.h"
#include "platform/linux/LinuxPlatform.h"

namespace glintro {
namespace {

// The desktop that is asked for by option or environment variable, else the one this process runs in.
Result<LinuxDesktop> desktopFor(std::optional<LinuxDesktop> wanted, const Environment& environment) {
    if (wanted) return *wanted;
    const auto name = environment("GLINTRO_ON");
    if (!name || name->empty()) return currentLinuxDesktop();
    if (const auto desktop = linuxDesktopNamed(*name)) return *desktop;
    return failure(fmt::format("GLINTRO_ON is “{}”; set it to x11 or wayland, or unset it.", *name));
}

struct CommandRunner {
    const Preferences& user;
    const Console& console;
    const Environment& environment;
    Result<void> operator()(RenderArguments arguments) const {
        arguments.folder = user.exportFolder().value_or("");
        for (std::filesystem::path& reel : arguments.reels) {
            if (auto found = replaceByFolder(reel); !found) return found;
        }
        return runRender(arguments, console, [this] { return desktopPicture(); });
    }
    Result<void> operator()(StillArguments arguments) const {
        arguments.folder = user.exportFolder().value_or("");
        if (auto found = replaceByFolder(arguments.reel); !found) return found;
        return runStill(arguments, console, [this] { return desktopPicture(); });
    }
    Result<void> operator()(InspectArguments arguments) const {
        if (auto found = replaceByFolder(arguments.reel); !found) return found;
        return runInspect(arguments, console);
    }
    Result<void> operator()(const SampleArguments& arguments) const { return runSample(arguments, console); }
    Result<void> operator()(const RecordArguments& arguments) const {
        const auto desktop = desktopFor(arguments.on, environment);
        if (!desktop) return std::unexpected(desktop.error());
        return runRecord(arguments, user, *createLinuxPlatform(*desktop), console);
    }
    Result<void> operator()(const SourcesArguments& arguments) const {
        const auto desktop = desktopFor(arguments.on, environment);
        if (!desktop) return std::unexpected(desktop.error());
        return runSources(arguments, *createLinuxPlatform(*desktop), console);
    }
    Result<void> operator()(const RecoverArguments& arguments) const {
        return runRecover(arguments, reelDefaults(user), console);
    }
    Result<void> operator()(const ListArguments& arguments) const {
        return runList(arguments, library(), console);
    }
    Result<void> operator()(const ImportArguments& arguments) const {
        return runImport(arguments, library(), reelDefaults(user), console);
    }
    Result<void> operator()(const EditArguments& arguments) const {
        return runEdit(arguments, ReelFinder(library()), user.defaultZoom(), console);
    }

  private:
    LibraryFolder library() const { return LibraryFolder::ofUser(environment); }
    // What the user named becomes the folder that is meant.
    Result<void> replaceByFolder(std::filesystem::path& reel) const {
        auto folder = ReelFinder(library()).find(reel);
        if (!folder) return std::unexpected(folder.error());
        reel = *std::move(folder);
        return {};
    }
    std::optional<DesktopPicture> desktopPicture() const {
        const auto desktop = desktopFor({}, environment);
        if (!desktop) return std::nullopt;
        return createLinuxPlatform(*desktop)->desktopPicture().picture();
    }
};

} // namespace

std::optional<std::string> processEnvironment(const char* name) {
    const char* value = std::getenv(name);
    return value ? std::optional<std::string>(value) : std::nullopt;
}

ExitStatus GlintroApp::run(const std::vector<std::string>& arguments) const {
    // The last resort for what no layer foresaw, such as a machine out of memory.
    try {
        return flushed(chooseMode(arguments));
    } catch (const std::exception& error) {
        console_.warn(fmt::format("Something went wrong that shouldn’t: {}.", error.what()));
        return ExitStatus::failed;
    }
}

ExitStatus GlintroApp::chooseMode(const std::vector<std::string>& arguments) const {
    for (const char* selfTest : {"GLINTRO_EXPORT_TEST", "GLINTRO_UI_TEST"}) {
        if (!environment_(selfTest)) continue;
        console_.warn(fmt::format("{} is set, but this version has no self-test mode.", selfTest));
        return ExitStatus::failed;
    }
    if (const auto folder = environment_("GLINTRO_RENDER"))
        return DemoRender::run(*folder, environment_, console_);
    return runCommand(arguments);
}

ExitStatus GlintroApp::runCommand(const std::vector<std::string>& arguments) const {
    const auto command = parseCommandLine(arguments);
    if (!command) {
        const Notice& notice = command.error();
        (notice.status == ExitStatus::success ? console_.out : console_.error) << notice.text;
        return notice.status;
    }
    IniPreferenceStore store(IniPreferenceStore::fileOfUser());
    const Preferences user(store);
    const auto done = std::visit(CommandRunner{user, console_, environment_}, *command);
    if (done) return ExitStatus::success;
    console_.warn(done.error().message);
    return ExitStatus::failed;
}

// A result that could not be handed over is a failure. A reader that went away has seen enough to need no
// explanation.
ExitStatus GlintroApp::flushed(ExitStatus status) const {
    errno = 0;
    if (console_.out.flush()) return status;
    if (errno != EPIPE)
        console_.warn(fmt::format("The output can’t be written: {}.",
                                  errno != 0 ? std::strerror(errno) : "the stream failed"));
    return ExitStatus::failed;
}

} // namespace glintro
