#pragma once

#include <string>
#include <vector>

#include "semver/version.h"

namespace mos::server {

struct Dependency {
    std::string name;
    std::string constraint; ///< as the publisher wrote it; "*" for any version

    bool operator==(const Dependency&) const = default;
};

/// What the registry tells about one version of a package. The texts can stand in a reply as they
/// are, see published_text.h.
struct PackageRecord {
    std::string name;
    Version version; ///< without build metadata
    std::string description;
    std::string license;
    std::vector<Dependency> dependencies;
};

} // namespace mos::server
