#pragma once

#include "cli/command_context.h"

namespace mos {

/// Runs the project's entry file.
/// Returns the exit status.
int runCommand(const CommandContext& context);

} // namespace mos
