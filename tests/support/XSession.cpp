#include "tests/support/XSession.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

#include <fcntl.h>
#include <poll.h>
#include <xcb/xcb_keysyms.h>
#include <xcb/xtest.h>

#include "tests/support/WaitUntil.h"

namespace glintro::test {
namespace {

struct FreeDeleter {
    void operator()(void* memory) const { std::free(memory); }
};
template <class T>
using Reply = std::unique_ptr<T, FreeDeleter>;

constexpr const char* kDummyConfiguration = R"(
Section "Device"
  Identifier "dummy"
  Driver "dummy"
  VideoRam 512000
EndSection
Section "Monitor"
  Identifier "monitor"
  HorizSync 5.0-1000.0
  VertRefresh 5.0-200.0
  Modeline "1920x1080" 148.50 1920 2008 2052 2200 1080 1084 1089 1125
  Modeline "1280x720" 74.25 1280 1390 1430 1650 720 725 730 750
EndSection
Section "Screen"
  Identifier "screen"
  Device "dummy"
  Monitor "monitor"
  DefaultDepth 24
  SubSection "Display"
    Depth 24
    Modes "1920x1080" "1280x720"
    Virtual 5120 2880
  EndSubSection
EndSection
Section "ServerFlags"
  Option "AutoAddDevices" "false"
  Option "AutoAddGPU" "false"
EndSection
)";

bool isInstalled(const std::string& program) {
    std::stringstream folders(std::getenv("PATH") ? std::getenv("PATH") : "");
    for (std::string folder; std::getline(folders, folder, ':');) {
        if (::access((folder + "/" + program).c_str(), X_OK) == 0) return true;
    }
    return false;
}

std::optional<std::string> whyNotInstalled(const std::vector<std::string>& programs) {
    for (const std::string& program : programs) {
        if (!isInstalled(program)) return "This test needs an X server of its own: install " + program + ".";
    }
    return std::nullopt;
}

std::string contentsOf(const std::filesystem::path& file) {
    std::stringstream text;
    text << std::ifstream(file).rdbuf();
    return text.str();
}

// What the server writes to the pipe, up to the line's end; empty when it died or took too long.
std::string readLine(int pipe) {
    std::string line;
    pollfd waiting{pipe, POLLIN, 0};
    char letter = 0;
    while (::poll(&waiting, 1, 30'000) == 1 && ::read(pipe, &letter, 1) == 1) {
        if (letter == '\n') return line;
        line += letter;
    }
    return {};
}

bool isFramed(xcb_connection_t* connection, xcb_window_t window) {
    const Reply<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(connection, xcb_query_tree(connection, window), nullptr));
    return tree && tree->parent != tree->root;
}

bool listsNoWindow(xcb_connection_t* connection) {
    const xcb_atom_t list = atomOf(connection, "_NET_CLIENT_LIST");
    const auto cookie = xcb_get_property(connection, 0, rootOf(connection), list, XCB_ATOM_WINDOW, 0, 1);
    const Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(connection, cookie, nullptr));
    return reply && reply->value_len == 0;
}

// Shows the window manager a window for a moment. All it says about itself it says before it is ready, and
// windows shown until then it overlooks for good.
bool managesWindows(xcb_connection_t* connection) {
    const xcb_window_t window = xcb_generate_id(connection);
    xcb_create_window(connection, XCB_COPY_FROM_PARENT, window, rootOf(connection), 0, 0, 50, 50, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
    xcb_map_window(connection, window);
    const bool framed =
        waitUntil([&] { return isFramed(connection, window); }, std::chrono::milliseconds(100));
    xcb_destroy_window(connection, window);
    return waitUntil([&] { return listsNoWindow(connection); }) && framed;
}

} // namespace

XConnection connectTo(const std::string& display) {
    XConnection connection(xcb_connect(display.c_str(), nullptr));
    if (xcb_connection_has_error(connection.get())) throw std::runtime_error("no X server at " + display);
    return connection;
}

xcb_window_t rootOf(xcb_connection_t* connection) {
    return xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
}

xcb_atom_t atomOf(xcb_connection_t* connection, const std::string& name) {
    const auto cookie = xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(name.size()), name.c_str());
    const Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(connection, cookie, nullptr));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

void synchronise(xcb_connection_t* connection) {
    const Reply<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));
}

XInjector::XInjector(const std::string& display) : connection_(connectTo(display)) {}

void XInjector::send(std::uint8_t type, std::uint8_t detail, int x, int y) {
    xcb_test_fake_input(connection_.get(), type, detail, XCB_CURRENT_TIME, rootOf(connection_.get()),
                        static_cast<std::int16_t>(x), static_cast<std::int16_t>(y), 0);
    synchronise(connection_.get());
}

void XInjector::move(int x, int y) {
    send(XCB_MOTION_NOTIFY, 0, x, y);
}

void XInjector::press(std::uint8_t button) {
    send(XCB_BUTTON_PRESS, button);
}

void XInjector::release(std::uint8_t button) {
    send(XCB_BUTTON_RELEASE, button);
}

void XInjector::click(std::uint8_t button) {
    press(button);
    release(button);
}

static std::uint8_t keyCodeOf(xcb_connection_t* connection, std::uint32_t keySymbol) {
    xcb_key_symbols_t* symbols = xcb_key_symbols_alloc(connection);
    const Reply<xcb_keycode_t> codes(xcb_key_symbols_get_keycode(symbols, keySymbol));
    xcb_key_symbols_free(symbols);
    if (!codes || codes.get()[0] == XCB_NO_SYMBOL) throw std::runtime_error("no key carries the symbol");
    return codes.get()[0];
}

void XInjector::pressKey(std::uint32_t keySymbol) {
    send(XCB_KEY_PRESS, keyCodeOf(connection_.get(), keySymbol));
}

void XInjector::releaseKey(std::uint32_t keySymbol) {
    send(XCB_KEY_RELEASE, keyCodeOf(connection_.get(), keySymbol));
}

std::unique_ptr<XSession> XSession::xvfb(int width, int height, WindowManager manager,
                                         const std::vector<std::string>& options) {
    const std::string size = std::to_string(width) + "x" + std::to_string(height) + "x24";
    std::vector<std::string> command{"Xvfb", "-screen", "0", size};
    for (const char* extension : {"DAMAGE", "COMPOSITE", "XFIXES", "RANDR", "RENDER", "XTEST"}) {
        command.insert(command.end(), {"+extension", extension});
    }
    command.insert(command.end(), options.begin(), options.end());
    return std::unique_ptr<XSession>(new XSession(std::move(command), manager));
}

std::unique_ptr<XSession> XSession::dummyOutputs(WindowManager manager) {
    return std::unique_ptr<XSession>(
        new XSession({"Xorg", "-novtswitch", "-sharevts", "vt7", "-config"}, manager));
}

std::unique_ptr<XSession> XSession::turnable(const XSession& host) {
    return std::unique_ptr<XSession>(
        new XSession({"Xephyr", "-screen", "640x480"}, WindowManager::none, {"DISPLAY=" + host.display()}));
}

std::optional<std::string> XSession::whyNoTurnable() {
    return whyNotInstalled({"Xvfb", "openbox", "Xephyr", "xrandr"});
}

std::optional<std::string> XSession::whyNoXvfb() {
    return whyNotInstalled({"Xvfb", "openbox"});
}

std::optional<std::string> XSession::whyNoDummyOutputs() {
    if (::geteuid() != 0) return "A real X server with several outputs can be started by root only.";
    return whyNotInstalled({"Xorg", "openbox", "xrandr"});
}

XSession::XSession(std::vector<std::string> server, WindowManager manager,
                   const std::vector<std::string>& environment) {
    display_ = startServer(std::move(server), environment);
    injector_ = std::make_unique<XInjector>(display_);
    if (manager == WindowManager::openbox) startWindowManager();
}

// A server that is asked to go removes its lock and its socket, which a killed one leaves behind.
XSession::~XSession() {
    injector_.reset();
    probe_.reset();
    manager_.reset();
    if (!server_ || !server_->isRunning()) return;
    server_->signal(SIGTERM);
    (void)waitUntil([this] { return !server_->isRunning(); }, std::chrono::seconds(5));
}

std::string XSession::startServer(std::vector<std::string> command,
                                  const std::vector<std::string>& environment) {
    if (command.back() == "-config") {
        const std::filesystem::path configuration = folder_ / "dummy.conf";
        std::ofstream(configuration) << kDummyConfiguration;
        command.insert(command.end(), {configuration.string(), "-logfile", (folder_ / "xorg.log").string()});
    }
    int ends[2] = {-1, -1};
    if (::pipe(ends) != 0) throw std::runtime_error("no pipe");
    ::fcntl(ends[0], F_SETFD, FD_CLOEXEC);
    command.insert(command.end(), {"-displayfd", std::to_string(ends[1]), "-nolisten", "tcp", "-noreset"});
    const std::filesystem::path log = folder_ / "server.log";
    server_ = std::make_unique<ChildProcess>(std::move(command), log.string(), environment);
    ::close(ends[1]);
    const std::string number = readLine(ends[0]);
    ::close(ends[0]);
    if (number.empty()) throw std::runtime_error("the X server did not start: " + contentsOf(log));
    return ":" + number;
}

void XSession::startWindowManager() {
    manager_ = run({"openbox"}, (folder_ / "openbox.log").string());
    probe_ = connectTo(display_);
    if (!waitUntil([this] { return managesWindows(probe_.get()); })) {
        throw std::runtime_error("openbox did not start: " + contentsOf(folder_ / "openbox.log"));
    }
}

std::unique_ptr<ChildProcess> XSession::run(std::vector<std::string> command, const std::string& log) const {
    return std::make_unique<ChildProcess>(
        std::move(command), log, std::vector<std::string>{"DISPLAY=" + display_, "LIBGL_ALWAYS_SOFTWARE=1"});
}

std::string XSession::output(std::vector<std::string> command) const {
    const std::string name = command.front();
    const TemporaryFolder folder;
    const std::string log = (folder / "output").string();
    const int status = run(std::move(command), log)->wait();
    if (status != 0) throw std::runtime_error(name + " failed: " + contentsOf(log));
    return contentsOf(log);
}

void XSession::plug(const std::string& output, const std::string& mode, const std::string& position) const {
    this->output({"xrandr", "--addmode", output, mode});
    this->output({"xrandr", "--output", output, "--mode", mode, "--pos", position});
}

void XSession::killServer() {
    injector_.reset();
    probe_.reset();
    server_->signal(SIGKILL);
    server_->wait();
}

} // namespace glintro::test
