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
            return "The disk is full. Free some space and try again.";
        case EDQUOT:
            return "Your share of the disk is used up. Free some space and try again.";
        case EFBIG:
            return fmt::format(
                "The {} is larger than the disk’s format allows a file to be. Choose a folder on "
                "another disk, or a smaller size.",
                what);
        case EIO:
            return fmt::format("The {} couldn’t be written: the disk reports an error.", what);
        case ENAMETOOLONG:
            return fmt::format("The {} can’t be written: its name is too long.", what);
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
