#pragma once

#include <string>

namespace mos {

/// The address of the registry that is asked when none is named; chosen when the program is built.
[[nodiscard]] std::string defaultRegistryUrl();

} // namespace mos
