#pragma once

#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace glintro::test {

// A program that runs beside a test, in a process group of its own, and is killed with all its children when
// the object goes, or when the test dies. Its output goes to `log` (a file; nowhere when empty).
class ChildProcess {
  public:
    explicit ChildProcess(std::vector<std::string> command, const std::string& log = "/dev/null",
                          const std::vector<std::string>& environment = {}) {
        std::vector<char*> arguments;
        for (std::string& word : command) arguments.push_back(word.data());
        arguments.push_back(nullptr);
        process_ = ::fork();
        if (process_ < 0) throw std::runtime_error("fork failed");
        if (process_ > 0) {
            ::setpgid(process_, process_);
            return;
        }
        ::setpgid(0, 0);
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        const int out = ::open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND, 0644);
        ::dup2(out, 1);
        ::dup2(out, 2);
        for (const std::string& setting : environment) ::putenv(const_cast<char*>(setting.c_str()));
        ::execvp(arguments[0], arguments.data());
        ::_exit(127);
    }

    ~ChildProcess() {
        if (process_ <= 0) return;
        ::kill(-process_, SIGKILL);
        wait();
    }

    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t id() const { return process_; }
    void signal(int number) const { ::kill(process_, number); }
    bool isRunning() {
        int status = 0;
        if (process_ > 0 && ::waitpid(process_, &status, WNOHANG) == process_) ended(status);
        return process_ > 0;
    }
    // Waits for its end: the exit status, or 128 and the signal that ended it.
    int wait() {
        int status = 0;
        if (process_ > 0 && ::waitpid(process_, &status, 0) == process_) ended(status);
        return status_;
    }

  private:
    void ended(int status) {
        process_ = -1;
        status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

    pid_t process_ = -1;
    int status_ = -1;
};

} // namespace glintro::test
