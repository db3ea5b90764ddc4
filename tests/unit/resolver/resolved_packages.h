#pragma once

#include <string>
#include <vector>

#include "resolver/resolution.h"

namespace mos {

/// A package as the resolver chooses it, from nowhere in particular.
[[nodiscard]] inline ResolvedPackage package(const std::string& name, const std::string& version,
                                             const std::vector<std::string>& dependencies = {}) {
    ResolvedPackage resolved;
    resolved.name = name;
    resolved.version = Version::parse(version).value();
    resolved.dependencies = dependencies;
    return resolved;
}

} // namespace mos
