#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <sys/types.h>

#include "tests/support/TemporaryFolder.h"

namespace glintro {

struct ProgramCall {
    std::vector<std::string> arguments;
    std::map<std::string, std::string> environment = {}; // besides what there is
    std::filesystem::path folder = "/";                  // the current folder
    std::filesystem::path output = {};                   // where standard output goes instead of being kept
    std::string program = {};                            // another copy of it
};

struct ProgramResult {
    int status = -1; // the exit status, 128 + the signal for a program that was killed
    std::string out;
    std::string error;
};

// A run of the built program as a process of its own.
class Program {
  public:
    explicit Program(const ProgramCall& call);
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    void send(int signal) const;
    bool isRunning() const;
    ProgramResult wait();

  private:
    TemporaryFolder kept_;
    pid_t process_ = -1;
};

ProgramResult runProgram(const ProgramCall& call);

} // namespace glintro
