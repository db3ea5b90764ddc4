#pragma once

#include "cli/command_context.h"

namespace mos {

/// Lists the packages of the registry that match a query.
/// Returns the exit status.
int searchCommand(const CommandContext& context);

} // namespace mos
