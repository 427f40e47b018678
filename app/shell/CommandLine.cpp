#include "app/shell/CommandLine.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "app/shell/ArgumentValues.h"
#include "app/shell/EditOptions.h"
#include "app/shell/RecordOptions.h"
#include "app/shell/RenderOptions.h"
#include "app/shell/TerminalText.h"

namespace glintro {
namespace {

constexpr WholeRange kSides{2, 8192};
constexpr WholeRange kFrameRates{1, 240};
constexpr WholeRange kWorkers{1, 256};
constexpr SecondsRange kSampleSeconds{0.5, 3600};
constexpr WholeRange kSampleSides{64, 8192};
constexpr WholeRange kSampleFrameRates{1, 120};
constexpr auto kAbout = "Glintro develops screen recordings into polished demo videos.";
constexpr SecondsRange kTakeSeconds{0.1, 86400};
constexpr WholeRange kGifSides{2, 4096};
constexpr WholeRange kGifFrameRates{1, 50};
constexpr auto kReel = "The reel's folder, its name, or “latest”";

CLI::App* addCommand(CLI::App& app, const std::string& name, const std::string& about,
                     const std::string& examples) {
    CLI::App* command = app.add_subcommand(name, about);
    command->footer("Examples:\n" + examples);
    return command;
}

void addFolder(CLI::App& command, const std::string& name, const std::string& description,
               std::filesystem::path& folder) {
    const auto accept = [&folder](const std::string& text) { folder = text; };
    addText(command, name, accept, description)->type_name("")->required();
}

void addPaths(CLI::App& command, const std::string& name, const std::string& description,
              std::vector<std::filesystem::path>& paths) {
    const auto add = [&paths](const std::vector<std::string>& texts) {
        for (const std::string& text : texts) paths.emplace_back(text);
    };
    addTexts(command, name, add, description)->type_name("")->required();
}

void addFile(CLI::App& command, const std::string& names, std::optional<std::filesystem::path>& file,
             const std::string& description, const std::string& kind = "FILE") {
    const auto accept = [&file](const std::string& text) { file = text; };
    addText(command, names, accept, description)->type_name(kind);
}

void addOutput(CLI::App& command, std::optional<std::filesystem::path>& output) {
    addFile(command, "-o,--output", output,
            "The file to write; without it a new one\nin the current folder, named after the reel");
}

void addWallpaper(CLI::App& command, std::optional<std::filesystem::path>& wallpaper) {
    addFile(command, "--wallpaper", wallpaper, "The picture behind the Look “Desktop”");
}

void addReport(CLI::App& command, Report& report) {
    command.add_flag_callback(
        "--json", [&report] { report = Report::json; }, "Print JSON");
}

// The command line as it is described to the parser, and where that puts the values.
class Grammar {
  public:
    Grammar();

    std::expected<Command, Notice> parse(const std::vector<std::string>& arguments);

  private:
    void describeRender();
    void describeStill();
    void describeInspect();
    void describeSample();
    void describeRecord();
    void describeSources();
    void describeRecover();
    void describeList();
    void describeImport();
    void describeEdit();
    Command command() const;
    RenderArguments render() const;
    StillArguments still() const;
    RecordArguments record() const;
    EditArguments edit() const;
    std::string expectation(const CLI::ParseError& error) const;
    Notice wrongUsage(const std::string& sentence) const;

    CLI::App app_{kAbout, "glintro"};
    CLI::App* render_ = nullptr;
    CLI::App* still_ = nullptr;
    CLI::App* inspect_ = nullptr;
    CLI::App* sample_ = nullptr;
    CLI::App* record_ = nullptr;
    CLI::App* sources_ = nullptr;
    CLI::App* recover_ = nullptr;
    CLI::App* list_ = nullptr;
    CLI::App* import_ = nullptr;
    CLI::App* edit_ = nullptr;
    RenderArguments renderArguments_;
    RenderWishes renderWishes_;
    StillArguments stillArguments_;
    InspectArguments inspectArguments_;
    SampleArguments sampleArguments_;
    RecordArguments recordArguments_;
    SourcesArguments sourcesArguments_;
    RecoverArguments recoverArguments_;
    ListArguments listArguments_;
    ImportArguments importArguments_;
    EditArguments editArguments_;
    std::vector<std::string> literal_; // what stands behind "--" of an edit, with it
};

Grammar::Grammar() {
    app_.get_formatter()->label("REQUIRED", "");
    app_.get_formatter()->label("SUBCOMMAND", "COMMAND");
    app_.get_formatter()->label("Subcommands", "Commands");
    app_.set_version_flag("--version", "glintro " GLINTRO_VERSION, "Print the version and exit");
    app_.set_help_flag("-h,--help", "Print this help and exit");
    app_.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    // At most one: behind the first command word every other word is a file name.
    app_.require_subcommand(1);
    app_.footer(
        "Run “glintro COMMAND --help” for what a command takes.\n"
        "The exit status is 0 for success, 1 for failure and 2 for a wrong command line.");
    describeRender();
    describeStill();
    describeInspect();
    describeSample();
    describeRecord();
    describeSources();
    describeRecover();
    describeList();
    describeImport();
    describeEdit();
}

void Grammar::describeRender() {
    render_ = addCommand(app_, "render", "Render reels as they are edited to MP4 movies or GIFs",
                         "  glintro render my-reel\n"
                         "  glintro render my-reel -o demo.mp4 --short-side 1440 --look Dusk\n"
                         "  glintro render my-reel --aspect 9:16 --fill --fps 30\n"
                         "  glintro render my-reel -o demo.gif --gif-width 800\n"
                         "  glintro render 2026-11-*/* --preset vertical\n"
                         "Ctrl-C cancels, with exit status 1, and leaves no unfinished file.");
    RenderArguments& to = renderArguments_;
    RenderWishes& wishes = renderWishes_;
    addPaths(*render_, "REEL", "The reels' folders, their names, or “latest”", to.reels);
    addOutput(*render_, wishes.output);
    addPreset(*render_, wishes.preset);
    addFormat(*render_, wishes.format);
    addWhole(*render_, "--short-side", kSides, wishes.shortSide,
             "Shorter side of the movie in pixels (default 1080)");
    addWhole(*render_, "--fps", kFrameRates, wishes.fps, "Frames a second of a movie (default 60)");
    addWhole(*render_, "--gif-width", kGifSides, wishes.gifWidth,
             "Longer side of the GIF in pixels (default 640)");
    addWhole(*render_, "--gif-fps", kGifFrameRates, wishes.gifFps, "Frames a second of a GIF (default 15)");
    addAspect(*render_, wishes.aspect);
    render_->add_flag_callback(
        "--fill", [&wishes] { wishes.fill = true; }, "Crop the recording so that it fills the canvas");
    addLook(*render_, to.look);
    addWallpaper(*render_, to.wallpaper);
    addWhole(*render_, "--workers", kWorkers, to.workers, "Threads that draw (default: one for each core)");
    addReport(*render_, to.report);
}

// What can only be judged once all options are known.
RenderArguments Grammar::render() const {
    RenderArguments arguments = renderArguments_;
    const auto options = exportOptions(renderWishes_);
    if (!options) reject(options.error());
    if (renderWishes_.output && arguments.reels.size() > 1)
        reject("-o names one file, but several reels are given. Without it each is named after its reel.");
    arguments.options = *options;
    arguments.output = renderWishes_.output;
    return arguments;
}

StillArguments Grammar::still() const {
    const auto& output = stillArguments_.output;
    if (output && output->has_extension() && endingOf(*output) != ".png")
        reject(fmt::format("-o expects the name of a .png file, not “{}”.", output->string()));
    return stillArguments_;
}

void Grammar::describeStill() {
    still_ = addCommand(app_, "still", "Render one frame of a reel to a PNG picture",
                        "  glintro still my-reel\n"
                        "  glintro still my-reel --at 12.5 -o frame.png --long-side 3840");
    StillArguments& to = stillArguments_;
    addFolder(*still_, "REEL", kReel, to.reel);
    addTime(*still_, "--at", to.at, "Time in the recording, in seconds (default 0)");
    addOutput(*still_, to.output);
    addWhole(*still_, "--long-side", kSides, to.longSide,
             "Longer side of the picture in pixels (default 1920)");
    addLook(*still_, to.look);
    addWallpaper(*still_, to.wallpaper);
}

void Grammar::describeInspect() {
    inspect_ = addCommand(app_, "inspect", "Print what a reel holds: its record, shots and pieces",
                          "  glintro inspect my-reel\n"
                          "  glintro inspect my-reel --at 2 --at 7.25 --json");
    InspectArguments& to = inspectArguments_;
    addFolder(*inspect_, "REEL", kReel, to.reel);
    addTimes(*inspect_, "--at", to.at,
             "Time in the recording, in seconds, to print the\nzoom and the pointer of; may be repeated");
    addReport(*inspect_, to.report);
}

void Grammar::describeSample() {
    sample_ = addCommand(app_, "sample", "Make a synthetic reel that looks like a real take",
                         "  glintro sample my-reel\n"
                         "  glintro sample my-reel --seconds 60 --size 2560x1600 --seed 7 --no-camera");
    SampleOptions& to = sampleArguments_.options;
    addFolder(*sample_, "DIR", "The folder to make; it must be new or empty", sampleArguments_.folder);
    addSeconds(*sample_, "--seconds", kSampleSeconds, to.seconds, "Length (default 20)");
    addPixelSize(*sample_, "--size", kSampleSides, to.size, "Size in pixels (default 1920x1200)");
    addWhole(*sample_, "--fps", kSampleFrameRates, to.fps, "Frames a second (default 60)");
    addSeed(*sample_, to.seed);
    sample_->add_flag_callback(
        "--no-camera", [&to] { to.camera = SampleCamera::off; }, "Leave out the camera movie");
    sample_->add_flag_callback(
        "--no-mic", [&to] { to.microphone = SampleMicrophone::off; }, "Leave out the sound");
}

void Grammar::describeRecord() {
    record_ = addCommand(app_, "record", "Record a display, a window or an area into a new reel",
                         "  glintro record --seconds 20\n"
                         "  glintro record --window Terminal --mic -o my-reel\n"
                         "  glintro record --display HDMI-1 --fps 30 --camera\n"
                         "  glintro record --area 100,80,1280,720 --seconds 5 --json\n"
                         "Ctrl-C ends the recording; what was recorded is kept.");
    RecordArguments& to = recordArguments_;
    addName(*record_, "--display", to.display, "The display, by its number or name\n(default: the main one)");
    addName(*record_, "--window", to.window, "A window alone, by its title, its application or id");
    addArea(*record_, to.area);
    record_->add_flag_callback(
        "--choose", [&to] { to.choose = true; },
        "Choose again, where the desktop asks\nonly once what to record");
    addDesktop(*record_, to.on);
    addSeconds(*record_, "--seconds", kTakeSeconds, to.seconds, "End by itself after so long");
    addDevice(*record_, "--mic", to.microphone, "Record the microphone, the default one\nor the one named");
    addDevice(*record_, "--camera", to.camera, "Record the camera, the default one\nor the one named");
    addCaptureRate(*record_, to.fps);
    record_->add_flag_callback(
        "--hevc", [&to] { to.hevc = true; }, "Record HEVC: smaller files");
    record_->add_flag_callback(
        "--no-hevc", [&to] { to.hevc = false; }, "Record H.264 (default, unless you prefer HEVC)");
    addFile(*record_, "-o,--output", to.output,
            "The reel's folder, which must be new or empty;\nwithout it a new one in the library", "DIR");
    addReport(*record_, to.report);
}

RecordArguments Grammar::record() const {
    const RecordArguments& to = recordArguments_;
    if (to.display && to.window) reject("--window does not go with --display: a window is recorded alone.");
    if (to.area && (to.display || to.window))
        reject(fmt::format("--area does not go with {}: it is counted on the whole desktop.",
                           to.display ? "--display" : "--window"));
    return to;
}

void Grammar::describeSources() {
    sources_ = addCommand(app_, "sources", "List what can be recorded: displays, windows, devices",
                          "  glintro sources\n"
                          "  glintro sources --json");
    addDesktop(*sources_, sourcesArguments_.on);
    addReport(*sources_, sourcesArguments_.report);
}

void Grammar::describeRecover() {
    recover_ = addCommand(app_, "recover", "Complete interrupted recordings and rebuild damaged reels",
                          "  glintro recover my-reel\n"
                          "  glintro recover ~/Videos/Glintro/*/* --json\n"
                          "A reel that is fine is left alone, and so is a recording that still runs.");
    addPaths(*recover_, "REEL", "The reels' folders", recoverArguments_.reels);
    addReport(*recover_, recoverArguments_.report);
}

void Grammar::describeList() {
    list_ = addCommand(app_, "list", "List the reels of the library, newest first",
                       "  glintro list\n"
                       "  glintro list demo --json");
    const auto accept = [this](const std::string& text) { listArguments_.query = text; };
    addText(*list_, "QUERY", accept, "Only the reels whose name contains this")->type_name("");
    addReport(*list_, listArguments_.report);
}

void Grammar::describeImport() {
    import_ = addCommand(app_, "import", "Make reels in the library of movie files",
                         "  glintro import talk.mp4\n"
                         "  glintro import takes/*.mov --json\n"
                         "Ctrl-C cancels, with exit status 1, and leaves no unfinished reel.");
    addPaths(*import_, "FILE", "The movies, which stay as they are", importArguments_.files);
    addReport(*import_, importArguments_.report);
}

void Grammar::describeEdit() {
    edit_ = app_.add_subcommand("edit", "Edit a reel: cut, split, zoom, speed up, trim, style");
    glintro::describeEdit(*edit_);
    addFolder(*edit_, "REEL", kReel, editArguments_.reel);
    edit_->add_flag_callback(
        "--dry-run", [this] { editArguments_.isDryRun = true; }, "Say what would be, and save nothing");
    addReport(*edit_, editArguments_.report);
}

EditArguments Grammar::edit() const {
    std::vector<std::string> behindTheReel = edit_->remaining();
    behindTheReel.insert(behindTheReel.end(), literal_.begin(), literal_.end());
    EditWords words = editWords(behindTheReel);
    if (words.isHelp) throw CLI::CallForHelp();
    EditArguments arguments = editArguments_;
    arguments.script = std::move(words.script);
    arguments.isDryRun = arguments.isDryRun || words.isDryRun;
    if (words.isJson) arguments.report = Report::json;
    return arguments;
}

Command Grammar::command() const {
    if (render_->parsed()) return render();
    if (still_->parsed()) return still();
    if (inspect_->parsed()) return inspectArguments_;
    if (record_->parsed()) return record();
    if (sources_->parsed()) return sourcesArguments_;
    if (recover_->parsed()) return recoverArguments_;
    if (list_->parsed()) return listArguments_;
    if (import_->parsed()) return importArguments_;
    if (edit_->parsed()) return edit();
    return sampleArguments_;
}

std::string Grammar::expectation(const CLI::ParseError& error) const {
    const auto chosen = app_.get_subcommands();
    const auto extra = app_.remaining(true);
    if (error.get_name() == "ValidationError") return error.what();
    if (chosen.empty() && extra.empty()) return "A command is expected: there is no window to open yet.";
    if (chosen.empty() && !extra.front().starts_with('-'))
        return fmt::format("“{}” is not a command of glintro.", extra.front());
    if (!extra.empty() && extra.front().starts_with('-'))
        return fmt::format("“{}” is not an option of {}.", extra.front(),
                           chosen.empty() ? "glintro" : "glintro " + chosen.front()->get_name());
    if (!extra.empty()) return fmt::format("“{}” is one argument too many.", extra.front());
    if (error.get_name() == "ArgumentMismatch")
        return fmt::format(
            "{} expects a value.",
            std::string_view(error.what()).substr(0, std::string_view(error.what()).find(':')));
    return fmt::format("{}.", error.what());
}

std::expected<Command, Notice> Grammar::parse(const std::vector<std::string>& arguments) {
    try {
        const bool isEdit = !arguments.empty() && arguments.front() == "edit";
        const auto end = isEdit ? std::ranges::find(arguments, "--") : arguments.end();
        literal_.assign(end, arguments.end());
        app_.parse(std::vector<std::string>(std::reverse_iterator(end), arguments.rend()));
        return command();
    } catch (const CLI::CallForVersion& version) {
        return std::unexpected(Notice{ExitStatus::success, fmt::format("{}\n", version.what())});
    } catch (const CLI::CallForHelp&) {
        return std::unexpected(Notice{ExitStatus::success, app_.help()});
    } catch (const CLI::ParseError& error) {
        return std::unexpected(wrongUsage(expectation(error)));
    }
}

Notice Grammar::wrongUsage(const std::string& sentence) const {
    const auto chosen = app_.get_subcommands();
    const bool nothingGiven = chosen.empty() && app_.remaining().empty();
    const std::string command = chosen.empty() ? "" : chosen.front()->get_name() + " ";
    const std::string help = nothingGiven
                                 ? "\n" + app_.help()
                                 : fmt::format("Run “glintro {}--help” to see what it takes.\n", command);
    return {ExitStatus::wrongUsage, fmt::format("glintro: {}\n{}", printable(sentence), help)};
}

} // namespace

std::expected<Command, Notice> parseCommandLine(const std::vector<std::string>& arguments) {
    return Grammar().parse(arguments);
}

} // namespace glintro
