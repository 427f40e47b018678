#include <algorithm>
#include <csignal>
#include <iostream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "app/shell/GlintroApp.h"

namespace {

// A file opened later would get the number of a standard stream that is closed, and what is printed would be
// written into it: into a recording, for example. Nothing can be written to what stands in for them.
void occupyStandardStreams() {
    int opened = 0;
    do {
        opened = ::open("/dev/null", O_RDONLY);
    } while (opened >= 0 && opened <= STDERR_FILENO);
    if (opened >= 0) ::close(opened);
}

} // namespace

int main(int argc, char** argv) {
    occupyStandardStreams();
    // A reader that goes away, or a file that may not grow, is an error like others and not the end of a
    // render or a take.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    const std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
    const glintro::GlintroApp app(glintro::processEnvironment, {std::cout, std::cerr});
    return static_cast<int>(app.run(arguments));
}
