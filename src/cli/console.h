#pragma once

#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

#include "cli/mos_exception.h"
#include "cli/output_settings.h"

/// The one door to the console. Nothing here fails: errors of the streams are ignored.
///
/// Lines about what happens (status, heading, debug) reach the system at once, and errors come
/// after all that was written before them, so that the order on screen is the order of events.
namespace mos {

/// A status line on standard output: the verb in bold green. Nothing under --json.
void printStatus(std::string_view verb, std::string_view message);

/// Like printStatus, in bold cyan.
void printHeading(std::string_view verb, std::string_view message);

/// "error: " and the message on standard error, under --json too.
void printError(std::string_view message);

/// A debug line on standard output, from verbosity 2 on and not under --json.
void printDebug(std::string_view message);

/// The error block of `exception`, never coloured, under --json too.
void printDiagnostic(const MosException& exception, std::FILE* stream);

/// Writes `text` to standard output as it is: tables, trees, JSON, help.
void writeOutput(std::string_view text);

/// Whether standard output still takes what is written: false once its reader has gone away or
/// its disk is full.
[[nodiscard]] bool outputIsTaken() noexcept;

/// Hands what was written to standard output to the system, so that what a child process or a
/// user at a prompt sees next comes after it.
void flushOutput();

/// One line of standard input without its line feed and without a carriage return before it;
/// nothing at the end of the input.
[[nodiscard]] std::optional<std::string> readInputLine();

/// The text of a status, heading, error or debug line and of an error block, as printed above.
[[nodiscard]] std::string statusLine(std::string_view verb, std::string_view message, bool color);
[[nodiscard]] std::string headingLine(std::string_view verb, std::string_view message, bool color);
[[nodiscard]] std::string errorLine(std::string_view message, bool color);
[[nodiscard]] std::string debugLine(std::string_view message);
[[nodiscard]] std::string diagnosticBlock(const MosException& exception);

} // namespace mos
