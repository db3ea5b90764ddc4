#pragma once

#include <string>
#include <unordered_map>
#include <vector>

namespace mos {

/// One parsed command line. Built once, read by every command.
struct CommandContext {
    std::string command;                      ///< first bare word; empty when there is none
    std::vector<std::string> args;            ///< later bare words, in order
    std::vector<std::string> passthroughArgs; ///< everything after the first lone "--", untouched
    std::unordered_map<std::string, bool> flags;          ///< options without a value
    std::unordered_map<std::string, std::string> options; ///< options with a value

    /// Whether `name` was given, with or without a value.
    [[nodiscard]] bool hasFlag(const std::string& name) const;

    /// The value given for `name`, else `defaultValue`; a flag without a value has none.
    [[nodiscard]] std::string getOption(const std::string& name,
                                        const std::string& defaultValue) const;
};

/// Sorts the arguments into a context; argv[0] is skipped.
///
/// A long option that is followed by a word that does not begin with "-" takes that word as its
/// value, whatever the option is: "--json list" is the option json with the value "list". Scripts
/// depend on this. Short options never take a value.
[[nodiscard]] CommandContext parseCommandLine(int argc, const char* const* argv);

} // namespace mos
