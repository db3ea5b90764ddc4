#pragma once

#include "cli/command_context.h"

namespace mos {

/// Resolves the dependency graph and prints it.
/// Returns the exit status.
int treeCommand(const CommandContext& context);

} // namespace mos
