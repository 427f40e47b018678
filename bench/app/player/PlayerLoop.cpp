// Plays a reel of 2560 x 1600 in a loop and prints the memory that the process takes, every ten seconds:
//
//   player_loop SECONDS [RATE]
//
// Ends with 1 where the second half of the time took 16 MiB more than the first.

#include <QCoreApplication>
#include <QTimer>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>

#include <unistd.h>

#include "app/player/ReelPlayer.h"
#include "bench/app/player/PlayerReels.h"

namespace {

double residentMib() {
    std::ifstream file("/proc/self/statm");
    double pages = 0;
    file >> pages >> pages;
    return pages * static_cast<double>(::sysconf(_SC_PAGESIZE)) / (1 << 20);
}

} // namespace

int main(int argumentCount, char** arguments) {
    using namespace glintro;
    QCoreApplication application(argumentCount, arguments);
    const int seconds = argumentCount > 1 ? std::atoi(arguments[1]) : 600;
    ReelPlayer player({.openSound = [] { return std::make_unique<bench::PacedOutput>(); }});
    player.setViewSize({1280, 720});
    player.setLooping(true);
    player.setRate(argumentCount > 2 ? std::atof(arguments[2]) : 1);
    player.open(bench::busyReel(), bench::busyReel().info.settings, 50);
    QObject::connect(&player, &ReelPlayer::opened, &player, &ReelPlayer::play);

    double firstHalf = 0;
    double secondHalf = 0;
    int passed = 0;
    QTimer watch;
    QObject::connect(&watch, &QTimer::timeout, [&] {
        passed += 10;
        const double now = residentMib();
        // The first seconds fill the cache of decoded frames.
        if (passed > 30)
            (passed <= seconds / 2 ? firstHalf : secondHalf) =
                std::max(passed <= seconds / 2 ? firstHalf : secondHalf, now);
        const PlayerStatistics statistics = player.statistics();
        std::printf("%4d s: %.1f MiB, at %.1f s, %lld shown, %lld late, %lld dropped\n", passed, now,
                    player.position(), static_cast<long long>(statistics.shown),
                    static_cast<long long>(statistics.late), static_cast<long long>(statistics.dropped));
        std::fflush(stdout);
        if (passed >= seconds) QCoreApplication::quit();
    });
    watch.start(10'000);
    QCoreApplication::exec();
    return firstHalf > 0 && secondHalf > firstHalf + 16 ? 1 : 0;
}
