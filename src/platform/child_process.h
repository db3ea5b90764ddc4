#pragma once

#include <string>
#include <vector>

namespace mos {

/// Runs `words[0]` with the other words as its arguments through the system's command interpreter
/// and waits for it. Every argument arrives unchanged. Standard input, output and error are the
/// child's too.
///
/// Returns the exit status; 128 plus the signal's number for a child that a signal ended; the
/// interpreter's own status when the program was not found.
[[nodiscard]] int runThroughInterpreter(const std::vector<std::string>& words);

} // namespace mos
