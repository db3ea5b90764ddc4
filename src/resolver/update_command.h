#pragma once

#include "cli/command_context.h"

namespace mos {

/// Installs with every dependency chosen afresh.
/// Returns the exit status.
int updateCommand(const CommandContext& context);

} // namespace mos
