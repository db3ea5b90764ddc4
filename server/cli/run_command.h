#pragma once

#include <span>

#include "server/cli/arguments.h"

namespace mos::server {

/// The options of the command.
[[nodiscard]] std::span<const OptionSpec> runOptions();

/// Runs a command with a registry of its own that ends with it. Returns the command's exit status,
/// throws Failure.
int runCommand(const Arguments& arguments);

} // namespace mos::server
