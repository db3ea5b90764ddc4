#pragma once

#include "cli/command_context.h"

namespace mos {

/// Compiles the project, or every member of the workspace.
/// Returns the exit status.
int buildCommand(const CommandContext& context);

} // namespace mos
