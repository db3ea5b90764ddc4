#pragma once

#include "cli/command_context.h"

namespace mos {

/// Packs the project of the current directory and prints what went in.
/// Returns the exit status.
int packageCommand(const CommandContext& context);

} // namespace mos
