#pragma once

#include <QCoreApplication>

#include "tests/support/WaitUntil.h"

namespace glintro::test {

inline QCoreApplication& application() {
    static int count = 1;
    static char name[] = "test";
    static char* arguments[] = {name, nullptr};
    static QCoreApplication application(count, arguments);
    return application;
}

// Handles events until the answer is yes: whether it became yes in time.
template <class Predicate>
[[nodiscard]] bool handleUntil(Predicate&& predicate) {
    return waitUntil([&] {
        application().processEvents();
        return predicate();
    });
}

// Handles what comes for a while: for what must not come.
inline void handleFor(std::chrono::milliseconds time) {
    const auto end = std::chrono::steady_clock::now() + time;
    (void)handleUntil([&] { return std::chrono::steady_clock::now() >= end; });
}

} // namespace glintro::test
