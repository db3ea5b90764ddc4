#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "server/cli/arguments.h"

namespace mos::server {

/// A command of the program.
struct Command {
    std::string_view words;    ///< what it is called: one word or two
    std::string_view synopsis; ///< what follows these words, as the help shows it
    std::string_view help;     ///< one line
    std::span<const OptionSpec> options;
    int (*run)(const Arguments& arguments); ///< returns the exit status
};

/// Runs the command that `words` names and returns the exit status. Every failure is printed here.
[[nodiscard]] int runCommandLine(std::span<const std::string> words);

} // namespace mos::server
