#pragma once

#include <string>

#include "manifest/ordered_table.h"
#include "resolver/package_catalog.h"
#include "semver/version.h"
#include "semver/version_constraint.h"

namespace mos {

/// A direct dependency that is kept in the version of the lock file.
struct LockedPackage {
    CatalogPackage* package;
    Version version;
    std::string source;
    std::string checksum;
    const CatalogMetadata* metadata;
    const VersionConstraint* constraint; ///< the manifest's
};

/// In the order in which names were first locked.
using LockedPackages = OrderedTable<LockedPackage>;

} // namespace mos
