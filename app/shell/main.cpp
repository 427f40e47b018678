#include <algorithm>
#include <csignal>
#include <iostream>
#include <string>
#include <vector>

#include "app/shell/GlintroApp.h"

int main(int argc, char** argv) {
    // A reader that goes away is an error like others, not the end of a render.
    std::signal(SIGPIPE, SIG_IGN);
    const std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
    const glintro::GlintroApp app(glintro::processEnvironment, {std::cout, std::cerr});
    return static_cast<int>(app.run(arguments));
}
