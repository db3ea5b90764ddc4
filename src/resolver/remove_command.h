#pragma once

#include "cli/command_context.h"

namespace mos {

/// Takes a dependency out of moss.toml and deletes its package directory.
/// Returns the exit status.
int removeCommand(const CommandContext& context);

} // namespace mos
