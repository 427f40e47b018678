#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "app/shell/CommandLine.h"

namespace glintro {

// What the words behind the reel of `glintro edit` say: operations, among them options wherever they stand,
// up to a word “--”. Rejects what is neither, as the options of ArgumentValues do.
struct EditWords {
    EditScript script;
    bool isHelp = false; // asks for the help only
    bool isDryRun = false;
    bool isJson = false;
};

EditWords editWords(const std::vector<std::string>& words);

// Describes the command to the parser as far as it can be: -1 would be an option for it, so it hands over
// all that stands behind the reel.
void describeEdit(CLI::App& command);

} // namespace glintro
