#pragma once

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro::test {

enum class SoundServer { pulseAudio, pipeWire };

inline const char* nameOf(SoundServer kind) {
    return kind == SoundServer::pulseAudio ? "PulseAudio" : "PipeWire";
}

// A sound server of a test's own, with the mono microphone "testmic" (called "Test_Microphone") and the
// stereo output "speakers" as its defaults. What is played into the output "micfeed" is what the microphone
// hears. While the object lives, PULSE_SERVER points this process and its children to the server.
class SoundSession {
  public:
    // One sentence when this kind of server cannot be started here.
    static std::optional<std::string> missing(SoundServer kind) {
        const auto needed =
            kind == SoundServer::pulseAudio
                ? std::vector{"pulseaudio", "pactl", "pacat"}
                : std::vector{"dbus-daemon", "pipewire", "wireplumber", "pipewire-pulse", "pactl", "pacat"};
        for (const std::string program : needed) {
            if (std::system(("command -v " + program + " >/dev/null").c_str()) == 0) continue;
            return "The program " + program + " is not installed, so no " + nameOf(kind) + " can be started.";
        }
        return std::nullopt;
    }

    explicit SoundSession(SoundServer kind) : kind_(kind) {
        std::filesystem::create_directory(folder_ / "config");
        kind == SoundServer::pulseAudio ? startPulseAudio() : startPipeWire();
        setting("PULSE_SERVER", server_);
        setting("PULSE_COOKIE", folder_ / "cookie");
        await("the sound server", [this] { return pactl("info").has_value(); });
        if (kind == SoundServer::pipeWire) addPipeWireDevices();
        await("the default microphone", [this] {
            return pactl("set-default-source testmic") && pactl("set-default-sink speakers")
                   && pactl("get-default-source") == "testmic\n" && pactl("get-default-sink") == "speakers\n";
        });
    }

    ~SoundSession() {
        while (!processes_.empty()) processes_.pop_back();
        for (auto& [name, value] : before_) {
            value ? ::setenv(name.c_str(), value->c_str(), 1) : ::unsetenv(name.c_str());
        }
    }

    SoundSession(const SoundSession&) = delete;
    SoundSession& operator=(const SoundSession&) = delete;

    SoundServer kind() const { return kind_; }
    const std::string& server() const { return server_; } // for PULSE_SERVER
    const TemporaryFolder& folder() const { return folder_; }

    // What `pactl WORDS` prints; `nullopt` when it fails. Words with blanks need quotes.
    std::optional<std::string> pactl(const std::string& words) const {
        std::FILE* pipe = ::popen(("pactl " + words + " 2>/dev/null").c_str(), "r");
        if (pipe == nullptr) return std::nullopt;
        std::string output;
        std::array<char, 4096> block{};
        while (const std::size_t count = std::fread(block.data(), 1, block.size(), pipe)) {
            output.append(block.data(), count);
        }
        return ::pclose(pipe) == 0 ? std::optional(output) : std::nullopt;
    }

    // Plays 48 kHz samples once, into "micfeed" unless told otherwise; ends with the object returned.
    std::unique_ptr<ChildProcess> feed(const std::vector<float>& samples, int channels = 1,
                                       const std::string& sink = "micfeed") {
        const auto file = folder_ / ("feed" + std::to_string(feeds_++) + ".raw");
        std::ofstream(file, std::ios::binary)
            .write(reinterpret_cast<const char*>(samples.data()),
                   static_cast<std::streamsize>(samples.size() * sizeof(float)));
        return std::make_unique<ChildProcess>(std::vector<std::string>{
            "pacat", "--playback", "--raw", "--format=float32ne", "--rate=48000",
            "--channels=" + std::to_string(channels), "--latency-msec=20", "--device=" + sink, file});
    }

    // The same with a sound file (WAV, FLAC).
    std::unique_ptr<ChildProcess> feedFile(const std::filesystem::path& file,
                                           const std::string& sink = "micfeed") const {
        return std::make_unique<ChildProcess>(
            std::vector<std::string>{"paplay", "--latency-msec=20", "--device=" + sink, file});
    }

    // Kills the server as a crash does.
    void killServer() {
        while (!processes_.empty()) processes_.pop_back();
    }

    // To each of the server's processes; SIGSTOP makes it hang.
    void signalServer(int number) {
        for (const auto& process : processes_) process->signal(number);
    }

  private:
    static void await(const std::string& what, const std::function<bool()>& condition) {
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (!condition()) {
            if (std::chrono::steady_clock::now() > limit) {
                throw std::runtime_error(what + " did not come up");
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
    }

    void start(std::vector<std::string> command) {
        const std::string log = folder_ / (command.front() + ".log");
        processes_.push_back(std::make_unique<ChildProcess>(
            std::move(command), log,
            std::vector<std::string>{"XDG_RUNTIME_DIR=" + folder_.path().string(),
                                     "HOME=" + folder_.path().string(),
                                     "XDG_CONFIG_HOME=" + (folder_ / "config").string(),
                                     "XDG_STATE_HOME=" + (folder_ / "state").string(),
                                     "DBUS_SESSION_BUS_ADDRESS=unix:path=" + (folder_ / "bus").string()}));
    }

    void startPulseAudio() {
        const std::string socket = folder_ / "pulse.sock";
        server_ = "unix:" + socket;
        // Without norewinds a null sink delivers its first blocks one to two seconds late.
        start({"pulseaudio", "-n", "--daemonize=no", "--use-pid-file=no", "--exit-idle-time=-1", "-L",
               "module-native-protocol-unix auth-anonymous=1 socket=" + socket, "-L",
               "module-null-sink sink_name=speakers rate=48000 norewinds=1", "-L",
               "module-null-sink sink_name=micfeed rate=48000 channels=1 norewinds=1", "-L",
               "module-remap-source source_name=testmic master=micfeed.monitor "
               "source_properties=device.description=Test_Microphone"});
    }

    void startPipeWire() {
        server_ = "unix:" + (folder_ / "pulse" / "native").string();
        // WirePlumber ends where there is no bus.
        start({"dbus-daemon", "--session", "--nofork", "--address=unix:path=" + (folder_ / "bus").string()});
        await("the bus", [this] { return std::filesystem::exists(folder_ / "bus"); });
        start({"pipewire"});
        await("PipeWire", [this] { return std::filesystem::exists(folder_ / "pipewire-0"); });
        start({"wireplumber"});
        start({"pipewire-pulse"});
    }

    void addPipeWireDevices() const {
        for (const std::string module :
             {"module-null-sink sink_name=speakers media.class=Audio/Sink rate=48000",
              "module-null-sink sink_name=micfeed channels=1 rate=48000 channel_map=mono",
              "module-remap-source source_name=testmic master=micfeed.monitor channels=1 channel_map=mono "
              "master_channel_map=mono remix=no source_properties=device.description=Test_Microphone"}) {
            if (!pactl("load-module " + module)) throw std::runtime_error("PipeWire refuses " + module);
        }
    }

    void setting(const std::string& name, const std::string& value) {
        const char* old = std::getenv(name.c_str());
        before_.emplace_back(name, old == nullptr ? std::nullopt : std::optional<std::string>(old));
        ::setenv(name.c_str(), value.c_str(), 1);
    }

    SoundServer kind_;
    TemporaryFolder folder_;
    std::string server_;
    std::vector<std::pair<std::string, std::optional<std::string>>> before_;
    std::vector<std::unique_ptr<ChildProcess>> processes_;
    int feeds_ = 0;
};

} // namespace glintro::test
