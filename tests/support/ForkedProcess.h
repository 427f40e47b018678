#pragma once

#include <csignal>
#include <functional>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace glintro::test {

// A copy of this process that does some work of its own, and is killed with the object at the latest.
class ForkedProcess {
  public:
    explicit ForkedProcess(const std::function<bool()>& work) : process_(::fork()) {
        if (process_ != 0) return;
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::_exit(work() ? 0 : 1);
    }
    ~ForkedProcess() { kill(); }
    ForkedProcess(const ForkedProcess&) = delete;
    ForkedProcess& operator=(const ForkedProcess&) = delete;

    void signal(int number) const { ::kill(process_, number); }
    // Whether a kill was in time: it had not ended by itself.
    bool kill() {
        if (process_ > 0) signal(SIGKILL);
        const int status = wait();
        return WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
    }
    // Whether the work, once it is done, was successful.
    bool succeeds() { return wait() == 0; }

  private:
    int wait() {
        if (process_ > 0) ::waitpid(process_, &status_, 0);
        process_ = 0;
        return status_;
    }

    pid_t process_ = 0;
    int status_ = -1;
};

} // namespace glintro::test
