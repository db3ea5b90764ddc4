#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace mos {

/// One run of the compiler.
struct CompilerCommand {
    std::filesystem::path compiler; ///< as findCompiler gives it
    std::string_view subcommand;    ///< "check" or "run"
    std::filesystem::path file;     ///< the entry file
    std::vector<std::string> extraArgs;
};

/// The command as one line for people: compiler, file and every argument between double quotes.
/// Nothing in them is escaped.
[[nodiscard]] std::string commandText(const CompilerCommand& command);

/// The words to run: the program and its arguments, each as it shall arrive.
[[nodiscard]] std::vector<std::string> commandWords(const CompilerCommand& command);

} // namespace mos
