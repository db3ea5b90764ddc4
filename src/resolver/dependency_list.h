#pragma once

#include <string>

#include "manifest/dependency_spec.h"

namespace mos {

/// The heading "Dependencies" and a line for each dependency, in the table's order: the name in a
/// field of 24 bytes, then the constraint. A longer name is followed by its constraint directly.
[[nodiscard]] std::string dependencyListText(const DependencyTable& dependencies);

/// The dependencies as a JSON object, in the table's order. Nothing is escaped.
[[nodiscard]] std::string dependencyListJson(const DependencyTable& dependencies);

} // namespace mos
