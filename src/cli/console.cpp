#include "cli/console.h"

#include "platform/standard_input.h"

namespace mos {
namespace {

constexpr std::string_view boldGreen = "\x1b[1;32m";
constexpr std::string_view boldCyan = "\x1b[1;36m";
constexpr std::string_view boldRed = "\x1b[1;31m";
constexpr std::string_view reset = "\x1b[0m";

void write(std::FILE* stream, std::string_view text) {
    // A console that cannot be written to is nobody's error: there is no place left to report it.
    static_cast<void>(std::fwrite(text.data(), 1, text.size(), stream));
}

void writeAtOnce(std::string_view text) {
    write(stdout, text);
    flushOutput();
}

void writeError(std::FILE* stream, std::string_view text) {
    flushOutput();
    write(stream, text);
}

std::string styled(std::string_view style, std::string_view word, bool color) {
    std::string text;
    if (color) {
        text.append(style);
    }
    text.append(word);
    if (color) {
        text.append(reset);
    }
    return text;
}

std::string verbLine(std::string_view style, std::string_view verb, std::string_view message,
                     bool color) {
    return styled(style, verb, color).append(" ").append(message).append("\n");
}

} // namespace

std::string statusLine(std::string_view verb, std::string_view message, bool color) {
    return verbLine(boldGreen, verb, message, color);
}

std::string headingLine(std::string_view verb, std::string_view message, bool color) {
    return verbLine(boldCyan, verb, message, color);
}

std::string errorLine(std::string_view message, bool color) {
    return styled(boldRed, "error", color).append(": ").append(message).append("\n");
}

std::string debugLine(std::string_view message) {
    return std::string("  [DEBUG] ").append(message).append("\n");
}

std::string diagnosticBlock(const MosException& exception) {
    std::string block = "error[";
    block.append(displayCode(exception.code)).append("]: ");
    block.append(errorTitle(exception.code)).append("\n");
    block.append("  ").append(exception.message).append("\n");
    if (!exception.help.empty()) {
        block.append("  = help: ").append(exception.help).append("\n");
    }
    return block;
}

void printStatus(std::string_view verb, std::string_view message) {
    const OutputSettings& settings = outputSettings();
    if (!settings.json) {
        writeAtOnce(statusLine(verb, message, settings.color));
    }
}

void printHeading(std::string_view verb, std::string_view message) {
    const OutputSettings& settings = outputSettings();
    if (!settings.json) {
        writeAtOnce(headingLine(verb, message, settings.color));
    }
}

void printError(std::string_view message) {
    writeError(stderr, errorLine(message, outputSettings().color));
}

void printDebug(std::string_view message) {
    const OutputSettings& settings = outputSettings();
    if (settings.verbosity >= 2 && !settings.json) {
        writeAtOnce(debugLine(message));
    }
}

void printDiagnostic(const MosException& exception, std::FILE* stream) {
    writeError(stream, diagnosticBlock(exception));
}

void writeOutput(std::string_view text) {
    write(stdout, text);
}

bool outputIsTaken() noexcept {
    return std::ferror(stdout) == 0;
}

void flushOutput() {
    static_cast<void>(std::fflush(stdout));
}

std::optional<std::string> readInputLine() {
    std::string line;
    int character = readInputByte();
    if (character == EOF) {
        return std::nullopt;
    }
    while (character != EOF && character != '\n') {
        line.push_back(static_cast<char>(character));
        character = readInputByte();
    }
    if (!line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    return line;
}

} // namespace mos
