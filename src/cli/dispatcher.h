#pragma once

#include <span>
#include <string_view>

#include "cli/command_context.h"

namespace mos {

/// A command word and the function that carries it out. The function returns the exit status of
/// the process and throws MosException for what it cannot do.
struct Command {
    std::string_view word;
    int (*run)(const CommandContext& context);
};

/// The commands of this program, in the order in which they are compared.
[[nodiscard]] std::span<const Command> commands() noexcept;

/// Sets the output switches, answers help and version, runs the command and turns every error into
/// text on standard error. Returns the exit status: 0 success, 1 an unexpected error, 2 an unknown
/// command, otherwise what the command's error carries.
[[nodiscard]] int dispatchCommand(const CommandContext& context);

} // namespace mos
