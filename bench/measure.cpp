// Runs a command and writes what it took, with all the processes it waited for, as one line to a file:
// seconds of wall clock, seconds of processor (user and system), largest resident memory in MiB.

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <span>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

double seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

} // namespace

int main(int argc, char** argv) {
    const std::span arguments(argv, static_cast<std::size_t>(argc) + 1); // the closing null as well
    if (argc < 3) {
        std::fprintf(stderr, "usage: measure RESULT COMMAND [ARGUMENT]...\n");
        return 2;
    }
    const auto begin = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child == 0) {
        execvp(arguments[2], arguments.subspan(2).data());
        std::fprintf(stderr, "measure: %s: %s\n", arguments[2], std::strerror(errno));
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    if (child < 0 || wait4(child, &status, 0, &usage) < 0) {
        std::perror("measure");
        return 1;
    }
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - begin;

    std::FILE* const result = std::fopen(arguments[1], "w");
    if (result == nullptr) {
        std::perror(arguments[1]);
        return 1;
    }
    std::fprintf(result, "%.3f %.3f %.1f\n", wall.count(), seconds(usage.ru_utime) + seconds(usage.ru_stime),
                 static_cast<double>(usage.ru_maxrss) / 1024);
    std::fclose(result);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}
