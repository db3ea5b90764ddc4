#pragma once

#include "cli/command_context.h"

namespace mos {

/// Lists, empties or locates the global package cache.
/// Returns the exit status.
int cacheCommand(const CommandContext& context);

} // namespace mos
