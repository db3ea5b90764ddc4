#pragma once

#include "cli/command_context.h"

namespace mos {

/// Makes the packages directory hold the resolved dependency graph.
/// Returns the exit status.
int installCommand(const CommandContext& context);

} // namespace mos
