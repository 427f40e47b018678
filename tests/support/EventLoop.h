#pragma once

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <chrono>
#include <thread>

namespace glintro::test {

// The one of this process, made by whoever needs it first.
inline QCoreApplication& application() {
    static int count = 1;
    static char name[] = "test";
    static char* arguments[] = {name, nullptr};
    static QCoreApplication application(count, arguments);
    return application;
}

// Handles events until the answer is yes: whether it became yes in time.
template <class Predicate>
[[nodiscard]] bool handleUntil(Predicate predicate) {
    const QDeadlineTimer limit(std::chrono::seconds(60));
    while (!predicate() && !limit.hasExpired()) {
        QCoreApplication::processEvents();
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return predicate();
}

// Handles what comes for a while, by the clock on the wall.
inline void handleFor(std::chrono::milliseconds duration) {
    const QDeadlineTimer end(duration);
    (void)handleUntil([&] { return end.hasExpired(); });
}

} // namespace glintro::test
