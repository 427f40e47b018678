#include "tests/app/shell/Program.h"

#include <csignal>
#include <cstdlib>
#include <utility>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/Files.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;

const std::string kBuilt = GLINTRO_PROGRAM;

void redirect(const fs::path& file, int descriptor) {
    const int opened = ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    if (opened < 0 || ::dup2(opened, descriptor) < 0) ::_exit(126);
}

[[noreturn]] void become(const ProgramCall& call, const fs::path& out, const fs::path& error) {
    redirect(out, STDOUT_FILENO);
    redirect(error, STDERR_FILENO);
    ::setenv("XDG_CONFIG_HOME", out.parent_path().c_str(), 1); // without the preferences of whoever tests
    for (const auto& [name, value] : call.environment) ::setenv(name.c_str(), value.c_str(), 1);
    const std::string& program = call.program.empty() ? kBuilt : call.program;
    std::vector<char*> arguments{const_cast<char*>(program.c_str())};
    for (const std::string& argument : call.arguments)
        arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    if (::chdir(call.folder.c_str()) == 0) ::execv(arguments[0], arguments.data());
    ::_exit(127);
}

} // namespace

Program::Program(const ProgramCall& call) {
    const fs::path out = call.output.empty() ? kept_ / "out" : call.output;
    process_ = ::fork();
    if (process_ == 0) become(call, out, kept_ / "error");
}

Program::~Program() {
    if (process_ < 0) return;
    ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
}

void Program::send(int signal) const {
    ::kill(process_, signal);
}

bool Program::isRunning() const {
    siginfo_t info{};
    ::waitid(P_PID, static_cast<id_t>(process_), &info, WEXITED | WNOHANG | WNOWAIT);
    return info.si_pid == 0;
}

ProgramResult Program::wait() {
    int status = 0;
    ::waitpid(std::exchange(process_, -1), &status, 0);
    const int code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return {code, test::contentOf(kept_ / "out"), test::contentOf(kept_ / "error")};
}

ProgramResult runProgram(const ProgramCall& call) {
    return Program(call).wait();
}

} // namespace glintro
