#pragma once

#include <chrono>
#include <thread>

namespace glintro::test {

// Asks again and again until the answer is yes: whether it became yes within the limit, which is generous
// because the machines that run tests are loaded.
template <class Predicate>
[[nodiscard]] bool waitUntil(Predicate&& predicate,
                             std::chrono::milliseconds limit = std::chrono::seconds(20)) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!predicate()) {
        if (std::chrono::steady_clock::now() >= end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

} // namespace glintro::test
