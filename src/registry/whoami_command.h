#pragma once

#include "cli/command_context.h"

namespace mos {

/// Shows the saved login.
/// Returns the exit status.
int whoamiCommand(const CommandContext& context);

} // namespace mos
