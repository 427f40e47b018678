#pragma once

namespace glintro {

enum class ExitStatus {
    success = 0,
    failed = 1,     // the command could not do its work, or was cancelled
    wrongUsage = 2, // the command line is not one
};

} // namespace glintro
