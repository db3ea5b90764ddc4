#pragma once

#include "cli/command_context.h"

namespace mos {

/// Type-checks the project.
/// Returns the exit status.
int checkCommand(const CommandContext& context);

} // namespace mos
