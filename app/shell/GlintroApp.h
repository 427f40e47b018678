#pragma once

#include <string>
#include <vector>

#include "app/shell/Console.h"
#include "app/shell/Environment.h"
#include "app/shell/ExitStatus.h"

namespace glintro {

// The program: chooses what one run of it does, once, at its start. An environment variable that selects a
// mode is obeyed before any command word.
class GlintroApp {
  public:
    GlintroApp(Environment environment, Console console)
        : environment_(std::move(environment)), console_(console) {}

    // `arguments` are those behind the program's name.
    ExitStatus run(const std::vector<std::string>& arguments) const;

  private:
    ExitStatus chooseMode(const std::vector<std::string>& arguments) const;
    ExitStatus runCommand(const std::vector<std::string>& arguments) const;
    ExitStatus flushed(ExitStatus status) const;

    Environment environment_;
    Console console_;
};

} // namespace glintro
