#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <xcb/xcb.h>

#include "tests/support/ChildProcess.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro::test {

struct XConnectionCloser {
    void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
};
using XConnection = std::unique_ptr<xcb_connection_t, XConnectionCloser>;

// Throws when the server does not let us in.
XConnection connectTo(const std::string& display);
xcb_window_t rootOf(xcb_connection_t* connection);
// An atom by name, made when the server does not know it yet.
xcb_atom_t atomOf(xcb_connection_t* connection, const std::string& name);
// Returns when the server has carried out all that was sent before.
void synchronise(xcb_connection_t* connection);

// Moves and clicks the session's pointer and types its keys as a person would, by XTest. Each call returns
// when the server has taken it in. Not thread-safe: one object for each thread that injects.
class XInjector {
  public:
    explicit XInjector(const std::string& display);

    void move(int x, int y); // pixels from the top left corner of the root window
    void press(std::uint8_t button);
    void release(std::uint8_t button);
    void click(std::uint8_t button);
    // The first key of the keyboard that carries the symbol; throws when there is none.
    void pressKey(std::uint32_t keySymbol);
    void releaseKey(std::uint32_t keySymbol);

  private:
    void send(std::uint8_t type, std::uint8_t detail, int x = 0, int y = 0);

    XConnection connection_;
};

// A private X server for one test, with a window manager when wanted. Everything ends with the object. Start
// it on a thread that outlives it: the programs die with the thread that started them.
class XSession {
  public:
    enum class WindowManager { none, openbox };
    // DISPLAY names the session, and no Wayland desktop is there, while the object lives.
    struct Environment {
        explicit Environment(const XSession& session)
            : display("DISPLAY", session.display()), wayland("WAYLAND_DISPLAY", std::nullopt) {}
        ScopedEnvironment display;
        ScopedEnvironment wayland;
    };

    // One screen without hardware, of this size in pixels. Options are those of Xvfb's command line.
    static std::unique_ptr<XSession> xvfb(int width = 1920, int height = 1080,
                                          WindowManager manager = WindowManager::openbox,
                                          const std::vector<std::string>& options = {});
    // A real server with one output DUMMY0 on, of 1920 x 1080, and more that can be plugged in with plug().
    static std::unique_ptr<XSession> dummyOutputs(WindowManager manager = WindowManager::openbox);
    // A server in a window of another one's, of 640 x 480: the kind that can turn its screen without
    // hardware.
    static std::unique_ptr<XSession> turnable(const XSession& host);

    // One sentence when such a session cannot be had here: skip the test with it.
    static std::optional<std::string> whyNoXvfb();
    static std::optional<std::string> whyNoDummyOutputs();
    static std::optional<std::string> whyNoTurnable();

    ~XSession();

    const std::string& display() const { return display_; } // for example ":1"
    // Starts a program in the session.
    std::unique_ptr<ChildProcess> run(std::vector<std::string> command,
                                      const std::string& log = "/dev/null") const;
    // Runs a program to its end: what it printed. Throws when it fails.
    std::string output(std::vector<std::string> command) const;
    // Puts output DUMMY1, DUMMY2 ... at a place of the desktop: 1920x1080 or 1280x720.
    void plug(const std::string& output, const std::string& mode, const std::string& position) const;

    XInjector& injector() { return *injector_; }
    // The server dies at once, as in a crash.
    void killServer();
    void killWindowManager() { manager_.reset(); }

  private:
    XSession(std::vector<std::string> server, WindowManager manager,
             const std::vector<std::string>& environment = {});
    std::string startServer(std::vector<std::string> command, const std::vector<std::string>& environment);
    void startWindowManager();

    TemporaryFolder folder_;
    std::unique_ptr<ChildProcess> server_;
    std::unique_ptr<ChildProcess> manager_;
    std::string display_;
    XConnection probe_; // kept, or the server gives the ids of its windows away while the manager knows them
    std::unique_ptr<XInjector> injector_;
};

} // namespace glintro::test
