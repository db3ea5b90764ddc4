#pragma once

#include "cli/command_context.h"

namespace mos {

/// Records a dependency in moss.toml and installs.
/// Returns the exit status.
int addCommand(const CommandContext& context);

} // namespace mos
