#pragma once

#include "cli/command_context.h"

namespace mos {

/// Creates a project directory with manifest, entry file, .gitignore and README.md.
/// Returns the exit status.
int newCommand(const CommandContext& context);

} // namespace mos
