#pragma once

#include <optional>
#include <string>

/// The one door to the environment variables.
namespace mos {

/// The value of `name`; nothing when it is not set. A variable may be set and empty.
[[nodiscard]] std::optional<std::string> environmentVariable(const char* name);

} // namespace mos
