#include "core/media/OutputFailure.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include <fmt/format.h>

namespace glintro {
namespace {

std::string messageFor(std::string_view what, int error, std::string fallback) {
    switch (error) {
        case ENOSPC:
        case EDQUOT:
        case EFBIG:
            return "The disk is full. Free some space and try again.";
        case EACCES:
        case EPERM:
        case EROFS:
            return fmt::format("The {} can’t be written there: permission denied.", what);
        case EISDIR:
            return fmt::format("The {} can’t be written there: it is a folder.", what);
        case ENOENT:
        case ENOTDIR:
            return fmt::format("The folder to write the {} into doesn’t exist.", what);
        default:
            return fallback;
    }
}

} // namespace

std::unexpected<Failure> outputFailure(std::string_view what, int error, std::string fallback) {
    return failure(messageFor(what, error, std::move(fallback)), std::strerror(error), error);
}

} // namespace glintro
