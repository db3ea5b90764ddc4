#pragma once

#include <string>
#include <vector>

#include "manifest/ordered_table.h"
#include "semver/version.h"

namespace mos {

/// One package of a resolution; also one entry of the lock file.
struct ResolvedPackage {
    std::string name;
    Version version;
    std::string source;                    ///< may be empty
    std::string checksum;                  ///< may be empty
    std::vector<std::string> dependencies; ///< names only
    bool isRoot = false;                   ///< the project itself
};

/// A complete, flat set of packages: one version for each name. `packages` holds the project
/// itself too, flagged; then the packages kept from the lock file, then the others in the order
/// in which they were chosen.
struct Resolution {
    std::string root;
    std::vector<std::string> rootDependencies;
    OrderedTable<ResolvedPackage> packages;
};

} // namespace mos
