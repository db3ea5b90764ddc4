#pragma once

#include <string>
#include <vector>

namespace mos {

/// Runs a command through the system's command interpreter and waits for it. Standard input, output
/// and error are the child's too.
///
/// `words` are the program and its arguments, `text` is the same command as one line. Interpreters
/// that take words run these, and every argument arrives unchanged. The Windows one takes lines
/// and runs the text, in which quotes, backslashes and percent signs mean what they mean to it.
///
/// Returns the exit status; on POSIX 128 plus the signal's number for a child that a signal ended;
/// the interpreter's own status when the program was not found.
[[nodiscard]] int runThroughInterpreter(const std::vector<std::string>& words,
                                        const std::string& text);

} // namespace mos
