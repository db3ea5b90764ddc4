#pragma once

#include "cli/command_context.h"

namespace mos {

/// Obtains an API token from the registry, or takes the given one, and saves it.
/// Returns the exit status.
int loginCommand(const CommandContext& context);

} // namespace mos
