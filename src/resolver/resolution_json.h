#pragma once

#include <string>

#include "resolver/resolution.h"

namespace mos {

/// The JSON text of a resolution, the project itself included, packages sorted by name (bytes).
/// Nothing is escaped. Ends with a line feed.
[[nodiscard]] std::string resolutionToJson(const Resolution& resolution);

} // namespace mos
