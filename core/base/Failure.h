#pragma once

#include <expected>
#include <string>
#include <utility>

namespace glintro {

// Why an operation did not succeed. `message` is one sentence for the user; `detail` and `nativeCode`
// (an errno or a library's own code, 0 when there is none) are for the log.
struct Failure {
    enum class Kind { failed, cancelled };

    std::string message;
    std::string detail = {};
    int nativeCode = 0;
    Kind kind = Kind::failed;

    static Failure cancelled() { return {"Cancelled.", {}, 0, Kind::cancelled}; }
    bool isCancelled() const { return kind == Kind::cancelled; }
    bool operator==(const Failure&) const = default;
};

template <class T>
using Result = std::expected<T, Failure>;

inline std::unexpected<Failure> failure(std::string message, std::string detail = {}, int nativeCode = 0) {
    return std::unexpected(Failure{std::move(message), std::move(detail), nativeCode});
}

} // namespace glintro
