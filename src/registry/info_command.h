#pragma once

#include "cli/command_context.h"

namespace mos {

/// Shows one package of the registry.
/// Returns the exit status.
int infoCommand(const CommandContext& context);

} // namespace mos
