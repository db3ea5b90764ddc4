#pragma once

#include "cli/command_context.h"

namespace mos {

/// Packs the project of the current directory and uploads it.
/// Returns the exit status.
int publishCommand(const CommandContext& context);

} // namespace mos
