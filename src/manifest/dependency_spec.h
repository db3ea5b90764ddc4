#pragma once

#include <cstdint>
#include <string>

#include "manifest/ordered_table.h"
#include "semver/version_constraint.h"

namespace mos {

enum class DependencySource : std::uint32_t {
    Registry = 0,
    Path = 1,
    Git = 2,
};

/// One entry of a dependency table.
struct DependencySpec {
    std::string name;
    VersionConstraint constraint = VersionConstraint::any();
    DependencySource source = DependencySource::Registry;
    std::string path;   ///< local directory, for Path
    std::string git;    ///< repository location, for Git
    std::string branch; ///< for Git
    std::string tag;    ///< for Git
    std::string rev;    ///< for Git
};

using DependencyTable = OrderedTable<DependencySpec>;

} // namespace mos
