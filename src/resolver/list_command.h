#pragma once

#include "cli/command_context.h"

namespace mos {

/// Prints the direct dependencies of moss.toml.
/// Returns the exit status.
int listCommand(const CommandContext& context);

} // namespace mos
