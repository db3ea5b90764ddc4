#pragma once

#include <string>

#include "manifest/dependency_spec.h"
#include "resolver/locked_package.h"
#include "resolver/package_catalog.h"

namespace mos {

/// The message of the last attempt to resolve what has no solution: the one that takes the lowest
/// version with metadata at every step. Empty when it ends at a package none of whose versions has
/// metadata. There must be no solution.
[[nodiscard]] std::string lastFailure(PackageCatalog& catalog, const std::string& rootName,
                                      const DependencyTable& dependencies,
                                      const LockedPackages& locked);

} // namespace mos
