#pragma once

#include <span>

#include "server/cli/arguments.h"
#include "server/http/http_server.h"

namespace mos::server {

/// The options that say what clients may take.
[[nodiscard]] std::span<const OptionSpec> serveOptions();

/// What these options say. Throws Failure.
[[nodiscard]] HttpLimits httpLimitsOf(const Arguments& arguments);

/// Serves a data directory until it is told to end. Returns the exit status, throws Failure.
int serveCommand(const Arguments& arguments);

} // namespace mos::server
