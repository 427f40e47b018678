#include "app/shell/ImportCommand.h"

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "app/library/LibraryScan.h"
#include "app/library/ReelImport.h"
#include "app/shell/JsonOutput.h"
#include "app/shell/ProgressBar.h"
#include "app/shell/SignalCancel.h"
#include "app/shell/TerminalText.h"
#include "core/model/TimeFormat.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;

// A signal handler may set a flag and no more; this asks for the stop as soon as the flag is set.
class StopOnSignal {
  public:
    std::stop_token token() const { return source_.get_token(); }

  private:
    static constexpr auto kInterval = std::chrono::milliseconds(20);

    void watch(const std::stop_token& end) {
        for (; !end.stop_requested(); std::this_thread::sleep_for(kInterval)) {
            if (cancel_->isCancelled()) source_.request_stop();
        }
    }

    std::shared_ptr<ExportCancel> cancel_ = std::make_shared<ExportCancel>();
    SignalCancel signals_{cancel_};
    std::stop_source source_;
    std::jthread watcher_{[this](const std::stop_token& end) { watch(end); }};
};

// Sentences that the window shows as toasts have no full stop.
Failure asSentence(Failure failure) {
    if (!failure.message.ends_with('.')) failure.message += '.';
    return failure;
}

Result<Project> importFile(const fs::path& file, const LibraryFolder& library, const ReelDefaults& defaults,
                           const std::stop_token& stop) {
    ProgressBar bar;
    auto reel =
        importMovie({.file = file,
                     .library = library,
                     .defaults = defaults,
                     .created = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now()),
                     .progress =
                         [&bar](const ImportProgress& progress) {
                             const auto total = static_cast<double>(progress.total);
                             bar.show(total > 0 ? static_cast<double>(progress.done) / total : 0, 0, 0);
                         },
                     .stop = stop});
    if (!reel) return std::unexpected(asSentence(std::move(reel.error())));
    return reel;
}

void printLine(const Project& reel, const Console& console) {
    const ProjectInfo& info = reel.info;
    fmt::print(console.out, "{}\n  {}, {:.0f} × {:.0f}, {}{}\n", printable(reel.folder().string()),
               printable(info.name), info.width, info.height, timecode(info.duration),
               info.hasAudio ? ", sound" : "");
    console.out.flush();
}

nlohmann::json toJson(const Project& reel) {
    const ProjectInfo& info = reel.info;
    return {{"reel", reel.folder().string()}, {"name", info.name},
            {"duration", info.duration},      {"width", info.width},
            {"height", info.height},          {"hasAudio", info.hasAudio}};
}

// What earlier imports left when they were killed.
void removeAbandonedImports(const LibraryFolder& library) {
    for (const fs::path& folder : scanLibrary(library.root()).content.abandonedImports)
        removeAbandonedImport(folder);
}

} // namespace

Result<void> runImport(const ImportArguments& arguments, const LibraryFolder& library,
                       const ReelDefaults& defaults, const Console& console) {
    removeAbandonedImports(library);
    const StopOnSignal stop;
    const std::size_t count = arguments.files.size();
    nlohmann::json all = nlohmann::json::array();
    std::size_t failures = 0;
    for (const fs::path& file : arguments.files) {
        const auto reel = importFile(file, library, defaults, stop.token());
        if (!reel && (count == 1 || reel.error().isCancelled())) {
            if (count > 1 && arguments.report == Report::json) printJson(all, console); // what was imported
            return std::unexpected(reel.error());
        }
        if (!reel) console.warn(fmt::format("{}: {}", file.string(), reel.error().message));
        if (reel && arguments.report == Report::text) printLine(*reel, console);
        failures += reel ? 0 : 1;
        nlohmann::json entry = reel ? toJson(*reel) : nlohmann::json{{"error", reel.error().message}};
        entry["file"] = file.string();
        all.push_back(std::move(entry));
    }
    if (arguments.report == Report::json) printJson(count == 1 ? all.front() : all, console);
    if (failures == 0) return {};
    return failure(fmt::format("{} of {} files could not be imported.", failures, count));
}

} // namespace glintro
