#include "toolchain/compiler_command.h"

namespace mos {
namespace {

std::string inDoubleQuotes(std::string_view text) {
    return std::string("\"").append(text).append("\"");
}

/// A compiler that was found in the current directory itself; without its directory the command
/// interpreter would look for it on the search path only.
bool isInCurrentDirectory(const std::filesystem::path& compiler) {
    return compiler == "moss.exe";
}

} // namespace

std::string commandText(const CompilerCommand& command) {
    // Deliberate: quotes and backslashes within the words are not escaped.
    std::string text = inDoubleQuotes(command.compiler.string());
    text.append(" ").append(command.subcommand).append(" ");
    text.append(inDoubleQuotes(command.file.string()));
    for (const std::string& argument : command.extraArgs) {
        text.append(" ").append(inDoubleQuotes(argument));
    }
    return text;
}

std::vector<std::string> commandWords(const CompilerCommand& command) {
    const std::filesystem::path program =
        isInCurrentDirectory(command.compiler) ? "." / command.compiler : command.compiler;
    std::vector<std::string> words{program.string(), std::string(command.subcommand),
                                   command.file.string()};
    words.insert(words.end(), command.extraArgs.begin(), command.extraArgs.end());
    return words;
}

} // namespace mos
