#pragma once

#include "cli/command_context.h"

namespace mos {

/// Removes the saved login.
/// Returns the exit status.
int logoutCommand(const CommandContext& context);

} // namespace mos
