#pragma once

#include "cli/command_context.h"

namespace mos {

/// Removes the project's packages directory.
/// Returns the exit status.
int cleanCommand(const CommandContext& context);

} // namespace mos
