#pragma once

#include "cli/command_context.h"

namespace mos {

/// Turns the current directory into a package.
/// Returns the exit status.
int initCommand(const CommandContext& context);

} // namespace mos
