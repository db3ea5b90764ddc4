#pragma once

#include "cli/command_context.h"

namespace mos {

/// Sets the output switches, answers help and version, runs the command and turns every error into
/// text on standard error. Returns the exit status: 0 success, 1 an unexpected error, 2 an unknown
/// command, otherwise what the command's error carries.
[[nodiscard]] int dispatchCommand(const CommandContext& context);

} // namespace mos
