#include "app/shell/RecordCommand.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>
#include <variant>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "app/library/LibraryFolder.h"
#include "app/recording/RecordingController.h"
#include "app/shell/CommandLibrary.h"
#include "app/shell/JsonOutput.h"
#include "app/shell/RecordingLine.h"
#include "app/shell/SignalCancel.h"
#include "app/shell/SourceNames.h"
#include "app/shell/TerminalLine.h"
#include "app/shell/TerminalText.h"
#include "core/model/TimeFormat.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;

using Phase = RecordingController::Phase;
constexpr std::chrono::milliseconds kLookAtSignals{50};

// What the controller shows, on a console.
class ConsoleViews final : public MessageView, public MainWindowView {
  public:
    ConsoleViews(const Console& console, TerminalLine& line) : console_(console), line_(line) {}

    void showReel(const Project& project) override { reel_ = project; }
    void presentPermissionSheet() override {
        keep("Glintro may not record this screen. Allow it in the system’s settings.");
    }
    void alert(const QString&, const QString& text) override { keep(text.toStdString()); }
    void notice(const QString& sentence) override {
        notices_.push_back(sentence.toStdString());
        if (isRunning_) tell();
    }

    // Notices wait for this, for the last one may be why there is no take.
    void takeIsRunning() {
        isRunning_ = true;
        tell();
    }
    // Why no take came of it, after all that was noticed before.
    Failure whyNothing() {
        Failure why = failure_.value_or(Failure{"Nothing was recorded."});
        if (!failure_ && !notices_.empty()) {
            why = {notices_.back()};
            notices_.pop_back();
        }
        tell();
        return why;
    }

    const std::optional<Project>& reel() const { return reel_; }
    const std::optional<Failure>& failure() const { return failure_; } // the last one

  private:
    // Those before the last one have been said already.
    void keep(const std::string& sentence) {
        if (failure_) notice(QString::fromStdString(failure_->message));
        failure_ = Failure{sentence};
    }

    void tell() {
        line_.wipe();
        for (const std::string& sentence : std::exchange(notices_, {})) console_.warn(sentence);
    }

    const Console& console_;
    TerminalLine& line_;
    bool isRunning_ = false;
    std::vector<std::string> notices_; // still to be told
    std::optional<Project> reel_;
    std::optional<Failure> failure_;
};

// What a command line chose to record.
using Target = std::variant<CaptureSource::Kind, Rect>;

Result<Target> chosenTarget(const RecordArguments& arguments, const ShareableContent& content) {
    if (arguments.area) {
        if (auto filter = filterFor(*arguments.area, content); !filter)
            return std::unexpected(filter.error());
        return *arguments.area;
    }
    if (arguments.window) return windowNamed(*arguments.window, content);
    if (arguments.display) return displayNamed(*arguments.display, content);
    return mainDisplay(content);
}

// One take from the first picture to the reel, on an event loop of its own.
class Recording {
  public:
    Recording(const RecordArguments& arguments, Platform& platform, const Console& console,
              CommandLibrary& library);

    Result<Project> run(const Target& target);
    const CaptureProgress& progress() { return controller_.progress()->value(); }
    // Why the take ended before it should have.
    const std::optional<Failure>& failure() const { return views_.failure(); }

  private:
    void begin(const Target& target);
    void phaseChanged();
    void look();

    const RecordArguments& arguments_;
    TerminalLine line_;
    ConsoleViews views_;
    TransientPreferenceStore store_;
    Preferences preferences_{store_};
    RecordingController controller_;
    std::shared_ptr<ExportCancel> cancel_ = std::make_shared<ExportCancel>();
    SignalCancel signals_{cancel_};
    QTimer lookAtSignals_;
    QTimer timeIsUp_;
    QEventLoop loop_;
    bool isBegun_ = false;
};

// Prepared before the controller reads them.
Preferences& preferencesFor(const RecordArguments& arguments, Preferences& preferences) {
    preferences.setCaptureFPS(*arguments.fps);
    preferences.setUseHEVC(*arguments.hevc);
    preferences.setCountdown(false);
    preferences.setRecordMic(arguments.microphone.on);
    preferences.setRecordCamera(arguments.camera.on);
    return preferences;
}

Recording::Recording(const RecordArguments& arguments, Platform& platform, const Console& console,
                     CommandLibrary& library)
    : arguments_(arguments),
      views_(console, line_),
      controller_({platform, preferencesFor(arguments, preferences_), {views_, views_}, library}) {
    controller_.switches()->setDevices(arguments.microphone.name, arguments.camera.name);
    QObject::connect(&controller_, &RecordingController::phaseChanged, &loop_, [this] { phaseChanged(); });
    QObject::connect(&controller_, &RecordingController::ended, &loop_, [this] { loop_.quit(); });
    QObject::connect(&lookAtSignals_, &QTimer::timeout, &loop_, [this] { look(); });
    QObject::connect(&timeIsUp_, &QTimer::timeout, &controller_, &RecordingController::stop);
    timeIsUp_.setSingleShot(true);
    timeIsUp_.setTimerType(Qt::PreciseTimer);
    lookAtSignals_.start(kLookAtSignals);
}

Result<Project> Recording::run(const Target& target) {
    QObject::connect(controller_.sources(), &RecordingSources::offerChanged, &loop_,
                     [this, target] { begin(target); });
    controller_.openBar();
    if (arguments_.choose) controller_.chooseAgain();
    if (controller_.phase() == Phase::choosing) loop_.exec();
    line_.wipe();
    if (views_.reel()) return *views_.reel();
    if (cancel_->isCancelled() && !views_.failure()) return std::unexpected(Failure::cancelled());
    return std::unexpected(views_.whyNothing());
}

void Recording::begin(const Target& target) {
    if (std::exchange(isBegun_, true)) return;
    if (const auto* area = std::get_if<Rect>(&target))
        controller_.setArea(*area);
    else
        controller_.select(std::get<CaptureSource::Kind>(target));
    controller_.start();
}

void Recording::phaseChanged() {
    if (controller_.phase() == Phase::recording) views_.takeIsRunning();
    if (controller_.phase() != Phase::recording || !arguments_.seconds || timeIsUp_.isActive()) return;
    const Seconds left = std::max(0.0, *arguments_.seconds - controller_.elapsed());
    timeIsUp_.start(std::chrono::milliseconds(std::lround(left * 1000)));
}

void Recording::look() {
    if (controller_.phase() == Phase::recording) {
        if (cancel_->isCancelled()) return controller_.stop();
        line_.show([this](int columns) {
            return recordingLine(controller_.elapsed(), controller_.progress()->value(), columns);
        });
    } else if (cancel_->isCancelled() && controller_.phase() == Phase::choosing) {
        const bool isWaiting = controller_.isStarting(); // and says itself when that is over
        controller_.closeBar();
        if (!isWaiting) loop_.quit();
    }
}

nlohmann::json toJson(const Project& reel, const CaptureProgress& progress,
                      const RecordArguments& arguments) {
    const ProjectInfo& info = reel.info;
    return {{"folder", fs::absolute(reel.folder()).string()},
            {"name", info.name},
            {"width", info.width},
            {"height", info.height},
            {"duration", info.duration},
            {"fps", *arguments.fps},
            {"frames", progress.frames},
            {"dropped", progress.droppedFrames},
            {"bytes", progress.bytesOnDisk},
            {"encoder", progress.encoder},
            {"hasAudio", info.hasAudio},
            {"hasCamera", info.hasCamera},
            {"cameraOffset", info.cameraOffset},
            {"clicks", reel.loadEvents().clicks.size()},
            {"pointerInPicture", !info.settings.showCursor}};
}

void print(const Project& reel, const CaptureProgress& progress, const Console& console) {
    const ProjectInfo& info = reel.info;
    const std::int64_t clicks = std::ssize(reel.loadEvents().clicks);
    fmt::print(console.out, "{}\n  {:.0f} × {:.0f}, {}{}{}, {}\n  {}, {} dropped, {}\n",
               reel.folder().string(), info.width, info.height, timecode(info.duration),
               info.hasAudio ? ", sound" : "", info.hasCamera ? ", camera" : "", countText(clicks, "click"),
               countText(progress.frames, "frame"), progress.droppedFrames, progress.encoder);
}

} // namespace

Result<void> runRecord(const RecordArguments& wishes, const Preferences& user, Platform& platform,
                       const Console& console) {
    RecordArguments arguments = wishes;
    arguments.fps = wishes.fps.value_or(user.captureFPS());
    arguments.hevc = wishes.hevc.value_or(user.useHEVC());
    CommandLibrary library(arguments.output, reelDefaults(user));
    if (auto checked = library.checkFolder(); !checked) return checked;
    const auto content = platform.screen().content();
    if (!content) return std::unexpected(content.error());
    const auto target = chosenTarget(arguments, *content);
    if (!target) return std::unexpected(target.error());
    if (arguments.choose && !content->chosenInDialog)
        console.warn(
            "This desktop asks nothing, so --choose has no effect; name what to record with --display, "
            "--window or --area.");

    platform.screen().nameChoice(arguments.window.value_or(arguments.display.value_or("")));

    char name[] = "glintro";
    char* words[] = {name, nullptr};
    int count = 1;
    const QCoreApplication application(count, words);
    Recording recording(arguments, platform, console, library);
    const auto reel = recording.run(*target);
    if (!reel) return std::unexpected(reel.error());
    if (arguments.report == Report::json)
        printJson(toJson(*reel, recording.progress(), arguments), console);
    else
        print(*reel, recording.progress(), console);
    if (recording.failure()) return std::unexpected(*recording.failure());
    return {};
}

} // namespace glintro
